// The request for the version description file: its address, its headers, the mode that asks, and the proxy.

#include "kit/qt/dialogdriver.h"
#include "kit/qt/httpserver.h"
#include "kit/qt/settings.h"
#include "kit/qt/windowtest.h"
#include "versions/deployment.h"

#include <QAuthenticator>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QPushButton>
#include <QStackedWidget>
#include <QTreeWidget>
#include <QtTest>

using namespace freshen;

class MainWindowDiscoveryTest : public WindowTest
{
    Q_OBJECT

private slots:
    void withoutSettingsTheDefaultsHold();
    void addressFollowsTheSettings_data();
    void addressFollowsTheSettings();
    void requestIsExact_data();
    void requestIsExact();
    void redirectIsFollowed();
    void firstArgumentDecidesTheMode_data();
    void firstArgumentDecidesTheMode();
    void eachReplyGoesToOneSlot_data();
    void eachReplyGoesToOneSlot();
    void proxyFollowsTheSettings_data();
    void proxyFollowsTheSettings();
    void proxyPortIsCutTo16Bits();
    void credentialsAreOfferedEveryOtherTime();
    void requestsGoThroughTheProxy();
    void refusedCredentialsFailTheRequest();
};

namespace {

/// Waits until the check that the application is closed has been left behind.
void passPrecheck(TestWindow &window)
{
    QTRY_VERIFY(!window.precheckTrigger.isActive());
}

const QByteArray oneStable = "26.05.7200|Stable||2026-05-01|Info\n";

} // namespace

void MainWindowDiscoveryTest::withoutSettingsTheDefaultsHold()
{
    setArguments({QStringLiteral("other")});
    TestWindow window;
    QCOMPARE(takeLog(), QStringList{QStringLiteral("no proxy is used.")});
    QCOMPARE(QNetworkProxy::applicationProxy(), QNetworkProxy(QNetworkProxy::NoProxy));
    passPrecheck(window);
    QCOMPARE(takeLog().last(), QStringLiteral("Get: \"https://%1:443/update/Tavlopc/VERSIONS/windows.txt\"")
                                   .arg(QLatin1String(deployment::updateHost)));
}

void MainWindowDiscoveryTest::addressFollowsTheSettings_data()
{
    QTest::addColumn<QVariantMap>("settings");
    QTest::addColumn<QString>("address");
    const QString host = QStringLiteral("host2");
    const QString port = QStringLiteral("port2");
    const QString protocol = QStringLiteral("proto2");
    const QString folder = QStringLiteral("verf");
    QTest::newRow("port2 8080, proto2 http")
        << QVariantMap{{host, QStringLiteral("host")}, {port, 8080}, {protocol, QStringLiteral("http")}}
        << QStringLiteral("http://host:8080/update/Tavlopc/VERSIONS/windows.txt");
    QTest::newRow("the protocol's own port is named as well")
        << QVariantMap{{host, QStringLiteral("host")}, {port, 80}, {protocol, QStringLiteral("http")}}
        << QStringLiteral("http://host:80/update/Tavlopc/VERSIONS/windows.txt");
    QTest::newRow("http without port2") << QVariantMap{{host, QStringLiteral("host")},
                                                       {protocol, QStringLiteral("http")}}
                                        << QStringLiteral("http://host:443/update/Tavlopc/VERSIONS/windows.txt");
    QTest::newRow("verf") << QVariantMap{{host, QStringLiteral("host")}, {folder, QStringLiteral("TESTING")}}
                          << QStringLiteral("https://host:443/update/Tavlopc/TESTING/windows.txt");
    QTest::newRow("port as text") << QVariantMap{{host, QStringLiteral("host")}, {port, QStringLiteral("8443")}}
                                  << QStringLiteral("https://host:8443/update/Tavlopc/VERSIONS/windows.txt");
}

void MainWindowDiscoveryTest::addressFollowsTheSettings()
{
    QFETCH(QVariantMap, settings);
    QFETCH(QString, address);
    for (auto it = settings.constBegin(); it != settings.constEnd(); ++it)
        writeSetting(it.key().toLatin1().constData(), it.value());
    // No request is sent.
    setArguments({QStringLiteral("other")});
    TestWindow window;
    passPrecheck(window);
    QCOMPARE(takeLog().last(), QStringLiteral("Get: \"%1\"").arg(address));
}

void MainWindowDiscoveryTest::requestIsExact_data()
{
    QTest::addColumn<QString>("mode");
    QTest::addColumn<QString>("versionMain");
    QTest::addColumn<QString>("versionMinor");
    QTest::addColumn<QByteArray>("userAgent");
    QTest::newRow("auto") << "auto"
                          << "26"
                          << "05" << QByteArray("Updater/2605windows");
    QTest::newRow("menu") << "menu"
                          << "26"
                          << "05" << QByteArray("Updater/2605windows");
    QTest::newRow("no version") << "menu"
                                << ""
                                << "" << QByteArray("Updater/windows");
    QTest::newRow("UTF-8") << "menu"
                           << "26" << QStringLiteral("β") << QByteArray("Updater/26\xCE\xB2windows");
}

void MainWindowDiscoveryTest::requestIsExact()
{
    QFETCH(QString, mode);
    QFETCH(QString, versionMain);
    QFETCH(QString, versionMinor);
    QFETCH(QByteArray, userAgent);
    HttpServer server;
    server.prepare(versionFileTarget, HttpAnswer::held());
    useServer(server);
    writeSetting("version_main", versionMain);
    writeSetting("version_minor", versionMinor);
    setArguments({mode});
    TestWindow window;
    QTRY_COMPARE(server.requests().size(), 1);

    const HttpRequest &request = server.requests().first();
    QCOMPARE(request.line, QByteArray("GET /update/Tavlopc/VERSIONS/windows.txt HTTP/1.1"));
    QCOMPARE(request.headers.value("user-agent"), userAgent);
    QCOMPARE(request.headers.value("host"), "127.0.0.1:" + QByteArray::number(server.port()));
}

void MainWindowDiscoveryTest::redirectIsFollowed()
{
    HttpServer server;
    server.prepare(versionFileTarget, HttpAnswer::of(302, "Location", "/elsewhere.txt"));
    server.prepare("/elsewhere.txt", HttpAnswer::with(oneStable));
    useServer(server);
    setArguments({QStringLiteral("menu")});
    TestWindow window;
    QTRY_COMPARE(window.tree().topLevelItemCount(), 1);
    // Either may be asked for again when a connection is given up.
    const QList<QByteArray> targets = server.targets();
    QCOMPARE(targets.first(), QByteArray(versionFileTarget));
    QCOMPARE(targets.last(), QByteArray("/elsewhere.txt"));
    QCOMPARE(QSet<QByteArray>(targets.begin(), targets.end()).size(), 2);
}

void MainWindowDiscoveryTest::firstArgumentDecidesTheMode_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<bool>("isRequested");
    QTest::addColumn<int>("page");
    QTest::addColumn<bool>("isFixed");
    const auto add = [](const char *name, const QStringList &arguments, bool isRequested, int page, bool isFixed) {
        QTest::newRow(name) << arguments << isRequested << page << isFixed;
    };
    const QString more = QStringLiteral("x");
    add("auto", {QStringLiteral("auto")}, true, 1, true);
    add("auto plus another value", {QStringLiteral("auto"), more}, true, 1, true);
    add("menu", {QStringLiteral("menu")}, true, 0, false);
    add("menu plus another value", {QStringLiteral("menu"), more}, true, 0, false);
    add("Auto", {QStringLiteral("Auto")}, false, 0, false);
    add("MENU", {QStringLiteral("MENU")}, false, 0, false);
    add("unknown", {QStringLiteral("unknown")}, false, 0, false);
    add("longer", {QStringLiteral("automatic")}, false, 0, false);
    add("only the first counts", {more, QStringLiteral("auto")}, false, 0, false);
    add("empty", {QString()}, false, 0, false);
}

void MainWindowDiscoveryTest::firstArgumentDecidesTheMode()
{
    QFETCH(QStringList, arguments);
    QFETCH(bool, isRequested);
    QFETCH(int, page);
    QFETCH(bool, isFixed);
    DialogDriver dialogs;
    HttpServer server;
    server.prepare(versionFileTarget, HttpAnswer::held());
    useServer(server);
    setArguments(arguments);
    TestWindow window;
    window.show();
    passPrecheck(window);
    if (isRequested)
        QTRY_COMPARE(server.requests().size(), 1);
    QTest::qWait(50);

    QCOMPARE(server.requests().size(), isRequested ? 1 : 0);
    QCOMPARE(window.stackedWidget().currentIndex(), page);
    QCOMPARE(window.minimumSize() == QSize(460, 140) && window.maximumSize() == QSize(460, 140), isFixed);
    QVERIFY(window.isVisible());
    QVERIFY(fakeSystem().elevatedStarts.isEmpty());
    const bool isManual = arguments.first() == QLatin1String("menu");
    QCOMPARE(disconnect(&window.button(), SIGNAL(clicked()), &window, SLOT(downloadVersion())), isManual);
}

void MainWindowDiscoveryTest::eachReplyGoesToOneSlot_data()
{
    QTest::addColumn<QString>("mode");
    QTest::newRow("auto") << "auto";
    QTest::newRow("menu") << "menu";
}

void MainWindowDiscoveryTest::eachReplyGoesToOneSlot()
{
    QFETCH(QString, mode);
    HttpServer server;
    server.prepare(versionFileTarget, HttpAnswer::with(oneStable));
    server.prepare("/update/Tavlopc/windows/Tavlopc26.05.7200STABLE.zip", HttpAnswer::held());
    useServer(server);
    setArguments({mode});
    TestWindow window;
    QTRY_COMPARE(window.versions.size(), 1);

    // Whichever slot it was, it has let go.
    QVERIFY(!disconnect(networkAccessManager, SIGNAL(finished(QNetworkReply *)), &window,
                        SLOT(getVersion(QNetworkReply *))));
    QVERIFY(!disconnect(networkAccessManager, SIGNAL(finished(QNetworkReply *)), &window,
                        SLOT(getVersions(QNetworkReply *))));
    // The reply for the package has its own.
    QCOMPARE(disconnect(networkAccessManager, SIGNAL(finished(QNetworkReply *)), &window,
                        SLOT(readAndUnzipDownload(QNetworkReply *))),
             mode == QLatin1String("auto"));
}

void MainWindowDiscoveryTest::proxyFollowsTheSettings_data()
{
    QTest::addColumn<QVariant>("type");
    QTest::addColumn<int>("expected");
    QTest::addColumn<QString>("line");
    const QString none = QStringLiteral("no proxy is used.");
    const QString set = QStringLiteral("setting proxy to: %1 \"proxy.example\" 3128 \"user\" \"secret\"");
    QTest::newRow("1 is SOCKS5") << QVariant(1) << int(QNetworkProxy::Socks5Proxy) << set.arg(1);
    QTest::newRow("2 is HTTP") << QVariant(2) << int(QNetworkProxy::HttpProxy) << set.arg(3);
    QTest::newRow("3 is HTTP caching") << QVariant(3) << int(QNetworkProxy::HttpCachingProxy) << set.arg(4);
    QTest::newRow("4 is FTP caching") << QVariant(4) << int(QNetworkProxy::FtpCachingProxy) << set.arg(5);
    QTest::newRow("type as text") << QVariant(QStringLiteral("2")) << int(QNetworkProxy::HttpProxy) << set.arg(3);
    QTest::newRow("0") << QVariant(0) << int(QNetworkProxy::NoProxy) << none;
    QTest::newRow("5") << QVariant(5) << int(QNetworkProxy::NoProxy) << none;
    QTest::newRow("-1") << QVariant(-1) << int(QNetworkProxy::NoProxy) << none;
    QTest::newRow("no number") << QVariant(QStringLiteral("http")) << int(QNetworkProxy::NoProxy) << none;
    QTest::newRow("missing") << QVariant() << int(QNetworkProxy::NoProxy) << none;
}

void MainWindowDiscoveryTest::proxyFollowsTheSettings()
{
    QFETCH(QVariant, type);
    QFETCH(int, expected);
    if (type.isValid())
        writeSetting("config/proxy/data/type", type);
    writeSetting("config/proxy/data/ip", QStringLiteral("proxy.example"));
    writeSetting("config/proxy/data/port", 3128);
    writeSetting("config/proxy/data/username", QStringLiteral("user"));
    writeSetting("config/proxy/data/password", QStringLiteral("secret"));
    const TestWindow window;

    const QNetworkProxy proxy = QNetworkProxy::applicationProxy();
    QCOMPARE(int(proxy.type()), expected);
    const bool isUsed = expected != QNetworkProxy::NoProxy;
    QCOMPARE(proxy.hostName(), isUsed ? QStringLiteral("proxy.example") : QString());
    QCOMPARE(proxy.port(), isUsed ? quint16(3128) : quint16(0));
    QCOMPARE(proxy.user(), isUsed ? QStringLiteral("user") : QString());
    QCOMPARE(proxy.password(), isUsed ? QStringLiteral("secret") : QString());
    QTEST(takeLog().first(), "line");
}

void MainWindowDiscoveryTest::proxyPortIsCutTo16Bits()
{
    writeSetting("config/proxy/data/type", 2);
    writeSetting("config/proxy/data/port", 65536 + 3128);
    const TestWindow window;
    QCOMPARE(QNetworkProxy::applicationProxy().port(), quint16(3128));
}

void MainWindowDiscoveryTest::credentialsAreOfferedEveryOtherTime()
{
    writeSetting("config/proxy/data/type", 2);
    writeSetting("config/proxy/data/username", QStringLiteral("user"));
    writeSetting("config/proxy/data/password", QStringLiteral("secret"));
    const QNetworkProxy another(QNetworkProxy::HttpProxy, QStringLiteral("other.example"), 1, QStringLiteral("nobody"),
                                QStringLiteral("nothing"));
    // An even number of requests leaves the turn as it was before, for the whole process, whichever window it is.
    for (int request = 1; request <= 6; ++request) {
        TestWindow window;
        QAuthenticator authenticator;
        window.authenticateProxy(another, &authenticator);
        const bool isOffered = request % 2 == 1;
        QCOMPARE(authenticator.user(), isOffered ? QStringLiteral("user") : QString());
        QCOMPARE(authenticator.password(), isOffered ? QStringLiteral("secret") : QString());
    }
}

namespace {

/// A proxy's request for credentials (RFC 7617).
HttpAnswer askForCredentials()
{
    return HttpAnswer::of(407, "Proxy-Authenticate", "Basic realm=\"proxy\"");
}

/// Lets the settings name \a server as the proxy of a server that exists only behind it.
void useProxy(const HttpServer &server)
{
    writeSetting("proto2", QStringLiteral("http"));
    writeSetting("host2", QStringLiteral("update.example"));
    writeSetting("port2", 8080);
    writeSetting("config/proxy/data/type", 3);
    writeSetting("config/proxy/data/ip", QStringLiteral("127.0.0.1"));
    writeSetting("config/proxy/data/port", server.port());
    writeSetting("config/proxy/data/username", QStringLiteral("user"));
    writeSetting("config/proxy/data/password", QStringLiteral("secret"));
}

const QByteArray targetAtProxy = "http://update.example:8080/update/Tavlopc/VERSIONS/windows.txt";

} // namespace

void MainWindowDiscoveryTest::requestsGoThroughTheProxy()
{
    HttpServer proxy;
    proxy.prepare(targetAtProxy, askForCredentials());
    proxy.prepare(targetAtProxy, HttpAnswer::with(oneStable));
    useProxy(proxy);
    setArguments({QStringLiteral("menu")});
    TestWindow window;
    QTRY_COMPARE(window.tree().topLevelItemCount(), 1);
    QCOMPARE(proxy.targets(), QList<QByteArray>({targetAtProxy, targetAtProxy}));
    QCOMPARE(proxy.requests().last().headers.value("proxy-authorization"),
             "Basic " + QByteArray("user:secret").toBase64());
}

void MainWindowDiscoveryTest::refusedCredentialsFailTheRequest()
{
    HttpServer proxy;
    proxy.prepare(targetAtProxy, askForCredentials());
    useProxy(proxy);
    setArguments({QStringLiteral("menu")});
    DialogDriver dialogs;
    dialogs.expectAndClick(QMessageBox::Ok);
    TestWindow window;
    window.show();
    int asked = 0;
    connect(networkAccessManager, &QNetworkAccessManager::proxyAuthenticationRequired, &window, [&asked] { ++asked; });
    QTRY_COMPARE(dialogs.boxes().size(), 1);
    QVERIFY(dialogs.boxes().first().text.contains(QLatin1String("Proxy requires authentication")));
    QTRY_VERIFY(!window.isVisible());
    // Without credentials, then with those of the proxy settings; the slot, asked once more, knows no better ones.
    QCOMPARE(proxy.requests().size(), 2);
    QCOMPARE(asked, 1);

    // The next turn of the process is one with an answer again.
    QAuthenticator authenticator;
    window.authenticateProxy(QNetworkProxy(), &authenticator);
    QCOMPARE(authenticator.user(), QString());
}

FRESHEN_WINDOW_TEST_MAIN(MainWindowDiscoveryTest)
#include "tst_mainwindow_discovery.moc"
