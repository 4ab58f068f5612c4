#include "install/batchprocess.h"
#include "install/copyobstacle.h"
#include "kit/qt/files.h"
#include "kit/qt/platform.h"

#include <QStorageInfo>
#include <QtTest>

using namespace freshen;

namespace {

int longestPath = 0;

} // namespace

// They take the place of the program's when they are linked.
int freshen::longestCopyPath()
{
    return longestPath;
}
int freshen::longestCopyFolder()
{
    return longestPath;
}

/// Looks at whether the folder "new" could be copied into the folder "old", which holds an installation.
class CopyObstacleTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void space_data();
    void space();
    void linksGiveNothingBack();
    void spaceThatIsNotKnownIsEnough();
    void spaceOfAFolder();
    void paths_data();
    void paths();

private:
    QString file(const QString &name) const
    {
        return m_folder->filePath(name);
    }
    /// The obstacle, or an empty text.
    QString obstacle(const std::optional<DiskSpace> &space, const QStringList &filesToKeep = {}) const
    {
        const std::optional<QString> found = copyObstacle(file("new"), file("old"), filesToKeep, space);
        return found.value_or(QString());
    }

    std::unique_ptr<QTemporaryDir> m_folder;
};

void CopyObstacleTest::init()
{
    longestPath = 10000;
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(QDir(m_folder->path()).mkdir("new"));
    QVERIFY(QDir(m_folder->path()).mkdir("old"));
}

void CopyObstacleTest::space_data()
{
    QTest::addColumn<QStringList>("filesToKeep");
    QTest::addColumn<qint64>("available");
    QTest::addColumn<int>("blockSize");
    QTest::addColumn<QString>("text");
    const QStringList none;
    const QStringList settings = {"settings.ini"};
    QTest::newRow("just enough") << settings << qint64(301) << 1 << "";
    QTest::newRow("one byte too few") << settings << qint64(300) << 1 << "1001 bytes needed, 1000 bytes free";
    QTest::newRow("whole blocks, just enough") << settings << qint64(400) << 400 << "";
    QTest::newRow("whole blocks, one byte too few")
        << settings << qint64(399) << 400 << "1600 bytes needed, 1599 bytes free";
    QTest::newRow("files that are not kept give their space back") << none << qint64(0) << 1 << "";
    QTest::newRow("beyond 32 bits") << settings << (Q_INT64_C(1) << 40) << 1 << "";
}

void CopyObstacleTest::space()
{
    QFETCH(QStringList, filesToKeep);
    QFETCH(qint64, available);
    QFETCH(int, blockSize);
    QFETCH(QString, text);
    writeFile(file("new/a"), QByteArray(1000, 'x'));
    writeFile(file("new/sub/b"), "x");
    writeFile(file("old/a"), QByteArray(600, 'x'));
    writeFile(file("old/settings.ini"), QByteArray(5000, 'x'));
    // Kept only at the top.
    writeFile(file("old/sub/settings.ini"), QByteArray(100, 'x'));
    // Hidden files are neither copied nor removed.
    writeFile(file("new/.hidden"), QByteArray(9000, 'x'));
    writeFile(file("old/.hidden"), QByteArray(9000, 'x'));
    hideDotted(m_folder->path());
    const QString expected =
        text.isEmpty() ? QString() : "Not enough space in " + QDir::toNativeSeparators(file("old")) + ": " + text;
    QCOMPARE(obstacle(DiskSpace{available, blockSize}, filesToKeep), expected);
}

/// What they lead to is not removed.
void CopyObstacleTest::linksGiveNothingBack()
{
    writeFile(file("new/a"), QByteArray(1000, 'x'));
    writeFile(file("elsewhere"), QByteArray(5000, 'x'));
    QVERIFY(QFile::link(file("elsewhere"), file("old/link.lnk")));
    QVERIFY(obstacle(DiskSpace{999, 1}).endsWith(": 1000 bytes needed, 999 bytes free"));
    QCOMPARE(obstacle(DiskSpace{1000, 1}), QString());
}

void CopyObstacleTest::spaceThatIsNotKnownIsEnough()
{
    writeFile(file("new/a"), QByteArray(1000, 'x'));
    QCOMPARE(obstacle(std::nullopt), QString());
}

void CopyObstacleTest::spaceOfAFolder()
{
    const std::optional<DiskSpace> space = DiskSpace::at(m_folder->path());
    QVERIFY(space.has_value());
    const QStorageInfo storage(m_folder->path());
    QVERIFY(space->available > 0);
    QVERIFY(space->available < storage.bytesTotal());
    // Qt for Windows does not know it.
    if (isWindows())
        QVERIFY(space->blockSize >= 1);
    else
        QCOMPARE(space->blockSize, qint64(storage.blockSize()));
}

void CopyObstacleTest::paths_data()
{
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("destination");
    QTest::addColumn<QString>("entry");
    QTest::addColumn<QString>("longest");
    QTest::newRow("file to be written") << "new"
                                        << "a longer folder"
                                        << "sub/file"
                                        << "a longer folder/sub/file";
    QTest::newRow("file to be read") << "a longer folder"
                                     << "old"
                                     << "sub/file"
                                     << "a longer folder/sub/file";
    QTest::newRow("empty folder") << "new"
                                  << "a longer folder"
                                  << "sub/sub/"
                                  << "a longer folder/sub/sub";
}

void CopyObstacleTest::paths()
{
    QFETCH(QString, source);
    QFETCH(QString, destination);
    QFETCH(QString, entry);
    QFETCH(QString, longest);
    if (entry.endsWith('/'))
        QVERIFY(QDir().mkpath(file(source + '/' + entry)));
    else
        writeFile(file(source + '/' + entry), "x");
    const QString path = file(longest);
    // As the window hands them over.
    const QString from = QDir::toNativeSeparators(file(source));

    longestPath = path.size();
    QVERIFY(!copyObstacle(from, file(destination), {}, std::nullopt).has_value());
    longestPath = path.size() - 1;
    const std::optional<QString> found = copyObstacle(from, file(destination), {}, std::nullopt);
    QCOMPARE(found.value_or(QString()), "Path too long: " + QDir::toNativeSeparators(path));
}

QTEST_GUILESS_MAIN(CopyObstacleTest)
#include "tst_copyobstacle.moc"
