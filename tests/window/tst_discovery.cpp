// From the check that the application is closed to the version that the mode "auto" chooses.

#include "kit/qt/windowtest.h"
#include "versions/deployment.h"
#include "versions/ownversion.h"

#include <QAuthenticator>

using namespace freshen;

namespace {

const QString application = "Tavlopc.exe";

/// A window started so many milliseconds ago asks the user at once to close the application.
constexpr qint64 beyondGracePeriod = 60000;

const QString precheckBox =
    "Information: *Tavlopro Updater Precheck [Retry] *<html><p>Ihre Tavlopro-Anwendung läuft noch.</p><p>Bitte "
    "schließen Sie diese erst, um mit der Installation fortfahren zu können.</p>";

/// The line of a version of the updater's own revision and \a more.
QByteArray version(int more, const QByteArray &type = "Stable", const QByteArray &reference = "0")
{
    return "26.05." + QByteArray::number(ownRevision + more) + '|' + type + '|' + reference + "|2026-05-01|Info";
}

/// The target of the request for that version's package.
QByteArray package(int more, const QByteArray &end = "STABLE.zip")
{
    return "/update/Tavlopc/windows/Tavlopc26.05." + QByteArray::number(ownRevision + more) + end;
}

} // namespace

class DiscoveryTest : public WindowTest
{
    Q_OBJECT

    /// Lets the server offer \a lines.
    void offer(const QByteArrayList &lines)
    {
        m_server->prepare(versionFileTarget, {lines.join('\n') + '\n'});
    }

    /// Lets \a window look for the application, which runs, so long after the start.
    static void checkWhileRunning(TestWindow &window, qint64 milliseconds)
    {
        fakeSystem.processes = QStringList{"init", application};
        window.precheckTrigger.stop();
        window.startTime = QDateTime::currentDateTime().addMSecs(-milliseconds);
        window.precheckTimer();
    }

private slots:
    void init()
    {
        WindowTest::init();
        writeSettings({{"version_main", "26"}, {"version_minor", "05"}});
        setArguments({"auto"});
    }

    void nothingElseHoldsTheUpdater_data()
    {
        const Table<QStringList, bool> table;
        table.row("other names", {"TAVLOPC.EXE", "tavlopc.exe", "Tavlopro.exe", "Tavlopc.exe.old", "MyTavlopc.exe"},
                  true);
        table.row("unknown processes", {application}, false);
    }
    void nothingElseHoldsTheUpdater()
    {
        const auto [processes, isListReadable] = Table<QStringList, bool>::current();
        clearSettings();
        setArguments({"other"});
        fakeSystem.processes = processes;
        fakeSystem.isListReadable = isListReadable;
        TestWindow window;
        window.startTime = QDateTime::currentDateTime().addMSecs(-beyondGracePeriod);
        QCOMPARE(fakeSystem.rounds, 0);
        QTRY_COMPARE(fakeSystem.rounds, 1);
        QVERIFY(!window.precheckTrigger.isActive());
        const QString address = QString("https://%1:443").arg(deployment::updateHost) + versionFileTarget;
        QCOMPARE(takeLog(), QStringList({"no proxy is used.", "checking ...", "Get: \"" + address + '"'}));
    }

    void userIsAskedAfterASecond_data()
    {
        const Table<int, bool> table;
        table.row("0.8 seconds", 800, false);
        table.row("1.1 seconds", 1100, true);
    }
    void userIsAskedAfterASecond()
    {
        const auto [milliseconds, isAsked] = Table<int, bool>::current();
        m_server->prepare(versionFileTarget, HttpAnswer::held());
        TestWindow window;
        if (isAsked)
            m_dialogs->expect(QMessageBox::Retry);
        checkWhileRunning(window, milliseconds);
        QCOMPARE(m_dialogs->boxes().size(), int(isAsked));
        // Either way the next round follows, and lets the update go on when the application has been closed.
        QVERIFY(window.precheckTrigger.isActive());
        QCOMPARE(window.precheckTrigger.interval(), 100);
        fakeSystem.processes.clear();
        QTRY_COMPARE(m_server->targets(), QByteArrayList{versionFileTarget});
        QCOMPARE(fakeSystem.rounds, 2);
    }

    void userIsAskedAgainUntilTheBoxIsCancelled()
    {
        TestWindow window;
        window.precheckTrigger.stop();
        for (const Qt::Key key : {Qt::Key_Escape, Qt::Key_Return, Qt::Key_Space}) {
            m_dialogs->expect([&window, key](QMessageBox &box) {
                // No round runs while the box is open.
                QVERIFY(!window.precheckTrigger.isActive());
                QTest::keyClick(box.button(QMessageBox::Retry), key);
            });
        }
        m_dialogs->expect([](QMessageBox &box) { box.close(); });
        // No button does that; something else may end the box so.
        m_dialogs->expect([](QMessageBox &box) { box.done(QMessageBox::Cancel); });
        QVERIFY(quitsAfter([&window] { checkWhileRunning(window, beyondGracePeriod); }));
        QCOMPARE(m_dialogs->boxes(), QVector<QString>(5, precheckBox).toList());
        QVERIFY(!window.precheckTrigger.isActive());
    }

    void firstArgumentDecidesTheMode_data()
    {
        const Table<QStringList, int, int> table;
        table.row("auto and more", {"auto", "x"}, 1, 1);
        table.row("menu and more", {"menu", "x"}, 1, 0);
        table.row("capital", {"Auto"}, 0, 0);
        table.row("longer", {"menus"}, 0, 0);
        table.row("second", {"x", "auto"}, 0, 0);
    }
    void firstArgumentDecidesTheMode()
    {
        const auto [arguments, requests, page] = Table<QStringList, int, int>::current();
        setArguments(arguments);
        m_server->prepare(versionFileTarget, HttpAnswer::held());
        TestWindow window;
        window.show();
        QTRY_VERIFY(!window.precheckTrigger.isActive());
        QCOMPARE(networkAccessManager->findChildren<QNetworkReply *>().size(), requests);
        QCOMPARE(window.pages.currentIndex(), page);
        const QSize progressSize(460, 140);
        QCOMPARE(window.minimumSize() == progressSize && window.maximumSize() == progressSize, page == 1);
        QVERIFY(fakeSystem.elevatedStarts.isEmpty());
        // The button, which asks for a choice here, is the manual mode's.
        const bool isManual = arguments.first() == "menu";
        if (isManual)
            m_dialogs->expect(QMessageBox::Ok);
        window.button.click();
        QCOMPARE(m_dialogs->boxes().size(), int(isManual));
    }

    void refusedUserFailsTheRequest()
    {
        writeSettings({{"host2", "update.example"},
                       {"config/proxy/data/type", 3},
                       {"config/proxy/data/ip", "127.0.0.1"},
                       {"config/proxy/data/port", m_server->serverPort()},
                       {"config/proxy/data/username", "user"},
                       {"config/proxy/data/password", "secret"}});
        const QByteArray target = QByteArray("http://update.example:") + QByteArray::number(m_server->serverPort());
        m_server->prepare(target + versionFileTarget, {{}, 407, "Proxy-Authenticate: Basic realm=\"proxy\""});
        m_dialogs->expect(QMessageBox::Ok);
        {
            const TestWindow window;
            const QString line = "setting proxy to: 4 \"127.0.0.1\" %1 \"user\" \"secret\"";
            QCOMPARE(takeLog(), QStringList{line.arg(m_server->serverPort())});
            const QSignalSpy asked(networkAccessManager, &QNetworkAccessManager::proxyAuthenticationRequired);
            QTRY_COMPARE(m_dialogs->boxes().size(), 1);
            QVERIFY(m_dialogs->boxes().first().contains("Proxy requires authentication"));
            // Qt names the user of the settings by itself; the slot, asked after that, has no other.
            QCOMPARE(asked.size(), 1);
        }
        // The slot answers every other question, whichever window is asked.
        for (const char *expected : {"", "user secret", "", "user secret", ""}) {
            TestWindow window;
            QAuthenticator authenticator;
            window.authenticateProxy(QNetworkProxy(), &authenticator);
            QCOMPARE((authenticator.user() + ' ' + authenticator.password()).trimmed(), expected);
        }
    }

    void settingsDecideTheVersionAndItsName_data()
    {
        const Table<QVariantMap, bool, QByteArray> table;
        table.row("the fix", {{"LoginWindow/useBeta", "false"}}, false, package(200));
        table.row("the beta", {{"LoginWindow/useBeta", true}}, false, package(400, "BETA.zip"));
        table.row("longer name", {{"extendedNaming", true}}, false, package(200, "STABLEWIN7X64.zip"));
        table.row("test builds by the updater's settings", {{"allow_testbuild", false}}, true, package(200));
        table.row("no test builds by the application's", {{"allow_testbuild", true}}, false, package(200));
    }
    void settingsDecideTheVersionAndItsName()
    {
        const auto [settings, hasTestBuilds, target] = Table<QVariantMap, bool, QByteArray>::current();
        writeSettings(settings);
        writeSettings({{"allow_testbuild", hasTestBuilds}}, "Tavlo3 Updater");
        // No system is new enough for the test build.
        offer({version(100), version(300), version(200, "Stable", "100"), version(400, "Beta"),
               version(500, "Test") + "|0|999.0"});
        const TestWindow window;
        QTRY_COMPARE(m_server->targets().value(1), target);
        for (const QByteArray &request : m_server->requests())
            QVERIFY2(request.contains("\r\nUser-Agent: Updater/2605windows\r\n"), request);
        const QString refusal = "WARNING: ignoring test build " + QString::number(ownRevision + 500);
        QCOMPARE(takeLog().contains(refusal), !hasTestBuilds);
    }

    /// The address of the version file always names one.
    void packageAddressNamesOnlyAPortThatIsSet()
    {
        m_server->prepare(versionFileTarget, HttpAnswer::held(version(1)));
        const TestWindow window;
        QTRY_COMPARE(m_server->targets().size(), 1);
        // The settings are read again. The test's server, as a proxy, takes the request.
        clearSettings();
        writeSettings({{"proto2", "http"}, {"host2", "update.example"}});
        QNetworkProxy::setApplicationProxy({QNetworkProxy::HttpCachingProxy, "127.0.0.1", m_server->serverPort()});
        m_server->release();
        QTRY_COMPARE(m_server->targets().value(1), "http://update.example" + package(1));
    }

    void failedConnectionIsReported_data()
    {
        const Table<HttpAnswer, QString> table;
        table.row("an error", {{}, 404},
                  "Error transferring http://127.0.0.1:PORT" + QString(versionFileTarget) +
                      " - server replied: " + HttpServer::reason);
        table.row("less than announced", HttpAnswer::cutOff(version(1)), "Connection closed");
    }
    void failedConnectionIsReported()
    {
        auto [answer, error] = Table<HttpAnswer, QString>::current();
        error.replace("PORT", QString::number(m_server->serverPort()));
        m_server->prepare(versionFileTarget, answer);
        m_dialogs->expect(QMessageBox::Ok);
        TestWindow window;
        window.show();
        QTRY_VERIFY(!window.isVisible());
        QCOMPARE(takeLog().last(), "Connection failed: \"" + error + '"');
        // The server's own words are no rich text.
        const QString box =
            "Critical: *Connection Failed [Ok] *Connection to server could not be established:<br /><br />"
            "\"%1\"<br /><br/>Please make sure that...<ul><li>Your internet connection is up and running."
            "<li>You made the right proxy settings in Tavlopro's login window (restart Tavlopro and answer "
            "\"No\" to the update question, then click on \"Proxy settings\").</ul>";
        QCOMPARE(m_dialogs->boxes(), QStringList{box.arg(error.toHtmlEscaped())});
    }

    void noVersionIsReported()
    {
        offer({version(-9), "", version(9, "Beta")});
        m_dialogs->expect(QMessageBox::Ok);
        TestWindow window;
        window.show();
        QTRY_VERIFY(!window.isVisible());
        const QString box = "Critical: *Update Failed [Ok] *Error reading version description file:\nUnknown error";
        QCOMPARE(m_dialogs->boxes(), QStringList{box});
        const QStringList logEnd = {QString("Choosing () false %1 %2").arg(ownRevision + 9).arg(ownRevision),
                                    "No Version found", '"' + version(-9) + '"', '"' + version(9, "Beta") + '"'};
        QCOMPARE(takeLog().mid(4), logEnd);
        QVERIFY(window.downloadReply == nullptr);
    }
};

FRESHEN_WINDOW_TEST_MAIN(DiscoveryTest)
#include "tst_discovery.moc"
