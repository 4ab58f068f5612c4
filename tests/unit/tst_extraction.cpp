#include "kit/qt/extractionrun.h"
#include "kit/qt/files.h"
#include "kit/qt/messagecatcher.h"
#include "kit/qt/packagemaker.h"
#include "kit/qt/platform.h"

#include <QtTest>

#include <limits>

using namespace freshen;

using Tree = QMap<QString, QByteArray>;
Q_DECLARE_METATYPE(PackageEntry)
Q_DECLARE_METATYPE(QList<PackageEntry>)

class ExtractionTest : public QObject
{
    Q_OBJECT

private slots:
    void soundPackage_data();
    void soundPackage();
    void packageWithLengthBeforeIt();
    void largeDirectoryAnywhere_data();
    void largeDirectoryAnywhere();
    void packageWithoutEntries();
    void messagesAndSteps();
    void storedPermissions();
    void noStoredPermissions();
    void overwritesButDoesNotClean();
    void outputThatCannotBeOpened();
    void topLevelFileWithoutTargetFolder();
    void failure_data();
    void failure();
    void noArchive_data();
    void noArchive();
    void missingArchive();
    void archiveThatCannotBeDeleted();
};

namespace {

PackageEntry folder(const QByteArray &name)
{
    PackageEntry entry;
    entry.name = name;
    entry.isCompressed = false;
    entry.permissions = 0755;
    return entry;
}

PackageEntry file(const QByteArray &name, const QByteArray &content, bool isCompressed = true)
{
    PackageEntry entry;
    entry.name = name;
    entry.content = content;
    entry.isCompressed = isCompressed;
    return entry;
}

/// The log line for \a name as the system separates folders.
QString unzipping(const char *name)
{
    return "unzipping \"" + QDir::toNativeSeparators(name).replace("\\", "\\\\") + '"';
}

} // namespace

void ExtractionTest::soundPackage_data()
{
    QTest::addColumn<QList<PackageEntry>>("entries");
    QTest::addColumn<Tree>("tree");
    using Entries = QList<PackageEntry>;

    for (const int size : {0, 1, 4095, 4096, 4097, 8192, 100000}) {
        for (const bool isCompressed : {true, false}) {
            const QByteArray content = someBytes(size);
            QTest::addRow("%d bytes, %s", size, isCompressed ? "compressed" : "stored")
                << Entries{file("file", content, isCompressed)} << Tree{{"file", content}};
        }
    }
    const QByteArray zeros(300000, '\0');
    QTest::newRow("much smaller when compressed") << Entries{file("zeros", zeros)} << Tree{{"zeros", zeros}};
    QTest::newRow("nested entry a/b/c.txt makes its folders")
        << Entries{file("a/b/c.txt", "c")} << Tree{{"a/", {}}, {"a/b/", {}}, {"a/b/c.txt", "c"}};
    QTest::newRow("folder entries") << Entries{folder("a/"), folder("a/empty/"), file("a/file", "x")}
                                    << Tree{{"a/", {}}, {"a/empty/", {}}, {"a/file", "x"}};
    QTest::newRow("only a nested folder entry")
        << Entries{folder("a/b/c/")} << Tree{{"a/", {}}, {"a/b/", {}}, {"a/b/c/", {}}};
    QTest::newRow("same name twice, the later line wins")
        << Entries{file("a", "first, longer"), file("a", "second")} << Tree{{"a", "second"}};
    QTest::newRow("names with blanks and full stops") << Entries{file("a b/c.d.e", "x"), file(".hidden", "y")}
                                                      << Tree{{"a b/", {}}, {"a b/c.d.e", "x"}, {".hidden", "y"}};
    const QByteArray longName(100, 'n');
    const QByteArray longPath = longName + '/' + longName + '/' + longName;
    QTest::newRow("name longer than 256 bytes")
        << Entries{file(longPath, "x")} << Tree{{longPath.left(101), {}}, {longPath.left(202), {}}, {longPath, "x"}};
    PackageEntry umlaut = file("größe.txt", "x");
    umlaut.flags = 1 << 11;
    QTest::newRow("name in UTF-8") << Entries{umlaut} << Tree{{"größe.txt", "x"}};
}

void ExtractionTest::soundPackage()
{
    QFETCH(QList<PackageEntry>, entries);
    QFETCH(Tree, tree);
    const ExtractionRun run = runExtraction(makePackage(entries));
    QVERIFY2(run.succeeded, qUtf8Printable(run.describe()));
    QCOMPARE(run.errorText, QString());
    QVERIFY(!run.archiveIsLeft);
    QCOMPARE(run.tree.keys(), tree.keys());
    QVERIFY(run.tree == tree);
}

/// As the download stores it.
void ExtractionTest::packageWithLengthBeforeIt()
{
    const QByteArray content = someBytes(50000);
    const ExtractionRun run = runExtraction(asStored(makePackage({file("a/file", content), file("b", "x", false)})));
    QVERIFY2(run.succeeded, qUtf8Printable(run.describe()));
    QCOMPARE(run.errorText, QString());
    QCOMPARE(run.tree, (Tree{{"a/", {}}, {"a/file", content}, {"b", "x"}}));
    QVERIFY(!run.archiveIsLeft);
}

void ExtractionTest::largeDirectoryAnywhere_data()
{
    QTest::addColumn<qint64>("position");
    QTest::newRow("past the end") << qint64(1000000);
    QTest::newRow("last position that there is") << std::numeric_limits<qint64>::max();
    QTest::newRow("last position behind the length") << std::numeric_limits<qint64>::max() - 4;
    QTest::newRow("before the beginning") << qint64(-1);
}

/// An archive may say that its directory for many entries is at any position.
void ExtractionTest::largeDirectoryAnywhere()
{
    QFETCH(qint64, position);
    QByteArray locator;
    QDataStream stream(&locator, QIODevice::WriteOnly);
    stream.setByteOrder(QDataStream::LittleEndian);
    stream << quint32(0x07064b50) << quint32(0) << position << quint32(1);
    QByteArray package = makePackage({file("a", "x")});
    package.insert(package.lastIndexOf("PK\005\006"), locator);
    const ExtractionRun run = runExtraction(asStored(package));
    QVERIFY(!run.succeeded);
    QCOMPARE(run.errorText, "testRead(): getCurrentFileInfo(): -103\n");
    QVERIFY(run.tree.isEmpty());
}

void ExtractionTest::packageWithoutEntries()
{
    const ExtractionRun run = runExtraction(asStored(makePackage({})));
    QVERIFY2(run.succeeded, qUtf8Printable(run.describe()));
    QCOMPARE(run.errorText, QString());
    QCOMPARE(run.messages, QStringList());
    QCOMPARE(run.steps, QStringList{"started 0"});
    QVERIFY(run.tree.isEmpty());
    QVERIFY(!run.archiveIsLeft);
}

void ExtractionTest::messagesAndSteps()
{
    const ExtractionRun run = runExtraction(makePackage({folder("a/"), file("a/b/c.txt", "c"), file("d", "")}));
    QCOMPARE(run.steps, (QStringList{"started 3", "before", "entry 1", "before", "entry 2", "before", "entry 3"}));
    QCOMPARE(run.messages.filter("unzipping"), (QStringList{unzipping("a/"), unzipping("a/b/c.txt"), unzipping("d")}));
    QCOMPARE(run.messages.filter("set permission").size(), 3);
    QCOMPARE(run.messages.size(), 6);
    for (int i = 0; i < run.messages.size(); i += 2)
        QVERIFY(run.messages.at(i).startsWith("set permission "));
}

void ExtractionTest::storedPermissions()
{
    PackageEntry plain = file("plain", "x");
    PackageEntry program = file("program", "x");
    program.permissions = 0755;
    const QTemporaryDir place;
    QVERIFY(QDir(place.path()).mkdir("out"));
    const ExtractionRun run = runExtractionIn(place.path(), makePackage({plain, program}));
    // The numbers are QFileDevice::Permissions: 0x6044 and 0x7055.
    QCOMPARE(run.messages, (QStringList{"set permission true 24644", unzipping("plain"), "set permission true 28757",
                                        unzipping("program")}));
    if (QOperatingSystemVersion::currentType() != QOperatingSystemVersion::Windows) {
        QVERIFY(!QFileInfo(place.filePath("out/plain")).isExecutable());
        QVERIFY(QFileInfo(place.filePath("out/program")).isExecutable());
    }
}

void ExtractionTest::noStoredPermissions()
{
    PackageEntry plain = file("plain", "x");
    plain.permissions = 0;
    const QTemporaryDir place;
    QVERIFY(QDir(place.path()).mkdir("out"));
    const ExtractionRun run = runExtractionIn(place.path(), makePackage({plain}));
    QCOMPARE(run.messages, (QStringList{"set permission false 0", unzipping("plain")}));
    // Those of any new file.
    writeFile(place.filePath("new"), "x");
    QCOMPARE(QFile::permissions(place.filePath("out/plain")), QFile::permissions(place.filePath("new")));
}

void ExtractionTest::overwritesButDoesNotClean()
{
    const QTemporaryDir place;
    writeFile(place.filePath("out/a/file"), "an older and longer content");
    writeFile(place.filePath("out/left over"), "stays");
    const ExtractionRun run = runExtractionIn(place.path(), makePackage({file("a/file", "new")}));
    QVERIFY(run.succeeded);
    QCOMPARE(run.tree, (Tree{{"a/", {}}, {"a/file", "new"}, {"left over", "stays"}}));
}

/// Nothing is written and nothing reported, but the entry is read and checked all the same.
void ExtractionTest::outputThatCannotBeOpened()
{
    const QTemporaryDir place;
    QVERIFY(QDir().mkpath(place.filePath("out/file")));
    const ExtractionRun run = runExtractionIn(place.path(), makePackage({file("file", "x"), file("next", "y")}));
    QVERIFY2(run.succeeded, qUtf8Printable(run.describe()));
    QCOMPARE(run.tree, (Tree{{"file/", {}}, {"next", "y"}}));

    PackageEntry damaged = file("file", "x");
    damaged.checksum = 0;
    QVERIFY(QDir().mkpath(place.filePath("out/file")));
    QCOMPARE(runExtractionIn(place.path(), makePackage({damaged})).errorText, "testRead(): file.close(): -105");
}

/// A package has one folder at its top, whose entries make the target folder. A file beside it does not.
void ExtractionTest::topLevelFileWithoutTargetFolder()
{
    const QTemporaryDir place;
    const QByteArray package = makePackage({file("early", "x"), file("folder/file", "y"), file("late", "z")});
    const ExtractionRun run = runExtractionIn(place.path(), package);
    QVERIFY2(run.succeeded, qUtf8Printable(run.describe()));
    QCOMPARE(run.errorText, QString());
    QCOMPARE(run.tree, (Tree{{"folder/", {}}, {"folder/file", "y"}, {"late", "z"}}));
    QCOMPARE(run.messages.filter("set permission"),
             (QStringList{"set permission false 24644", "set permission true 24644", "set permission true 24644"}));
}

void ExtractionTest::failure_data()
{
    QTest::addColumn<PackageEntry>("second");
    QTest::addColumn<int>("extraEntries");
    QTest::addColumn<QString>("errorText");
    // What is there of the damaged entry; a null array where there is no file.
    QTest::addColumn<QByteArray>("content");
    // How many of the two entries were counted.
    QTest::addColumn<int>("counted");

    const QByteArray sound = someBytes(10000);
    PackageEntry entry = file("second", sound);
    entry.checksum = 0x12345678;
    QTest::newRow("entry close: wrong checksum") << entry << 0 << "testRead(): file.close(): -105" << sound << 2;
    entry = file("second", sound, false);
    entry.checksum = 0x12345678;
    QTest::newRow("entry close: wrong checksum, stored")
        << entry << 0 << "testRead(): file.close(): -105" << sound << 2;

    entry = file("second", sound);
    entry.data = QByteArray(100, '\xff');
    QTest::newRow("entry read: no compressed data")
        << entry << 0 << "testRead(): file.getFileName(): -3" << QByteArray("") << 2;

    entry = file("second", sound, false);
    entry.data = sound.left(6000);
    entry.compressedSize = 6000;
    QTest::newRow("entry not fully read: stored bytes end early")
        << entry << 0 << "testRead(): read all but not EOF" << sound.left(6000) << 2;

    entry = file("second", sound);
    entry.method = 99;
    QTest::newRow("entry open: unknown method") << entry << 0 << "unzip(): file.open(): -103" << QByteArray() << 2;
    entry = file("second", sound);
    entry.method = 12;
    entry.data = QByteArray("");
    QTest::newRow("entry open: method whose reader does not end without bytes")
        << entry << 0 << "unzip(): file.open(): -103" << QByteArray() << 2;
    entry = file("second", sound);
    entry.localName = "seconds";
    QTest::newRow("entry open: other name in the local header")
        << entry << 0 << "unzip(): file.open(): -103" << QByteArray() << 2;

    entry = file("second", sound);
    entry.directorySignature = 0x11111111;
    QTest::newRow("entry information: damaged directory") << entry << 0 << "testRead(): getCurrentFileInfo(): -103\n"
                                                          << QByteArray() << 1;
    QTest::newRow("entry information: fewer entries than announced")
        << file("second", sound) << 1 << "testRead(): getCurrentFileInfo(): -103\n"
        << sound << 2;
    entry = file("../second", sound);
    QTest::newRow("unsafe entry name") << entry << 0 << "unzip(): unsafe entry name: ../second" << QByteArray() << 2;
}

void ExtractionTest::failure()
{
    QFETCH(PackageEntry, second);
    QFETCH(int, extraEntries);
    QFETCH(QString, errorText);
    QFETCH(QByteArray, content);
    QFETCH(int, counted);

    const QTemporaryDir place;
    QVERIFY(QDir(place.path()).mkdir("out"));
    const ExtractionRun run =
        runExtractionIn(place.path(), asStored(makePackage({file("first", "sound"), second}, extraEntries)));
    QVERIFY(!run.succeeded);
    QCOMPARE(run.errorText, errorText);
    // The failure is the last message, and a warning.
    QCOMPARE(run.messages.last(), errorText);
    QCOMPARE(run.messages.first(), "set permission true 24644");
    QCOMPARE(run.steps.filter("entry").size(), counted);
    // The entries before it stay, and so does the archive.
    Tree expected = {{"first", "sound"}};
    if (!content.isNull())
        expected.insert("second", content);
    QCOMPARE(run.tree.keys(), expected.keys());
    QVERIFY(run.tree == expected);
    QVERIFY(run.archiveIsLeft);
    QCOMPARE(treeOf(place.path()).size(), expected.size() + 2);
}

void ExtractionTest::noArchive_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("an error page") << QByteArray("<html><body>404 Not Found</body></html>");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("cut off before its directory")
        << makePackage({file("a", someBytes(1000)), file("b", someBytes(1000))}).left(1500);
    QTest::newRow("cut off in the signature of its end") << makePackage({file("a", "x")}).chopped(20);
}

void ExtractionTest::noArchive()
{
    QFETCH(QByteArray, body);
    const ExtractionRun run = runExtraction(asStored(body));
    QVERIFY(!run.succeeded);
    QVERIFY2(QRegularExpression("^unzip\\(\\): zip\\.open\\(\\): -\\d+$").match(run.errorText).hasMatch(),
             qUtf8Printable(run.errorText));
    QCOMPARE(run.messages, QStringList{run.errorText});
    QVERIFY(run.steps.isEmpty());
    QVERIFY(run.tree.isEmpty());
    QVERIFY(run.archiveIsLeft);
}

void ExtractionTest::missingArchive()
{
    const QTemporaryDir place;
    MessageCatcher catcher;
    const ExtractionResult result = extractPackage(place.filePath("missing.zip"), place.filePath("out"), {});
    QVERIFY(!result.succeeded);
    QVERIFY(result.errorText.startsWith("unzip(): zip.open(): -"));
    QCOMPARE(catcher.warnings().last(), result.errorText);
}

/// Counts as success; the text says it all the same.
void ExtractionTest::archiveThatCannotBeDeleted()
{
    const OrdinaryUser user;
    const QTemporaryDir place;
    QVERIFY(QDir(place.path()).mkdir("out"));
    const QString archive = place.filePath("Package.zip");
    writeFile(archive, makePackage({file("a", "x")}));
    // Nothing is removed from a read-only folder, nor, on Windows, while somebody has it open.
    QFile holder(archive);
    QVERIFY(holder.open(QIODevice::ReadOnly));
    const QFile::Permissions before = QFile::permissions(place.path());
    QVERIFY(QFile::setPermissions(place.path(), QFile::ReadOwner | QFile::ExeOwner));
    MessageCatcher catcher;
    const ExtractionResult result = extractPackage(archive, place.filePath("out"), {});
    QFile::setPermissions(place.path(), before);
    QVERIFY(QFile::exists(archive));
    QVERIFY(result.succeeded);
    QCOMPARE(result.errorText, "unzip(): Cannot remove ZIP file: " + archive);
    QCOMPARE(catcher.warnings(), QStringList{result.errorText});
    QCOMPARE(readFile(place.filePath("out/a")), QByteArray("x"));
}

QTEST_GUILESS_MAIN(ExtractionTest)
#include "tst_extraction.moc"
