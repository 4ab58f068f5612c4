// The window as it is constructed: its members, slots and connections, and what it reads from the application's
// settings. The form itself is in tst_mainwindow_form.cpp.

#include "kit/qt/platform.h"
#include "kit/qt/settings.h"
#include "kit/qt/windowtest.h"
#include "versions/applicationsettings.h"

#include <QCheckBox>
#include <QDir>
#include <QLabel>
#include <QMetaMethod>
#include <QNetworkAccessManager>
#include <QPushButton>
#include <QTreeWidget>
#include <QtTest>

#include <type_traits>

using namespace freshen;

// The members' types.
static_assert(std::is_same_v<decltype(TestWindow::ui), std::unique_ptr<Ui::MainWindow>>);
static_assert(std::is_same_v<decltype(TestWindow::version_main), QString>);
static_assert(std::is_same_v<decltype(TestWindow::version_minor), QString>);
static_assert(std::is_same_v<decltype(TestWindow::version_state), QString>);
static_assert(std::is_same_v<decltype(TestWindow::selectedVersion), QString>);
static_assert(std::is_same_v<decltype(TestWindow::useBeta), bool>);
static_assert(std::is_same_v<decltype(TestWindow::extendedNaming), bool>);
static_assert(std::is_same_v<decltype(TestWindow::osTag), QString>);
static_assert(std::is_same_v<decltype(TestWindow::archTag), QString>);
static_assert(std::is_same_v<decltype(TestWindow::parentDir), QString>);
static_assert(std::is_same_v<decltype(TestWindow::versions), QMap<qint32, QStringList>>);
static_assert(std::is_same_v<decltype(TestWindow::downloadReply), QPointer<QNetworkReply>>);
static_assert(std::is_same_v<decltype(TestWindow::startTime), QDateTime>);
static_assert(std::is_same_v<decltype(TestWindow::precheckTrigger), QTimer>);

namespace {

/// Its folder stays the one that the constructor chose.
class PlainWindow : public MainWindow
{
public:
    ~PlainWindow() override
    {
        delete networkAccessManager;
        networkAccessManager = nullptr;
    }
};

} // namespace

class MainWindowConstructionTest : public WindowTest
{
    Q_OBJECT

private slots:
    void membersHaveTheirDefaults();
    void folderIsTheOneAboveTheProgram();
    void settingsAreRead();
    void flagsAreRead_data();
    void flagsAreRead();
    void betaCheckBoxStartsAsTheSettingSays_data();
    void betaCheckBoxStartsAsTheSettingSays();
    void missingMainVersionIsShown_data();
    void missingMainVersionIsShown();
    void logoIsAlwaysKept_data();
    void logoIsAlwaysKept();
    void listThatCannotBeWrittenIsLogged();
    void titleIsTheSameInEveryLanguage_data();
    void titleIsTheSameInEveryLanguage();
    void slotsStandInTheirOrder();
    void connectionsAreMade();
    void networkManagerIsNobodysChild();
    void precheckIsArmed();
};

void MainWindowConstructionTest::membersHaveTheirDefaults()
{
    const QDateTime before = QDateTime::currentDateTime();
    const TestWindow window;
    const QDateTime after = QDateTime::currentDateTime();

    QCOMPARE(window.version_main, QString());
    QCOMPARE(window.version_minor, QString());
    QCOMPARE(window.version_state, QString());
    QCOMPARE(window.selectedVersion, QString());
    QVERIFY(!window.useBeta);
    QVERIFY(!window.extendedNaming);
    // Every system but Windows XP.
    QCOMPARE(window.osTag, QStringLiteral("WIN7"));
    QCOMPARE(window.archTag, QStringLiteral("X64"));
    QVERIFY(window.versions.isEmpty());
    QVERIFY(window.downloadReply == nullptr);
    QVERIFY(window.startTime >= before);
    QVERIFY(window.startTime <= after);
    QVERIFY(window.parent() == nullptr);
}

void MainWindowConstructionTest::folderIsTheOneAboveTheProgram()
{
    const PlainWindow window;
    QCOMPARE(TestWindow::parentDirOf(window), QCoreApplication::applicationDirPath() + QLatin1String("/.."));
}

void MainWindowConstructionTest::settingsAreRead()
{
    writeSetting("version_main", QStringLiteral("26"));
    writeSetting("version_minor", QStringLiteral("05"));
    writeSetting("version_state", QStringLiteral("Stable"));
    const TestWindow window;
    QCOMPARE(window.version_main, QStringLiteral("26"));
    QCOMPARE(window.version_minor, QStringLiteral("05"));
    QCOMPARE(window.version_state, QStringLiteral("Stable"));
}

void MainWindowConstructionTest::flagsAreRead_data()
{
    QTest::addColumn<QVariant>("stored");
    QTest::addColumn<bool>("expected");
    QTest::newRow("true") << QVariant(true) << true;
    QTest::newRow("false") << QVariant(false) << false;
    QTest::newRow("text true") << QVariant(QStringLiteral("true")) << true;
    QTest::newRow("text false") << QVariant(QStringLiteral("false")) << false;
    QTest::newRow("number") << QVariant(1) << true;
}

void MainWindowConstructionTest::flagsAreRead()
{
    QFETCH(QVariant, stored);
    writeSetting("LoginWindow/useBeta", stored);
    {
        const TestWindow window;
        QTEST(window.useBeta, "expected");
        QVERIFY(!window.extendedNaming);
    }
    clearSettings();
    writeSetting("extendedNaming", stored);
    const TestWindow window;
    QTEST(window.extendedNaming, "expected");
    QVERIFY(!window.useBeta);
}

void MainWindowConstructionTest::betaCheckBoxStartsAsTheSettingSays_data()
{
    QTest::addColumn<bool>("useBeta");
    QTest::newRow("beta versions wanted") << true;
    QTest::newRow("beta versions not wanted") << false;
}

void MainWindowConstructionTest::betaCheckBoxStartsAsTheSettingSays()
{
    QFETCH(bool, useBeta);
    writeSetting("LoginWindow/useBeta", useBeta);
    const TestWindow window;
    QCOMPARE(window.showBeta().isChecked(), useBeta);
}

void MainWindowConstructionTest::missingMainVersionIsShown_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("versionMain");
    QTest::addColumn<QString>("label");
    const QString checking = QStringLiteral("Checking for Tavlopro Software Update...");
    QTest::newRow("missing, en") << "en"
                                 << "" << QStringLiteral("No Version of Tavlopro found!");
    QTest::newRow("missing, de") << "de"
                                 << "" << QStringLiteral("Keine ausführbare Version des Tavlopro gefunden!");
    QTest::newRow("there, en") << "en"
                               << "26" << checking;
    QTest::newRow("there, de") << "de"
                               << "26" << checking;
}

void MainWindowConstructionTest::missingMainVersionIsShown()
{
    QFETCH(QString, language);
    QFETCH(QString, versionMain);
    const Catalogue catalogue(language);
    if (!versionMain.isEmpty())
        writeSetting("version_main", versionMain);
    // The other parts of the version do not count.
    writeSetting("version_minor", QStringLiteral("05"));
    const TestWindow window;
    QTEST(window.label().text(), "label");
}

void MainWindowConstructionTest::logoIsAlwaysKept_data()
{
    QTest::addColumn<QVariant>("stored");
    QTest::addColumn<QStringList>("expected");
    const QString logo = QStringLiteral("logo.png");
    const QString settings = QStringLiteral("settings.ini");
    QTest::newRow("no list ends as logo.png") << QVariant() << QStringList{logo};
    QTest::newRow("Logo.png is not logo.png")
        << QVariant(QStringList{QStringLiteral("Logo.png")}) << QStringList{QStringLiteral("Logo.png"), logo};
    QTest::newRow("appended at the end") << QVariant(QStringList{settings, QStringLiteral("a.txt")})
                                         << QStringList{settings, QStringLiteral("a.txt"), logo};
    QTest::newRow("already there") << QVariant(QStringList{logo, settings}) << QStringList{logo, settings};
    QTest::newRow("a single text") << QVariant(settings) << QStringList{settings, logo};
}

void MainWindowConstructionTest::logoIsAlwaysKept()
{
    QFETCH(QVariant, stored);
    if (stored.isValid())
        writeSetting("Updater/filesToKeep", stored);
    const TestWindow window;
    QTEST(readSetting("Updater/filesToKeep").toStringList(), "expected");
}

void MainWindowConstructionTest::listThatCannotBeWrittenIsLogged()
{
    if (isWindows())
        QSKIP("The settings are no file here.");
    const QString file = applicationSettings().fileName();
    const QString folder = QFileInfo(file).path();
    QVERIFY(QDir().mkpath(folder));
    const QFile::Permissions before = QFile::permissions(folder);
    QVERIFY(QFile::setPermissions(folder, QFile::ReadOwner | QFile::ExeOwner));
    {
        const OrdinaryUser user;
        const TestWindow window;
    }
    QFile::setPermissions(folder, before);
    QCOMPARE(
        warnings(),
        QStringList{QStringLiteral("Cannot write Updater/filesToKeep to \"%1\" - QSettings::AccessError").arg(file)});
}

void MainWindowConstructionTest::titleIsTheSameInEveryLanguage_data()
{
    addLanguages();
    QTest::newRow("no catalogue") << QString();
}

void MainWindowConstructionTest::titleIsTheSameInEveryLanguage()
{
    QFETCH(QString, language);
    const Catalogue catalogue(language);
    const TestWindow window;
    QCOMPARE(window.windowTitle(), QStringLiteral("Tavlopro Updater - Version 96"));
}

void MainWindowConstructionTest::slotsStandInTheirOrder()
{
    const QList<QByteArray> expected = {
        "authenticateProxy(QNetworkProxy,QAuthenticator*)",
        "getVersion(QNetworkReply*)",
        "getVersions(QNetworkReply*)",
        "readAndUnzipDownload(QNetworkReply*)",
        "precheckTimer()",
        "installUpdate()",
        "startTavlo()",
        "downloadVersion()",
        "downloadProgress(qlonglong,qlonglong)",
        "processError(QProcess::ProcessError)",
        "betaCheckBoxBlicked()",
        "abortDownload()",
        "currentItemChanged(QTreeWidgetItem*,QTreeWidgetItem*)",
        "itemActivated(QTreeWidgetItem*,int)",
    };
    const QMetaObject &meta = MainWindow::staticMetaObject;
    QList<QByteArray> found;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        QCOMPARE(meta.method(i).methodType(), QMetaMethod::Slot);
        QCOMPARE(QByteArray(meta.method(i).typeName()), QByteArray("void"));
        found.append(meta.method(i).methodSignature().replace("qint64", "qlonglong"));
    }
    QCOMPARE(found, expected);
}

void MainWindowConstructionTest::connectionsAreMade()
{
    TestWindow window;
    // A connection that can be taken away was there.
    QVERIFY(disconnect(&window.showBeta(), SIGNAL(clicked()), &window, SLOT(betaCheckBoxBlicked())));
    QVERIFY(disconnect(&window.tree(), SIGNAL(currentItemChanged(QTreeWidgetItem *, QTreeWidgetItem *)), &window,
                       SLOT(currentItemChanged(QTreeWidgetItem *, QTreeWidgetItem *))));
    QVERIFY(disconnect(&window.tree(), SIGNAL(itemActivated(QTreeWidgetItem *, int)), &window,
                       SLOT(itemActivated(QTreeWidgetItem *, int))));
    QVERIFY(disconnect(&window.precheckTrigger, SIGNAL(timeout()), &window, SLOT(precheckTimer())));
    QVERIFY(disconnect(networkAccessManager, SIGNAL(proxyAuthenticationRequired(QNetworkProxy, QAuthenticator *)),
                       &window, SLOT(authenticateProxy(QNetworkProxy, QAuthenticator *))));

    // These wait for the mode.
    QVERIFY(!disconnect(&window.button(), nullptr, &window, nullptr));
    QVERIFY(!disconnect(&window.multiButton(), nullptr, &window, nullptr));
    QVERIFY(!disconnect(networkAccessManager, nullptr, &window, nullptr));
}

void MainWindowConstructionTest::networkManagerIsNobodysChild()
{
    const TestWindow window;
    QVERIFY(networkAccessManager != nullptr);
    QVERIFY(networkAccessManager->parent() == nullptr);
}

void MainWindowConstructionTest::precheckIsArmed()
{
    const TestWindow window;
    QVERIFY(window.precheckTrigger.isSingleShot());
    QVERIFY(window.precheckTrigger.isActive());
    QCOMPARE(window.precheckTrigger.interval(), 0);
    // Nothing happens before the event loop runs.
    QCOMPARE(fakeSystem().rounds, 0);
}

FRESHEN_WINDOW_TEST_MAIN(MainWindowConstructionTest)
#include "tst_mainwindow_construction.moc"
