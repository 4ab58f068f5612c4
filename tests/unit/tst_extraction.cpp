#include "download/extraction.h"
#include "kit/qt/foldertest.h"
#include "kit/qt/packagemaker.h"

using namespace freshen;

using Tree = QMap<QString, QByteArray>;

namespace {

const QString wrongChecksum = "testRead(): file.close(): -105";

PackageEntry entry(const QByteArray &name, const QByteArray &content = "content", bool isCompressed = true)
{
    return {name, content, isCompressed};
}

/// \a entry with \a value for its \a member, for example a fault.
template <typename Member>
PackageEntry with(PackageEntry entry, Member PackageEntry::*member, const std::common_type_t<Member> &value)
{
    entry.*member = value;
    return entry;
}

} // namespace

/// Unpacks a package into the folder "out" beside it, some folders below the test's own, so that whatever is made
/// elsewhere is seen.
class ExtractionTest : public FolderTest
{
    Q_OBJECT

private slots:
    void init()
    {
        FolderTest::init();
        m_observer = {};
        QVERIFY(QDir().mkpath(path("out")));
    }

    void soundPackage_data()
    {
        const Table<QByteArray, Tree> table;
        const auto row = [&](const char *name, const QList<PackageEntry> &entries, const Tree &tree) {
            table.row(name, asStored(makePackage(entries)), tree);
        };
        for (const int size : {0, 4096, 4097}) {
            const QByteArray content = someBytes(size);
            row(qPrintable(QString("%1 bytes").arg(size)),
                {entry("compressed", content), entry("stored", content, false)},
                {{"compressed", content}, {"stored", content}});
        }
        row("folders",
            {with(entry("a/", ""), &PackageEntry::permissions, 0755), entry("a/b/c/", "bytes of its own"),
             entry("a/d/file", "x")},
            {{"a/", {}}, {"a/b/", {}}, {"a/b/c/", {}}, {"a/d/", {}}, {"a/d/file", "x"}});
        row("blanks and full stops", {entry("a b/c.d.e", "x")}, {{"a b/", {}}, {"a b/c.d.e", "x"}});
        const QByteArray step = QByteArray(100, 'n') + '/';
        row("name longer than 256 bytes", {entry(step + step + step + "a", "x")},
            {{step, {}}, {step + step, {}}, {step + step + step, {}}, {step + step + step + "a", "x"}});
        row("no entries", {}, {});
        table.row("without its length", makePackage({entry("file", "x")}), {{"file", "x"}});
    }
    void soundPackage()
    {
        const auto [package, tree] = Table<QByteArray, Tree>::current();
        extract(package);
        QVERIFY(m_result.succeeded);
        QCOMPARE(m_result.errorText, "");
        QCOMPARE(log().lines(QtWarningMsg), QStringList());
        QCOMPARE(unpacked(), tree);
        QCOMPARE(beside(), QStringList());
    }

    void filesAreReplacedStepByStep()
    {
        writeFile(path("out/plain"), "an older and longer content");
        writeFile(path("out/left over"), "stays");
        QStringList steps;
        m_observer.started = [&steps](int entries) { steps += QString("started %1").arg(entries); };
        m_observer.beforeEntry = [&steps] { steps += "before"; };
        m_observer.entry = [&steps](int number) { steps += QString("entry %1").arg(number); };
        extract(makePackage({entry("plain"), with(entry("a/program"), &PackageEntry::permissions, 0755),
                             with(entry("none"), &PackageEntry::permissions, 0)}));
        QCOMPARE(steps, (QStringList{"started 3", "before", "entry 1", "before", "entry 2", "before", "entry 3"}));
        const QString program = logged(QDir::toNativeSeparators("a/program"));
        // QFileDevice::Permissions of 0644, 0755 and none.
        QCOMPARE(log().lines(),
                 (QStringList{"set permission true 24644", "unzipping \"plain\"", "set permission true 28757",
                              "unzipping " + program, "set permission false 0", "unzipping \"none\""}));
        QCOMPARE(unpacked(), (Tree{{"a/", {}},
                                   {"a/program", "content"},
                                   {"left over", "stays"},
                                   {"none", "content"},
                                   {"plain", "content"}}));
        // Without stored ones, the permissions are those of any new file.
        writeFile(path("new"), "x");
        QCOMPARE(QFile::permissions(path("out/none")), QFile::permissions(path("new")));
        if (!isWindows()) {
            QVERIFY(!QFileInfo(path("out/plain")).isExecutable());
            QVERIFY(QFileInfo(path("out/a/program")).isExecutable());
        }
    }

    /// A package has one folder at its top, whose entries make the target folder. A file beside it does not.
    void fileBeforeTheTargetFolderIsMade()
    {
        QVERIFY(QDir().rmdir(path("out")));
        extract(makePackage({entry("early"), entry("folder/file", "y"), entry("late", "z")}));
        QVERIFY(m_result.succeeded);
        QCOMPARE(unpacked(), (Tree{{"folder/", {}}, {"folder/file", "y"}, {"late", "z"}}));
        QCOMPARE(log().lines().value(1), "set permission false 24644");
        QVERIFY(isWarnedOf("Cannot write", QDir::toNativeSeparators(path("out/early"))));
        QCOMPARE(log().lines(QtWarningMsg).size(), 1);
    }

    /// It is logged, and the entry is read and checked all the same.
    void fileThatCannotBeWritten_data()
    {
        const Table<PackageEntry, QString> table;
        table.row("a folder in its place", entry("folder"), "");
        table.row("a file in the place of its folder", entry("first/file"), "");
        table.row("wrong checksum", with(entry("folder"), &PackageEntry::checksum, 1), wrongChecksum);
    }
    void fileThatCannotBeWritten()
    {
        const auto [unwritable, errorText] = Table<PackageEntry, QString>::current();
        QVERIFY(QDir().mkpath(path("out/folder")));
        extract(makePackage({entry("first", "x"), unwritable}));
        QCOMPARE(m_result.errorText, errorText);
        QCOMPARE(unpacked(), (Tree{{"folder/", {}}, {"first", "x"}}));
        QVERIFY(isWarnedOf("Cannot write", QDir::toNativeSeparators(path("out/") + unwritable.name)));
    }

    void failure_data()
    {
        const Table<QByteArray, QString, Tree> table;
        const QString noArchive = "unzip(): zip.open(): -1000";
        table.row("missing", QByteArray(), noArchive, {});
        table.row("an error page", "<html><body>404 Not Found</body></html>", noArchive, {});

        const QByteArray sound = someBytes(10000);
        const PackageEntry first = entry("first", "sound");
        const PackageEntry packed = entry("damaged", sound);
        // Without a length, there is no file.
        const auto damaged = [&](const char *name, const PackageEntry &faulty, const QString &error, int length = -1) {
            Tree tree = {{"first", "sound"}};
            if (length >= 0)
                tree.insert("damaged", sound.left(length));
            table.row(name, makePackage({first, faulty, entry("last")}), error, tree);
        };
        damaged("wrong checksum", with(packed, &PackageEntry::checksum, 1), wrongChecksum, 10000);
        damaged("no compressed data", with(packed, &PackageEntry::data, QByteArray(100, '\xff')),
                "testRead(): file.getFileName(): -3", 0);
        damaged("stored bytes end early", with(entry("damaged", sound, false), &PackageEntry::data, sound.left(6000)),
                "testRead(): read all but not EOF", 6000);
        damaged("fewer bytes announced", with(packed, &PackageEntry::uncompressedSize, 4100), wrongChecksum, 4100);
        damaged("unused method, whose reader does not end without bytes",
                with(with(packed, &PackageEntry::method, 12), &PackageEntry::data, ""), "unzip(): file.open(): -103");
        damaged("other name in the local header", with(packed, &PackageEntry::localName, "damages!"),
                "unzip(): file.open(): -103");
        damaged("name that leads upwards", entry("new/../../evil"), "unzip(): unsafe entry name: new/../../evil");
        damaged("name that leads upwards before a zero", entry(QByteArray("..\0b", 4)),
                "unzip(): unsafe entry name: ..\uFFFDb");

        table.row("damaged directory", makePackage({first, with(packed, &PackageEntry::directorySignature, 1)}),
                  "testRead(): getCurrentFileInfo(): -103\n", {{"first", "sound"}});
    }
    void failure()
    {
        const auto [package, errorText, tree] = Table<QByteArray, QString, Tree>::current();
        extract(package.isNull() ? package : asStored(package));
        QVERIFY(!m_result.succeeded);
        QCOMPARE(m_result.errorText, errorText);
        QCOMPARE(log().lines(QtWarningMsg), QStringList(errorText));
        // What was unpacked until then stays, and so does the archive.
        QCOMPARE(unpacked(), tree);
        QCOMPARE(beside(), package.isNull() ? QStringList() : QStringList{"one/two/Package.zip"});
    }

    /// Counts as a success; the text says it all the same.
    void archiveThatCannotBeDeleted()
    {
        writeFile(path("Package.zip"), makePackage({entry("a", "x")}));
        const Restorer lock = hold(path("Package.zip"));
        extract(QByteArray());
        QVERIFY(m_result.succeeded);
        QCOMPARE(m_result.errorText, "unzip(): Cannot remove ZIP file: " + path("Package.zip"));
        QCOMPARE(log().lines(QtWarningMsg), QStringList(m_result.errorText));
        QCOMPARE(unpacked(), (Tree{{"a", "x"}}));
        QCOMPARE(beside(), QStringList("one/two/Package.zip"));
    }

    void safeNames()
    {
        for (const char *name :
             {"Tavlopro/Tavlopro.exe", "a/b/", "a\\b\\c.txt", "a b/c d", "größe/ü.txt", "~", "%1", "$MFT",
              // Full stops that lead nowhere.
              "a/.hidden", "..a", "a..", "./a", "a/./b",
              // Almost devices.
              "console.txt", "con1.txt", "com.dll", "com10.txt", "auxiliary", "nulls", "a.con", "lpt"})
            QVERIFY2(isSafeEntryName(name), name);
        for (const char *name : {// Upwards. Windows drops blanks and full stops at the end of a name.
                                 "..", "../a", "a/../b", "a/..", "..\\a", "a\\..\\b", "a/..\\b", ".. /a", "a/.. ./b",
                                 "...", "a/.../b", ". ./a",
                                 // Absolute.
                                 "/", "/etc/passwd", "\\a", "//server/share/a", "\\\\?\\C:\\a", "//./COM1",
                                 // Drives and streams.
                                 "C:/a", "C:a", "a/C:/b", "a:stream", "a/b.txt:stream", ":",
                                 // Devices of Windows, whatever their case and extension.
                                 "con", "CON", "Con.txt", "a/prn", "aux/b", "nul.tar.gz", "com1", "COM9.dll", "lpt1",
                                 "lpt0.x", "conin$", "CONOUT$", "nul ", "nul .txt", "com\u00b9", "LPT\u00b3.log", ""})
            QVERIFY2(!isSafeEntryName(name), name);
        for (const char *name : {"..%1", "a/..%1b", "nul%1.txt", "a%1b"})
            QVERIFY2(!isSafeEntryName(QString(name).arg(QChar(QChar::Null))), name);
    }

private:
    QString path(const QString &name) const
    {
        return file("one/two/" + name);
    }
    /// Unpacks \a package, or, if it is null, what is there.
    void extract(const QByteArray &package)
    {
        if (!package.isNull())
            writeFile(path("Package.zip"), package);
        m_result = extractPackage(path("Package.zip"), path("out"), m_observer);
    }
    Tree unpacked() const
    {
        return treeOf(path("out"));
    }
    /// What lies elsewhere.
    QStringList beside() const
    {
        return QStringList(treeOf(folder()).keys()).filter(QRegularExpression("^(?!one/(two/(out/.*)?)?$)"));
    }

    const Restorer m_user = becomeOrdinaryUser();
    ExtractionResult m_result;
    ExtractionObserver m_observer;
};

QTEST_GUILESS_MAIN(ExtractionTest)
#include "tst_extraction.moc"
