#include "download/packagestore.h"
#include "download/storedarchive.h"
#include "kit/qt/files.h"
#include "kit/qt/messagecatcher.h"
#include "kit/qt/packagemaker.h"

#include <QtTest>

using namespace freshen;

namespace {

/// A body that notes how many bytes were asked for at once.
class WatchedBody : public QBuffer
{
public:
    explicit WatchedBody(const QByteArray &bytes)
    {
        setData(bytes);
        open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    }
    qint64 largestRead = 0;

protected:
    qint64 readData(char *data, qint64 size) override
    {
        largestRead = std::max(largestRead, size);
        return QBuffer::readData(data, size);
    }
};

/// A body that promises more than it gives, and may fail then.
class BrokenBody : public WatchedBody
{
public:
    BrokenBody(const QByteArray &bytes, bool fails) : WatchedBody(bytes), m_fails(fails) {}
    qint64 bytesAvailable() const override
    {
        return WatchedBody::bytesAvailable() + 3;
    }

protected:
    qint64 readData(char *data, qint64 size) override
    {
        const qint64 count = WatchedBody::readData(data, size);
        if (count > 0 || !m_fails)
            return count;
        setErrorString("the line is dead");
        return -1;
    }

private:
    bool m_fails;
};

} // namespace

class PackageStoreTest : public QObject
{
    Q_OBJECT

private slots:
    void storedBytes_data();
    void storedBytes();
    void replacesAnOlderFile();
    void onlyWhatIsLeftOfTheBody();
    void bodyIsNeverHeldAsAWhole();
    void fileThatCannotBeOpened();
    void fullDisk();
    void bodyThatEndsEarly();
    void bodyThatCannotBeRead();
    void lengthBeyond32BitsIsFound();

private:
    QString path() const
    {
        return m_folder.filePath("Package.zip");
    }

    QTemporaryDir m_folder;
};

void PackageStoreTest::storedBytes_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QByteArray>("prefix");
    QTest::newRow("empty") << QByteArray() << QByteArray("\0\0\0\0", 4);
    QTest::newRow("one byte") << QByteArray("x") << QByteArray("\0\0\0\1", 4);
    QTest::newRow("zero bytes") << QByteArray(3, '\0') << QByteArray("\0\0\0\3", 4);
    QTest::newRow("258 bytes, the highest byte first") << someBytes(258) << QByteArray("\0\0\1\2", 4);
    QTest::newRow("one piece") << someBytes(65536) << QByteArray("\0\1\0\0", 4);
    QTest::newRow("one byte more than a piece") << someBytes(65537) << QByteArray("\0\1\0\1", 4);
    QTest::newRow("3 million bytes") << someBytes(3000000) << QByteArray("\0\x2d\xc6\xc0", 4);
}

void PackageStoreTest::storedBytes()
{
    QFETCH(QByteArray, body);
    QFETCH(QByteArray, prefix);
    QBuffer buffer(&body);
    QVERIFY(buffer.open(QIODevice::ReadOnly));
    MessageCatcher catcher;
    QVERIFY(storePackage(buffer, path()));
    const QByteArray stored = readFile(path());
    QCOMPARE(stored.size(), body.size() + 4);
    QCOMPARE(stored.left(4), prefix);
    QVERIFY(stored.mid(4) == body);
    QVERIFY(catcher.lines().isEmpty());
}

void PackageStoreTest::replacesAnOlderFile()
{
    writeFile(path(), someBytes(5000));
    WatchedBody body("short");
    QVERIFY(storePackage(body, path()));
    QCOMPARE(readFile(path()), QByteArray("\0\0\0\5short", 9));
}

void PackageStoreTest::onlyWhatIsLeftOfTheBody()
{
    WatchedBody body("read already, left over");
    QCOMPARE(body.read(14).size(), 14);
    QVERIFY(storePackage(body, path()));
    QCOMPARE(readFile(path()), QByteArray("\0\0\0\x09left over", 13));
}

void PackageStoreTest::bodyIsNeverHeldAsAWhole()
{
    WatchedBody body(someBytes(2000000));
    QVERIFY(storePackage(body, path()));
    QVERIFY2(body.largestRead <= 1024 * 1024, qPrintable(QString::number(body.largestRead)));
}

void PackageStoreTest::fileThatCannotBeOpened()
{
    WatchedBody body("bytes");
    MessageCatcher catcher;
    const QString missing = m_folder.filePath("missing/Package.zip");
    QVERIFY(!storePackage(body, missing));
    QVERIFY(!QFile::exists(missing));
    QCOMPARE(catcher.lines().size(), 1);
    QVERIFY(catcher.warnings().first().startsWith("Cannot store the package in \"" + missing + "\" - "));
}

void PackageStoreTest::fullDisk()
{
    const QString fullDevice = "/dev/full";
    if (!QFile::exists(fullDevice))
        QSKIP("There is no device here that is always full.");
    WatchedBody body(someBytes(100000));
    MessageCatcher catcher;
    QVERIFY(!storePackage(body, fullDevice));
    QCOMPARE(catcher.lines().size(), 1);
    QVERIFY(catcher.warnings().first().startsWith("Cannot store the package in \"/dev/full\" - "));
}

void PackageStoreTest::bodyThatEndsEarly()
{
    BrokenBody body("short", false);
    MessageCatcher catcher;
    QVERIFY(!storePackage(body, path()));
    QCOMPARE(catcher.warnings().size(), 1);
    QVERIFY(catcher.warnings().first().startsWith("Cannot store the package in " + logged(path()) + " - "));
    // What came is there.
    QCOMPARE(readFile(path()), QByteArray("\0\0\0\x08short", 9));
}

void PackageStoreTest::bodyThatCannotBeRead()
{
    BrokenBody body("short", true);
    MessageCatcher catcher;
    QVERIFY(!storePackage(body, path()));
    QCOMPARE(catcher.warnings(),
             QStringList{"Cannot store the package in " + logged(path()) + " - \"the line is dead\""});
}

/// The prefix holds the length modulo 2^32.
void PackageStoreTest::lengthBeyond32BitsIsFound()
{
    const qint64 length = (Q_INT64_C(1) << 32) + 258;
    writeFile(path(), QByteArray("\0\0\1\2PK\3\4", 8));
    // All but its begin takes no space.
    QVERIFY(QFile::resize(path(), length + 4));
    StoredArchive archive(path());
    QVERIFY(archive.open(QIODevice::ReadOnly));
    QCOMPARE(archive.size(), length);
    QCOMPARE(archive.read(4), QByteArray("PK\3\4"));
    archive.close();
    QVERIFY(QFile::remove(path()));
}

QTEST_GUILESS_MAIN(PackageStoreTest)
#include "tst_packagestore.moc"
