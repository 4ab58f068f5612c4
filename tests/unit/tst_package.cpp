// The package from its name on the server to its file on the disk.

#include "download/packagename.h"
#include "download/packagestore.h"
#include "download/storedarchive.h"
#include "kit/qt/foldertest.h"
#include "kit/qt/packagemaker.h"

using namespace freshen;

namespace {

/// The body of a reply. It notes how many bytes are asked for at once, and can promise more than it has.
class Body : public QBuffer
{
public:
    explicit Body(const QByteArray &bytes)
    {
        setData(bytes);
        open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    }
    qint64 bytesAvailable() const override
    {
        return QBuffer::bytesAvailable() + missing;
    }

    qint64 missing = 0;
    qint64 largestRead = 0;

protected:
    qint64 readData(char *data, qint64 size) override
    {
        largestRead = std::max(largestRead, size);
        return QBuffer::readData(data, size);
    }
};

} // namespace

class PackageTest : public FolderTest
{
    Q_OBJECT

private slots:
    void onlyWindowsXpHasNoTag()
    {
        QCOMPARE(operatingSystemTag({true, 5, 1, ""}), "");
        const RunningSystem linux = {false, 5, 1, ""};
        for (const RunningSystem &other : {RunningSystem{true, 5, 0, ""}, {true, 5, 2, ""}, {true, 6, 1, ""}, linux})
            QCOMPARE(operatingSystemTag(other), "WIN7");
    }

    void names_data()
    {
        // An empty name of the stored package stands for the one on the server.
        const Table<VersionRow, PackageNaming, QString, QString> table;
        const PackageNaming plain = {false, "WIN7", "X64"};
        const PackageNaming extended = {true, "WIN7", "X64"};
        table.row("extended", {"2.1.6020", "Beta"}, extended, "Tavlopc2.1.6020BETAWIN7X64.zip", "");
        table.row("the last beta that the server calls stable", {"1.0.2084", "Beta"}, extended,
                  "Tavlopc1.0.2084STABLEWIN7X64.zip", "Tavlopc1.0.2084BETAWIN7X64.zip");
        table.row("the first beta that it does not", {"1.0.2085", "Beta"}, plain, "Tavlopc1.0.2085BETA.zip", "");
        table.row("every BETA is replaced, in upper case only", {"BETA.Beta.1", "betabeta"}, plain,
                  "TavlopcSTABLE.Beta.1STABLESTABLE.zip", "TavlopcBETA.Beta.1BETABETA.zip");
        table.row("signs that lead to another folder", {"1/2\\3.D:.7200", "/../../evil"}, plain,
                  "Tavlopc1/2\\3.D:.7200/../../EVIL.zip", "Tavlopc1_2_3.D_.7200_.._.._EVIL.zip");
        table.row("signs that are place holders elsewhere", {"%2.%1.7200", "%4"}, {true, "%3", "X64"},
                  "Tavlopc%2.%1.7200%4%3X64.zip", "");
    }
    void names()
    {
        const auto [columns, naming, onServer, stored] = Table<VersionRow, PackageNaming, QString, QString>::current();
        const qint32 revision = columns.at(column::version).section('.', 2).toInt();
        QCOMPARE(serverPackageName(columns, revision, naming), onServer);
        QCOMPARE(localPackageName(selectedVersionName(columns), naming), stored.isEmpty() ? onServer : stored);
    }

    void storedBehindItsLength_data()
    {
        const Table<int, QByteArray> table;
        table.row("empty", 0, QByteArray("\0\0\0\0", 4));
        table.row("258 bytes, the highest byte first", 258, QByteArray("\0\0\1\2", 4));
        table.row("one chunk", 65536, QByteArray("\0\1\0\0", 4));
        table.row("3 million bytes", 3000000, QByteArray("\0\x2d\xc6\xc0", 4));
    }
    void storedBehindItsLength()
    {
        const auto [size, length] = Table<int, QByteArray>::current();
        const QByteArray readBefore = "read before";
        const QByteArray left = someBytes(size);
        Body body(readBefore + left);
        QCOMPARE(body.read(readBefore.size()), readBefore);
        writeFile(file("Package.zip"), someBytes(70000, 2));
        QVERIFY(storePackage(body, file("Package.zip")));
        QVERIFY(readFile(file("Package.zip")) == length + left);
        QVERIFY2(body.largestRead <= 1 << 20, "The body is held as a whole.");
        QCOMPARE(log().lines(), QStringList());
    }

    void failureToStore()
    {
        QStringList unwritable = {file("missing/Package.zip")};
        // There is none on Windows.
        if (QFile::exists("/dev/full"))
            unwritable += "/dev/full";
        for (const QString &path : unwritable) {
            Body body("short");
            QVERIFY(!storePackage(body, path));
            QVERIFY(isWarnedOf("Cannot store the package in", path));
        }
    }

    void bodyThatEndsEarlyIsStoredAsFarAsItCame()
    {
        Body body("short");
        body.missing = 3;
        QVERIFY(!storePackage(body, file("Package.zip")));
        QVERIFY(isWarnedOf("Cannot store the package in", file("Package.zip")));
        QCOMPARE(readFile(file("Package.zip")), QByteArray("\0\0\0\x08short", 9));
    }

    void anyPartOfTheArchiveIsRead()
    {
        const QString path = file("Package.zip");
        const QByteArray content = someBytes(400000);
        writeFile(path, asStored(content));
        StoredArchive archive(path);
        QVERIFY(archive.open(QIODevice::ReadOnly));
        QVERIFY(archive.readAll() == content);
        const QList<QPair<qint64, int>> parts = {{0, 1},       {399990, 20}, {400000, 1}, {65530, 2},
                                                 {65530, 100}, {1, 399999},  {0, 200000}};
        for (const auto &[position, size] : parts) {
            QVERIFY(archive.seek(position));
            QVERIFY(archive.read(size) == content.mid(static_cast<int>(position), size));
        }
        // No file is that long.
        archive.seek(std::numeric_limits<qint64>::max() - packageLengthSize);
        QCOMPARE(archive.read(1), QByteArray());
    }

    /// The 4 bytes hold the length modulo 2^32.
    void lengthBeyond32BitsIsFound()
    {
        const QString path = file("Package.zip");
        const qint64 length = (Q_INT64_C(1) << 32) + 258;
        writeFile(path, QByteArray("\0\0\1\2PK\3\4", 8));
        // All but its begin takes no space.
        QVERIFY(QFile::resize(path, length + 4));
        StoredArchive archive(path);
        QVERIFY(archive.open(QIODevice::ReadOnly));
        QCOMPARE(archive.size(), length);
        QCOMPARE(archive.read(4), QByteArray("PK\3\4"));
        // An archive's own records may name any position.
        QVERIFY(!archive.seek(std::numeric_limits<qint64>::max()));
    }
};

QTEST_GUILESS_MAIN(PackageTest)
#include "tst_package.moc"
