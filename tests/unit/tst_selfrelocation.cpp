#include "app/selfrelocation.h"
#include "kit/qt/files.h"
#include "kit/qt/messagecatcher.h"
#include "kit/qt/packagemaker.h"
#include "kit/qt/platform.h"

#include <QtTest>

using namespace freshen;

/// Relocates a made-up updater from one temporary folder into another.
class SelfRelocationTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void paths();
    void handOverHoldsTheSourceFolder();
    void handOverReplacesAnOlderOne();
    void handOverThatCannotBeWrittenIsLogged();
    void handOverThatCannotBeRemovedIsLogged();
    void handOverThatStaysIsWrittenOnTo();
    void handOverOnAFullDiskIsLogged();
    void removeFolderEmptiesAnEarlierRun();
    void removeFolderWithoutAFolder();
    void removeFolderTakesHiddenFiles();
    void removeFolderLeavesWhatALinkLeadsTo_data();
    void removeFolderLeavesWhatALinkLeadsTo();
    void removeFolderTakesNamesThatBeginWithAColon();
    void removeFolderStopsAtWhatItCannotRemove();
    void copiesExecutablePluginsAndLibraries();
    void copiesWithoutLibraries();
    void missingFilesAreLogged();
    void startFailure_data();
    void startFailure();

private:
    QString file(const char *name) const
    {
        return m_folder->filePath(QLatin1String(name));
    }
    RelocationPaths somePaths() const
    {
        return relocationPaths(file("installation"), file("data"));
    }

    std::unique_ptr<QTemporaryDir> m_folder;
};

namespace {

QString native(const QString &path)
{
    return QDir::toNativeSeparators(path);
}

} // namespace

void SelfRelocationTest::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
}

void SelfRelocationTest::paths()
{
    const RelocationPaths paths = somePaths();
    QCOMPARE(paths.source, native(file("installation")));
    QCOMPARE(paths.temporary, native(file("data/freshen")));
    // Beside the temporary folder: the copy finds it in the folder above its own.
    QCOMPARE(paths.handOver, native(file("data/settings.ini")));
}

void SelfRelocationTest::handOverHoldsTheSourceFolder()
{
    const WesternCodePage codePage;
    QDir().mkpath(file("data"));
    RelocationPaths paths = somePaths();
    paths.source = native(file("Prögramme/Tavlo pro/../Tavlo pro"));
    QVERIFY(messagesOf([&] { QVERIFY(writeHandOver(paths)); }).isEmpty());
    // The absolute path as it is, with forward slashes and without a line end.
    const QString expected = QDir(file("Prögramme/Tavlo pro/../Tavlo pro")).absolutePath();
    QCOMPARE(QString::fromUtf8(readFile(file("data/settings.ini"))), expected);
}

void SelfRelocationTest::handOverReplacesAnOlderOne()
{
    writeFile(file("data/settings.ini"),
              "an older and much, much longer path than the one that is written now" + QByteArray(1000, 'x') + "\n");
    QVERIFY(writeHandOver(somePaths()));
    QCOMPARE(QString::fromUtf8(readFile(file("data/settings.ini"))), file("installation"));
}

void SelfRelocationTest::handOverThatCannotBeWrittenIsLogged()
{
    const RelocationPaths paths = somePaths();
    MessageCatcher catcher;
    QVERIFY(!writeHandOver(paths));
    QCOMPARE(catcher.debugLines(), QStringList());
    QCOMPARE(catcher.warnings().size(), 1);
    QVERIFY(catcher.warnings().first().startsWith(QLatin1String("Cannot write ") + logged(paths.handOver)));
}

void SelfRelocationTest::handOverThatCannotBeRemovedIsLogged()
{
    // A folder in its place can neither be removed as a file nor written to.
    writeFile(file("data/settings.ini/inside.txt"), "in the way");
    const RelocationPaths paths = somePaths();
    MessageCatcher catcher;
    QVERIFY(!writeHandOver(paths));
    QCOMPARE(catcher.warnings().size(), 2);
    QVERIFY(catcher.warnings().at(0).startsWith(QLatin1String("Cannot remove ") + logged(paths.handOver) + " - \""));
    QVERIFY(catcher.warnings().at(1).startsWith(QLatin1String("Cannot write ") + logged(paths.handOver) + " - \""));
}

/// It is written on to, so that the folders stand in one line.
void SelfRelocationTest::handOverThatStaysIsWrittenOnTo()
{
    m_folder.reset();
    const OrdinaryUser user;
    init();
    // Nothing is removed from a read-only folder.
    writeFile(file("data/settings.ini"), "older");
    if (isWindows())
        QSKIP("What can be written can be removed here.");
    const QFile::Permissions before = QFile::permissions(file("data"));
    QVERIFY(QFile::setPermissions(file("data"), QFile::ReadOwner | QFile::ExeOwner));
    const MessageCatcher catcher;
    QVERIFY(writeHandOver(somePaths()));
    QFile::setPermissions(file("data"), before);
    QCOMPARE(QString::fromUtf8(readFile(file("data/settings.ini"))), QLatin1String("older") + file("installation"));
}

void SelfRelocationTest::handOverOnAFullDiskIsLogged()
{
    if (isWindows())
        QSKIP("No device is always full here.");
    m_folder.reset();
    const OrdinaryUser user;
    init();
    QDir().mkpath(file("data"));
    QVERIFY(QFile::link("/dev/full", file("data/settings.ini")));
    // It stays there.
    const QFile::Permissions before = QFile::permissions(file("data"));
    QVERIFY(QFile::setPermissions(file("data"), QFile::ReadOwner | QFile::ExeOwner));
    MessageCatcher catcher;
    QVERIFY(!writeHandOver(somePaths()));
    QFile::setPermissions(file("data"), before);
    QVERIFY(catcher.warnings().last().startsWith(QLatin1String("Cannot write ") + logged(file("data/settings.ini")) +
                                                 " - \""));
}

/// Left over from an earlier run: files in sub-folders, and sub-folders in those.
void SelfRelocationTest::removeFolderEmptiesAnEarlierRun()
{
    writeFile(file("freshen/Freshen.exe"), "old");
    writeFile(file("freshen/platforms/extra.txt"), "old");
    writeFile(file("freshen/platforms/deeper/and deeper/extra.txt"), "old");
    QDir().mkpath(file("freshen/empty"));
    writeFile(file("settings.ini"), "beside it");
    QVERIFY(removeFolder(file("freshen")));
    QCOMPARE(treeOf(m_folder->path()).keys(), QStringList{QStringLiteral("settings.ini")});
}

void SelfRelocationTest::removeFolderWithoutAFolder()
{
    QVERIFY(removeFolder(file("missing")));
    writeFile(file("a file"), "stays");
    QVERIFY(removeFolder(file("a file")));
    QCOMPARE(readFile(file("a file")), QByteArray("stays"));
}

void SelfRelocationTest::removeFolderTakesHiddenFiles()
{
    writeFile(file("freshen/sub/.hidden"), "old");
    // Nor is a link that leads nowhere seen as a file.
    QVERIFY(QFile::link(file("missing"), file("freshen/sub/link.lnk")));
    QVERIFY(removeFolder(file("freshen")));
    QVERIFY(!QFileInfo::exists(file("freshen")));
}

void SelfRelocationTest::removeFolderLeavesWhatALinkLeadsTo_data()
{
    QTest::addColumn<QString>("link");
    QTest::newRow("in the folder") << "freshen/sub/link.lnk";
    // A shortcut cannot be called like a folder.
    if (!isWindows())
        QTest::newRow("in its place") << "freshen";
}

void SelfRelocationTest::removeFolderLeavesWhatALinkLeadsTo()
{
    QFETCH(QString, link);
    const QString path = m_folder->filePath(link);
    writeFile(file("elsewhere/letter.txt"), "mine");
    QDir().mkpath(QFileInfo(path).path());
    QVERIFY(QFile::link(file("elsewhere"), path));
    QVERIFY(removeFolder(file("freshen")));
    QVERIFY(!QFileInfo::exists(file("freshen")));
    QCOMPARE(readFile(file("elsewhere/letter.txt")), QByteArray("mine"));
}

void SelfRelocationTest::removeFolderTakesNamesThatBeginWithAColon()
{
    if (isWindows())
        QSKIP("Windows knows no such names.");
    writeFile(file("freshen/:old"), "old");
    QVERIFY(removeFolder(file("freshen")));
    QVERIFY(!QFileInfo::exists(file("freshen")));
}

void SelfRelocationTest::removeFolderStopsAtWhatItCannotRemove()
{
    m_folder.reset();
    const OrdinaryUser user;
    init();
    // Nothing is removed from a read-only folder, nor, on Windows, while somebody has it open.
    writeFile(file("freshen/sub/file"), "stays");
    QFile held(file("freshen/sub/file"));
    QVERIFY(held.open(QIODevice::ReadOnly));
    const QFile::Permissions before = QFile::permissions(file("freshen/sub"));
    QVERIFY(QFile::setPermissions(file("freshen/sub"), QFile::ReadOwner | QFile::ExeOwner));
    MessageCatcher catcher;
    QVERIFY(!removeFolder(file("freshen")));
    QFile::setPermissions(file("freshen/sub"), before);
    QCOMPARE(readFile(file("freshen/sub/file")), QByteArray("stays"));
    // Once, and not once more for each folder around it.
    QCOMPARE(catcher.warnings().size(), 1);
    QVERIFY(catcher.warnings().first().startsWith(QLatin1String("Cannot remove ") + logged(file("freshen/sub/file"))));
}

void SelfRelocationTest::copiesExecutablePluginsAndLibraries()
{
    const QMap<QString, QByteArray> updater = {
        {QStringLiteral("Freshen.exe"), "the updater"},     {QStringLiteral("platforms/qwindows.dll"), "platform"},
        {QStringLiteral("imageformats/qico.dll"), "icons"}, {QStringLiteral("styles/qwindowsvistastyle.dll"), "style"},
        {QStringLiteral("Qt5Core.dll"), someBytes(100000)}, {QStringLiteral("zlib1.dll"), "zlib"},
    };
    for (auto it = updater.begin(); it != updater.end(); ++it)
        writeFile(file("installation/") + it.key(), it.value());
    writeFile(file("installation/Tavlopro.exe"), "not copied");
    writeFile(file("installation/readme.txt"), "not copied");
    writeFile(file("installation/platforms/qminimal.dll"), "not copied");
    writeFile(file("installation/folder.dll/inside.dll"), "not copied, and its folder is no library");
    QDir().mkpath(file("data/freshen"));

    const QStringList messages = messagesOf([this] { copyUpdater(somePaths()); });

    QMap<QString, QByteArray> expected = updater;
    for (const char *folder : {"platforms/", "imageformats/", "styles/"})
        expected.insert(QLatin1String(folder), QByteArray());
    QCOMPARE(treeOf(file("data/freshen")), expected);

    QStringList expectedMessages;
    for (const char *plugin : {"/platforms/qwindows.dll", "/imageformats/qico.dll", "/styles/qwindowsvistastyle.dll"}) {
        expectedMessages += logged(native(file("installation")) + QLatin1String(plugin)) + QLatin1Char(' ') +
                            logged(native(file("data/freshen")) + QLatin1String(plugin)) + QLatin1String(" true");
    }
    QCOMPARE(messages, expectedMessages);
}

void SelfRelocationTest::copiesWithoutLibraries()
{
    writeFile(file("installation/Freshen.exe"), "the updater");
    writeFile(file("installation/platforms/qwindows.dll"), "platform");
    writeFile(file("installation/imageformats/qico.dll"), "icons");
    writeFile(file("installation/styles/qwindowsvistastyle.dll"), "style");
    QDir().mkpath(file("data/freshen"));
    MessageCatcher catcher;
    copyUpdater(somePaths());
    QCOMPARE(catcher.warnings(), QStringList());
    QCOMPARE(readFile(file("data/freshen/Freshen.exe")), QByteArray("the updater"));
    QCOMPARE(readFile(file("data/freshen/platforms/qwindows.dll")), QByteArray("platform"));
    QCOMPARE(readFile(file("data/freshen/imageformats/qico.dll")), QByteArray("icons"));
    QCOMPARE(readFile(file("data/freshen/styles/qwindowsvistastyle.dll")), QByteArray("style"));
}

/// A plug-in says so with its result, everything else with a warning; the rest goes on.
void SelfRelocationTest::missingFilesAreLogged()
{
    writeFile(file("installation/a.dll"), "new");
    writeFile(file("installation/styles/qwindowsvistastyle.dll"), "style");
    writeFile(file("data/freshen/a.dll"), "in the way");
    writeFile(file("data/freshen/platforms"), "in the way");
    MessageCatcher catcher;
    copyUpdater(somePaths());
    const QStringList debugLines = catcher.debugLines();
    QCOMPARE(debugLines.size(), 3);
    QVERIFY(debugLines.at(0).endsWith(QLatin1String("qwindows.dll\" false")));
    QVERIFY(debugLines.at(1).endsWith(QLatin1String("qico.dll\" false")));
    QVERIFY(debugLines.at(2).endsWith(QLatin1String("qwindowsvistastyle.dll\" true")));
    const QStringList warnings = catcher.warnings();
    QCOMPARE(warnings.size(), 3);
    const QString platforms = file("data/freshen/platforms");
    QVERIFY(warnings.at(0).startsWith(QLatin1String("Cannot create ") + logged(platforms) + " - \""));
    const QString executable = QStringLiteral("/Freshen.exe");
    QVERIFY2(warnings.at(1).startsWith("Cannot copy " + logged(file("installation") + executable) + " to " +
                                       logged(native(file("data/freshen")) + executable) + " - \""),
             qUtf8Printable(warnings.at(1)));
    QCOMPARE(QDir::fromNativeSeparators(warnings.at(2)),
             QLatin1String("Copy failed ") + logged(file("installation/a.dll")));
}

void SelfRelocationTest::startFailure_data()
{
    QTest::addColumn<int>("result");
    QTest::addColumn<QStringList>("messages");
    QTest::newRow("access denied") << 5 << QStringList{"ERROR_ACCESS_DENIED Freshen.exe"};
    QTest::newRow("executable missing") << 2 << QStringList{"ERROR_FILE_NOT_FOUND Freshen.exe"};
    QTest::newRow("folder missing") << 3 << QStringList{"ERROR_PATH_NOT_FOUND \"C:/data/freshen\""};
    QTest::newRow("no memory") << 0 << QStringList();
    QTest::newRow("another reason") << 31 << QStringList();
    QTest::newRow("the last failure") << 32 << QStringList();
}

void SelfRelocationTest::startFailure()
{
    QFETCH(int, result);
    RelocationPaths paths;
    paths.temporary = QStringLiteral("C:/data/freshen");
    QTEST(messagesOf([&] { logStartFailure({result}, paths); }), "messages");
}

QTEST_GUILESS_MAIN(SelfRelocationTest)
#include "tst_selfrelocation.moc"
