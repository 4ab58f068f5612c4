// The start without arguments: the updater copies itself out of the installation and starts the copy.

#include "kit/qt/dialogdriver.h"
#include "kit/qt/files.h"
#include "kit/qt/windowtest.h"
#include "versions/deployment.h"

#include <QDir>
#include <QNetworkAccessManager>
#include <QStandardPaths>
#include <QtTest>

using namespace freshen;

namespace {

QString localData()
{
    return QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation);
}

QString temporaryFolder()
{
    return QDir::toNativeSeparators(localData() + QLatin1String("/freshen"));
}

QString executable()
{
    return QCoreApplication::applicationDirPath() + QLatin1String("/Freshen.exe");
}

QString errorText()
{
    const QString page = QLatin1String(deployment::downloadPage);
    return QStringLiteral("We are sorry, but the Tavlopro update tool has an error.<br/>Perhaps it has insufficent "
                          "rights.<br/>You can also try to re-install Tavlopro by downloading the current version "
                          "from:<br/><html><a href=\"%1\">%1</a></html>")
        .arg(page);
}

/// Whether the copy was started and the updater's own end scheduled.
bool relocates(TestWindow &window)
{
    window.precheckTrigger.stop();
    bool isStarted = false;
    const bool quits = quitsAfter([&] { isStarted = window.relocateToTempFolder(); });
    return isStarted && quits;
}

} // namespace

class MainWindowRelocationTest : public WindowTest
{
    Q_OBJECT

protected:
    void prepare() override;
    void tidyUp() override;

private slots:
    void updaterIsCopiedAndStarted();
    void logTellsTheRelocation();
    void handOverIsWrittenAnew();
    void leftoverFolderIsEmptied();
    void failedStartIsShown_data();
    void failedStartIsShown();
    void failedStartIsLogged_data();
    void failedStartIsLogged();
    void onlyMoreThan32IsASuccess();
    void missingTemporaryFolderEndsTheUpdaterSilently();
    void foldersCanBeRemoved();
};

void MainWindowRelocationTest::prepare()
{
    // AppLocalDataLocation is below the home of this test.
    QDir(localData()).removeRecursively();
    QFile::remove(localData());
    writeFile(executable(), "the updater");
}

void MainWindowRelocationTest::tidyUp()
{
    QFile::remove(executable());
}

void MainWindowRelocationTest::updaterIsCopiedAndStarted()
{
    DialogDriver dialogs;
    TestWindow window;
    window.show();
    int requests = 0;
    connect(networkAccessManager, &QNetworkAccessManager::finished, networkAccessManager, [&requests] { ++requests; });
    QVERIFY(quitsAfter([] {}));

    const QMap<QString, QByteArray> expected = {{QStringLiteral("Freshen.exe"), "the updater"},
                                                {QStringLiteral("imageformats/"), {}},
                                                {QStringLiteral("platforms/"), {}},
                                                {QStringLiteral("styles/"), {}}};
    QCOMPARE(treeOf(temporaryFolder()), expected);
    QCOMPARE(fakeSystem().elevatedStarts.size(), 1);
    const ElevatedStart &start = fakeSystem().elevatedStarts.first();
    QCOMPARE(start.file, QStringLiteral("Freshen.exe"));
    QCOMPARE(start.argument, QStringLiteral("menu"));
    QCOMPARE(start.workingFolder, temporaryFolder());
    QCOMPARE(requests, 0);
    QVERIFY(dialogs.boxes().isEmpty());
}

void MainWindowRelocationTest::logTellsTheRelocation()
{
    TestWindow window;
    takeLog();
    QVERIFY(quitsAfter([] {}));
    const QString source = QDir::toNativeSeparators(QCoreApplication::applicationDirPath());
    QStringList expected = {QStringLiteral("checking ..."),
                            QStringLiteral("Get: \"https://%1:443/update/Tavlopc/VERSIONS/windows.txt\"")
                                .arg(QLatin1String(deployment::updateHost)),
                            QStringLiteral("\"%1\" \"%2\"").arg(source, temporaryFolder())};
    for (const char *plugin : {"/platforms/qwindows.dll", "/imageformats/qico.dll", "/styles/qwindowsvistastyle.dll"}) {
        const QString path = QLatin1String(plugin);
        expected.append(QStringLiteral("\"%1\" \"%2\" false").arg(source + path, temporaryFolder() + path));
    }
    expected.append(QStringLiteral("42"));
    QStringList log = takeLog();
    // Backslashes are escaped in the log.
    log.replaceInStrings(QStringLiteral("\\\\"), QStringLiteral("\\"));
    QCOMPARE(log, expected);
}

void MainWindowRelocationTest::handOverIsWrittenAnew()
{
    const QString handOver = localData() + QLatin1String("/settings.ini");
    writeFile(handOver, "of an earlier run, and longer than what is written now: " + QByteArray(1000, 'x'));
    TestWindow window;
    QVERIFY(relocates(window));
    const QByteArray expected = QCoreApplication::applicationDirPath().toUtf8();
    QCOMPARE(readFile(handOver), expected);
    QVERIFY(relocates(window));
    QCOMPARE(readFile(handOver), expected);
}

void MainWindowRelocationTest::leftoverFolderIsEmptied()
{
    writeFile(temporaryFolder() + QLatin1String("/old.dll"), "old");
    writeFile(temporaryFolder() + QLatin1String("/platforms/deep/er/old.dll"), "old");
    writeFile(temporaryFolder() + QLatin1String("/Freshen.exe"), "an older updater");
    TestWindow window;
    QVERIFY(relocates(window));
    QCOMPARE(treeOf(temporaryFolder()).keys(),
             QStringList({QStringLiteral("Freshen.exe"), QStringLiteral("imageformats/"), QStringLiteral("platforms/"),
                          QStringLiteral("styles/")}));
    QCOMPARE(readFile(temporaryFolder() + QLatin1String("/Freshen.exe")), QByteArray("the updater"));
}

void MainWindowRelocationTest::failedStartIsShown_data()
{
    QTest::addColumn<QString>("title");
    QTest::newRow("en") << "Error starting Updater";
    QTest::newRow("de") << "Fehler beim Starten des Updaters";
}

void MainWindowRelocationTest::failedStartIsShown()
{
    QFETCH(QString, title);
    const Catalogue catalogue(QString::fromLatin1(QTest::currentDataTag()));
    // What the system answers when the user declines its question for consent.
    fakeSystem().elevatedResult = 5;
    DialogDriver dialogs;
    TestWindow window;
    window.show();
    dialogs.expect([&window](QMessageBox &box) {
        QCOMPARE(box.parent(), &window);
        // Otherwise the tags would be seen, and the link could not be clicked.
        QCOMPARE(box.textFormat(), Qt::RichText);
        QVERIFY((box.textInteractionFlags() & Qt::LinksAccessibleByMouse) != 0);
        DialogDriver::click(box, QMessageBox::Ok);
    });
    QVERIFY(quitsAfter([] {}));
    const ShownBox expected = {QMessageBox::Critical, title, errorText(), QMessageBox::Ok};
    QCOMPARE(dialogs.boxes(), QVector<ShownBox>{expected});
}

void MainWindowRelocationTest::failedStartIsLogged_data()
{
    QTest::addColumn<int>("result");
    QTest::addColumn<QString>("line");
    QTest::newRow("access denied") << 5 << "ERROR_ACCESS_DENIED Freshen.exe";
    QTest::newRow("file not found") << 2 << "ERROR_FILE_NOT_FOUND Freshen.exe";
    QTest::newRow("path not found") << 3 << QStringLiteral("ERROR_PATH_NOT_FOUND \"%1\"").arg(temporaryFolder());
    QTest::newRow("out of memory") << 0 << "0";
    QTest::newRow("no association") << 31 << "31";
    QTest::newRow("32") << 32 << "32";
    QTest::newRow("negative") << -1 << "-1";
}

void MainWindowRelocationTest::failedStartIsLogged()
{
    QFETCH(int, result);
    QFETCH(QString, line);
    fakeSystem().elevatedResult = result;
    DialogDriver dialogs;
    dialogs.expectAndPress(Qt::Key_Escape);
    TestWindow window;
    window.precheckTrigger.stop();
    QVERIFY(!window.relocateToTempFolder());
    QStringList log = takeLog();
    log.replaceInStrings(QStringLiteral("\\\\"), QStringLiteral("\\"));
    QCOMPARE(log.last(), line);
    QCOMPARE(dialogs.boxes().size(), 1);
}

void MainWindowRelocationTest::onlyMoreThan32IsASuccess()
{
    fakeSystem().elevatedResult = 33;
    DialogDriver dialogs;
    TestWindow window;
    QVERIFY(relocates(window));
    QVERIFY(dialogs.boxes().isEmpty());
}

void MainWindowRelocationTest::missingTemporaryFolderEndsTheUpdaterSilently()
{
    // A file lies in the way.
    writeFile(localData(), "in the way");
    DialogDriver dialogs;
    TestWindow window;
    window.show();
    QVERIFY(quitsAfter([] {}));
    QStringList log = takeLog();
    log.replaceInStrings(QStringLiteral("\\\\"), QStringLiteral("\\"));
    QCOMPARE(log.last(), QStringLiteral("Error creating path: \"%1\"").arg(temporaryFolder()));
    QVERIFY(fakeSystem().elevatedStarts.isEmpty());
    QVERIFY(dialogs.boxes().isEmpty());
}

void MainWindowRelocationTest::foldersCanBeRemoved()
{
    TestWindow window;
    const QString folder = window.pathOf(QStringLiteral("folder"));
    writeFile(folder + QLatin1String("/a/b/file"), "content");
    QVERIFY(window.removeFolder(folder));
    QVERIFY(!QFile::exists(folder));
    // A missing one counts as removed.
    QVERIFY(window.removeFolder(folder));
}

FRESHEN_WINDOW_TEST_MAIN(MainWindowRelocationTest)
#include "tst_mainwindow_relocation.moc"
