#include "kit/qt/extractionrun.h"
#include "kit/qt/packagemaker.h"

#include <QtTest>
#include <quazip/quazip.h>
#include <quazip/quazipfile.h>
#include <quazip/quazipfileinfo.h>

#include <array>

using namespace freshen;

Q_DECLARE_METATYPE(PackageEntry)

/// The extraction reads an entry in pieces. What it leaves behind is what an extraction that takes one byte after the
/// other and writes every 4096 of them leaves behind: the bytes, the files after a failure, the messages and their
/// order. That extraction stands here, and both work on the same packages, sound and damaged ones.
class ExtractionByByteTest : public QObject
{
    Q_OBJECT

private slots:
    void soundPackages_data();
    void soundPackages();
    void damagedEntries_data();
    void damagedEntries();
    void damagedBytes_data();
    void damagedBytes();
    void cutPackages();
};

namespace {

constexpr int bufferSize = 4096;

/// Reads the entry byte by byte into \a output. Where the output is not open, nothing is written.
void copyByByte(QuaZipFile &entry, QFile &output)
{
    std::array<char, bufferSize> buffer{};
    int filled = 0;
    const auto write = [&] {
        if (output.isOpen())
            output.write(buffer.data(), filled);
        filled = 0;
    };
    char byte = 0;
    while (entry.getChar(&byte)) {
        buffer.at(static_cast<std::size_t>(filled++)) = byte;
        if (filled == bufferSize)
            write();
    }
    if (filled > 0)
        write();
}

/// The extraction that takes one byte after the other.
ExtractionResult extractByByte(const QString &archivePath, const QString &targetFolder,
                               const ExtractionObserver &observer)
{
    const auto fail = [](const QString &message) {
        qWarning().noquote() << message;
        return ExtractionResult{false, message};
    };
    QuaZip archive(archivePath);
    if (!archive.open(QuaZip::mdUnzip))
        return fail(QString("unzip(): zip.open(): %1").arg(archive.getZipError()));
    const int count = archive.getEntriesCount();
    observer.started(count);

    QuaZipFileInfo64 information;
    QuaZipFile entry(&archive);
    QFile output;
    int number = 0;
    for (bool more = archive.goToFirstFile(); more; more = archive.goToNextFile()) {
        observer.beforeEntry();
        if (!archive.getCurrentFileInfo(&information))
            return fail(QString("testRead(): getCurrentFileInfo(): %1\n").arg(archive.getZipError()));
        observer.entry(++number);
        // The reader's one further method, which it cannot always end.
        if (information.method == 12)
            return fail(QString("unzip(): file.open(): %1").arg(UNZ_BADZIPFILE));
        if (!entry.open(QIODevice::ReadOnly))
            return fail(QString("unzip(): file.open(): %1").arg(entry.getZipError()));
        const QString storedName = entry.getActualFileName();
        const QString name = QDir::toNativeSeparators(storedName);
        if (entry.getZipError() != UNZ_OK)
            return fail(QString("unzip(): file.getFileName(): %1").arg(entry.getZipError()));
        if (!isSafeEntryName(storedName))
            return fail("unzip(): unsafe entry name: " + storedName);

        const QString target = QDir::toNativeSeparators(targetFolder + '/') + name;
        if (name.contains(QDir::separator()))
            QDir().mkpath(target.left(target.lastIndexOf(QDir::separator())));
        output.setFileName(target);
        output.open(QIODevice::WriteOnly);
        copyByByte(entry, output);
        const QFile::Permissions permissions = information.getPermissions();
        qDebug() << "set permission" << output.setPermissions(permissions) << static_cast<uint>(permissions);
        output.close();
        qDebug() << "unzipping" << name;

        if (entry.getZipError() != UNZ_OK)
            return fail(QString("testRead(): file.getFileName(): %1").arg(entry.getZipError()));
        if (!entry.atEnd())
            return fail("testRead(): read all but not EOF");
        entry.close();
        if (entry.getZipError() != UNZ_OK)
            return fail(QString("testRead(): file.close(): %1").arg(entry.getZipError()));
    }
    // An entry that is announced but cannot be reached.
    if (number < count)
        return fail(QString("testRead(): getCurrentFileInfo(): %1\n").arg(archive.getZipError()));
    archive.close();
    if (archive.getZipError() != UNZ_OK)
        return fail(QString("testRead(): zip.close(): %1").arg(archive.getZipError()));
    if (!QFile::remove(archive.getZipName()))
        return {true, fail("unzip(): Cannot remove ZIP file: " + archive.getZipName()).errorText};
    return {};
}

/// Removes the warnings that say why an output could not be opened, since only the program gives them.
ExtractionRun withoutReasons(ExtractionRun run)
{
    run.messages = run.messages.filter(QRegularExpression("^(?!Cannot write )"));
    return run;
}

QString difference(const QByteArray &package)
{
    const ExtractionRun seen = withoutReasons(runExtraction(package));
    const ExtractionRun expected = runExtraction(package, extractByByte);
    if (seen == expected)
        return QString();
    QString text = "seen " + seen.describe() + "; expected " + expected.describe();
    for (auto it = expected.tree.begin(); it != expected.tree.end(); ++it) {
        if (seen.tree.value(it.key()) != it.value())
            text += QString("; %1 has %2 bytes, expected %3")
                        .arg(it.key(), QString::number(seen.tree.value(it.key()).size()),
                             QString::number(it.value().size()));
    }
    return text;
}

PackageEntry file(const QByteArray &name, const QByteArray &content, bool isCompressed = true)
{
    PackageEntry entry;
    entry.name = name;
    entry.content = content;
    entry.isCompressed = isCompressed;
    return entry;
}

/// Compresses well but not to nothing.
QByteArray text(int size)
{
    QByteArray result;
    quint32 line = 0;
    while (result.size() < size)
        result += "line " + QByteArray::number(line++ * 7919 % 1000) + " of a text\n";
    return result.left(size);
}

} // namespace

void ExtractionByByteTest::soundPackages_data()
{
    QTest::addColumn<QByteArray>("package");
    for (const int size : {0, 1, 4095, 4096, 4097, 16383, 16384, 16385, 20480, 65536, 100001}) {
        QTest::addRow("%d bytes", size) << makePackage({file("a/compressed", text(size)),
                                                        file("incompressible", someBytes(size)),
                                                        file("stored", someBytes(size), false)});
    }
    PackageEntry folder = file("a/b/", "", false);
    folder.permissions = 0755;
    QTest::newRow("folders") << makePackage({folder, file("a/b/c", "x")});
    folder.content = "a folder with contents";
    QTest::newRow("folder entry with contents") << makePackage({folder, file("a/b/c", "x")});
    QTest::newRow("the length before it") << asStored(makePackage({file("a", text(10000)), file("b", "x")}));
    PackageEntry other = file("executable", "x");
    other.permissions = 0755;
    QTest::newRow("permissions") << makePackage({other});
}

void ExtractionByByteTest::soundPackages()
{
    QFETCH(QByteArray, package);
    QCOMPARE(difference(package), QString());
    QVERIFY(runExtraction(package).succeeded);
}

void ExtractionByByteTest::damagedEntries_data()
{
    QTest::addColumn<PackageEntry>("entry");
    for (const bool isCompressed : {true, false}) {
        const char *kind = isCompressed ? "compressed" : "stored";
        const PackageEntry sound = file("dir/damaged", text(70000), isCompressed);

        PackageEntry entry = sound;
        entry.checksum = 1;
        QTest::addRow("%s, wrong checksum", kind) << entry;
        for (const quint32 size : {0U, 1U, 4096U, 16384U, 69999U, 70001U, 1000000U}) {
            entry = sound;
            entry.uncompressedSize = size;
            QTest::addRow("%s, %u bytes announced", kind, size) << entry;
            entry = sound;
            entry.compressedSize = size;
            QTest::addRow("%s, %u stored bytes announced", kind, size) << entry;
        }
        entry = sound;
        entry.flags = 1;
        QTest::addRow("%s, encrypted", kind) << entry;
        for (const quint16 method : {quint16(0), quint16(8), quint16(12), quint16(99)}) {
            entry = sound;
            entry.method = method;
            QTest::addRow("%s, method %d", kind, method) << entry;
        }
    }
    PackageEntry entry = file("dir/damaged", "x");
    entry.name = QByteArray();
    QTest::newRow("no name") << entry;
    entry.name = "../damaged";
    QTest::newRow("unsafe name") << entry;
    entry.name = "first";
    QTest::newRow("same name as another") << entry;
    entry.name = "first/damaged";
    QTest::newRow("a file where a folder is needed") << entry;
}

void ExtractionByByteTest::damagedEntries()
{
    QFETCH(PackageEntry, entry);
    QCOMPARE(difference(makePackage({file("first", "sound"), entry, file("last", "sound")})), QString());
}

void ExtractionByByteTest::damagedBytes_data()
{
    QTest::addColumn<quint32>("seed");
    for (quint32 seed = 1; seed <= 20; ++seed)
        QTest::addRow("seed %u", seed) << seed;
}

/// Some bytes of the package are others than they were, anywhere.
void ExtractionByByteTest::damagedBytes()
{
    QFETCH(quint32, seed);
    const QByteArray sound = makePackage({file("dir/text", text(50000)), file("dir/stored", text(9000), false),
                                          file("noise", someBytes(20000)), file("dir/sub/last", "x")});
    QRandomGenerator random(seed);
    for (int round = 0; round < 20; ++round) {
        QByteArray package = sound;
        const int damages = random.bounded(1, 4);
        for (int i = 0; i < damages; ++i)
            package[random.bounded(package.size())] = static_cast<char>(random.bounded(256));
        QCOMPARE(difference(package), QString());
    }
}

void ExtractionByByteTest::cutPackages()
{
    const QByteArray sound = makePackage({file("dir/text", text(50000)), file("dir/stored", text(9000), false)});
    for (int size = 0; size < sound.size(); size += 199) {
        QCOMPARE(difference(sound.left(size)), QString());
        // Cut in the middle, with its directory still there.
        const QByteArray withoutMiddle = sound.left(size) + sound.mid(size + 100);
        QCOMPARE(difference(withoutMiddle), QString());
    }
}

QTEST_GUILESS_MAIN(ExtractionByByteTest)
#include "tst_extractionbybyte.moc"
