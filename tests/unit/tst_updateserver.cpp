#include "kit/qt/messagecatcher.h"
#include "kit/qt/settings.h"
#include "versions/applicationsettings.h"
#include "versions/deployment.h"
#include "versions/updateserver.h"

#include <QtTest>

using namespace freshen;

using Settings = QMap<QString, QVariant>;
Q_DECLARE_METATYPE(Settings)

class UpdateServerTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void addresses_data();
    void addresses();
    void defaultHostIsTheDeployments();
    void userAgent_data();
    void userAgent();
    void redirects();
    void addressThatIsNoneIsLogged_data();
    void addressThatIsNoneIsLogged();
};

void UpdateServerTest::init()
{
    clearSettings();
}

void UpdateServerTest::addresses_data()
{
    QTest::addColumn<Settings>("settings");
    QTest::addColumn<QString>("versionFile");
    // The address of a package names the port always in the manual mode, only where it is set in the automatic one.
    QTest::addColumn<QString>("manualPackage");
    QTest::addColumn<QString>("automaticPackage");

    QTest::newRow("no settings at all") << Settings() << "https://HOST:443/update/Tavlopc/VERSIONS/windows.txt"
                                        << "https://HOST:443/update/Tavlopc/windows/Package.zip"
                                        << "https://HOST/update/Tavlopc/windows/Package.zip";
    QTest::newRow("port 8080 and http") << Settings{{"host2", "host"}, {"port2", 8080}, {"proto2", "http"}}
                                        << "http://host:8080/update/Tavlopc/VERSIONS/windows.txt"
                                        << "http://host:8080/update/Tavlopc/windows/Package.zip"
                                        << "http://host:8080/update/Tavlopc/windows/Package.zip";
    QTest::newRow("the protocol's own port, but set")
        << Settings{{"host2", "host"}, {"port2", 443}} << "https://host:443/update/Tavlopc/VERSIONS/windows.txt"
        << "https://host:443/update/Tavlopc/windows/Package.zip"
        << "https://host:443/update/Tavlopc/windows/Package.zip";
    QTest::newRow("http without a port") << Settings{{"host2", "host"}, {"proto2", "http"}}
                                         << "http://host:443/update/Tavlopc/VERSIONS/windows.txt"
                                         << "http://host:443/update/Tavlopc/windows/Package.zip"
                                         << "http://host/update/Tavlopc/windows/Package.zip";
    QTest::newRow("the folder of the version file is not the packages' folder")
        << Settings{{"host2", "host"}, {"verf", "VERSIONS-TEST"}}
        << "https://host:443/update/Tavlopc/VERSIONS-TEST/windows.txt"
        << "https://host:443/update/Tavlopc/windows/Package.zip"
        << "https://host/update/Tavlopc/windows/Package.zip";
    QTest::newRow("port stored as text") << Settings{{"host2", "host"}, {"port2", "8443"}}
                                         << "https://host:8443/update/Tavlopc/VERSIONS/windows.txt"
                                         << "https://host:8443/update/Tavlopc/windows/Package.zip"
                                         << "https://host:8443/update/Tavlopc/windows/Package.zip";
    QTest::newRow("a place holder in a value is no place holder")
        << Settings{{"host2", "host%2"}, {"verf", "%2"}} << "https://host%2:443/update/Tavlopc/%2/windows.txt"
        << "https://host%2:443/update/Tavlopc/windows/Package.zip"
        << "https://host%2/update/Tavlopc/windows/Package.zip";
}

void UpdateServerTest::addresses()
{
    QFETCH(Settings, settings);
    QFETCH(QString, versionFile);
    QFETCH(QString, manualPackage);
    QFETCH(QString, automaticPackage);
    for (QString *address : {&versionFile, &manualPackage, &automaticPackage})
        address->replace("HOST", deployment::updateHost);

    for (auto it = settings.begin(); it != settings.end(); ++it)
        writeSetting(it.key().toLatin1().constData(), it.value());
    const UpdateServer server = readUpdateServer(applicationSettings());
    QCOMPARE(versionFileAddress(server), versionFile);
    QCOMPARE(packageAddress(server, "Package.zip", PortInAddress::Always), manualPackage);
    QCOMPARE(packageAddress(server, "Package.zip", PortInAddress::IfSet), automaticPackage);
}

void UpdateServerTest::defaultHostIsTheDeployments()
{
    QVERIFY(!QString(deployment::updateHost).isEmpty());
    QCOMPARE(readUpdateServer(applicationSettings()).host, deployment::updateHost);
}

void UpdateServerTest::userAgent_data()
{
    QTest::addColumn<QString>("main");
    QTest::addColumn<QString>("minor");
    QTest::addColumn<QByteArray>("agent");
    QTest::newRow("26 and 05") << "26"
                               << "05" << QByteArray("Updater/2605windows");
    QTest::newRow("no version") << ""
                                << "" << QByteArray("Updater/windows");
    QTest::newRow("beyond ASCII, in UTF-8") << "26ä"
                                            << "05" << QByteArray("Updater/26ä05windows");
}

void UpdateServerTest::userAgent()
{
    QFETCH(QString, main);
    QFETCH(QString, minor);
    const QNetworkRequest request = updateRequest("https://host:443/x", main, minor);
    QTEST(request.rawHeader("User-Agent"), "agent");
    QCOMPARE(request.url(), QUrl("https://host:443/x"));
}

void UpdateServerTest::redirects()
{
    const QNetworkRequest request = updateRequest("https://host/x", "26", "05");
    QCOMPARE(request.attribute(QNetworkRequest::RedirectPolicyAttribute).toInt(),
             static_cast<int>(QNetworkRequest::NoLessSafeRedirectPolicy));
}

void UpdateServerTest::addressThatIsNoneIsLogged_data()
{
    QTest::addColumn<QString>("address");
    QTest::addColumn<bool>("succeeded");
    QTest::newRow("good") << "https://host:443/x" << true;
    QTest::newRow("the highest port") << "https://host:65535/x" << true;
    QTest::newRow("port beyond 65535") << "https://host:65536/x" << false;
    QTest::newRow("blank in the host") << "https://up date:443/x" << false;
}

void UpdateServerTest::addressThatIsNoneIsLogged()
{
    QFETCH(QString, address);
    QFETCH(bool, succeeded);
    MessageCatcher catcher;
    const QNetworkRequest request = updateRequest(address, "26", "05");
    QCOMPARE(request.url().isValid(), succeeded);
    QCOMPARE(catcher.lines().size(), succeeded ? 0 : 1);
    if (!succeeded)
        QVERIFY(catcher.warnings().first().startsWith("Invalid address " + logged(address) + " - \""));
}

QTEST_GUILESS_MAIN(UpdateServerTest)
#include "tst_updateserver.moc"
