// What the application's settings decide: the addresses on the update server and the proxy.

#include "kit/qt/foldertest.h"
#include "kit/qt/settings.h"
#include "versions/applicationsettings.h"
#include "versions/deployment.h"
#include "versions/proxysettings.h"
#include "versions/updateserver.h"

using namespace freshen;

class SettingsTest : public FolderTest
{
    Q_OBJECT

private slots:
    void init()
    {
        FolderTest::init();
        clearSettings();
    }

    void addresses_data()
    {
        // An address of the automatic mode's package names the port only where it is set.
        const Table<QVariantMap, QString, QString, QString> table;
        const QString updateHost = deployment::updateHost;
        table.row("no settings", {}, "VERSIONS", "https://" + updateHost + ":443", "https://" + updateHost);
        table.row("all settings", {{"host2", "host"}, {"port2", "8080"}, {"proto2", "http"}, {"verf", "TEST"}}, "TEST",
                  "http://host:8080", "http://host:8080");
        table.row("the default port, but set", {{"host2", "host"}, {"port2", 443}}, "VERSIONS", "https://host:443",
                  "https://host:443");
        table.row("HTTP without a port", {{"host2", "host"}, {"proto2", "http"}}, "VERSIONS", "http://host:443",
                  "http://host");
        table.row("values of the wrong type", {{"host2", QStringList{"a", "b"}}, {"port2", "abc"}, {"proto2", ""}},
                  "VERSIONS", "://:0", "://:0");
        table.row("signs that are place holders elsewhere", {{"host2", "host%2"}, {"verf", "%2"}}, "%2",
                  "https://host%2:443", "https://host%2");
    }
    void addresses()
    {
        const auto [settings, folder, server, automaticServer] =
            Table<QVariantMap, QString, QString, QString>::current();
        QVERIFY(!QString(deployment::updateHost).isEmpty());
        writeSettings(settings);
        const UpdateServer read = readUpdateServer(applicationSettings());
        const QString package = "/update/Tavlopc/windows/Package.zip";
        QCOMPARE(versionFileAddress(read), server + "/update/Tavlopc/" + folder + "/windows.txt");
        QCOMPARE(packageAddress(read, "Package.zip", PortInAddress::Always), server + package);
        QCOMPARE(packageAddress(read, "Package.zip", PortInAddress::IfSet), automaticServer + package);
    }

    void request()
    {
        const QNetworkRequest request = updateRequest("https://host:65535/x", "26ä", "05");
        QCOMPARE(request.url(), QUrl("https://host:65535/x"));
        QCOMPARE(request.rawHeader("User-Agent"), QByteArray("Updater/26ä05windows"));
        QCOMPARE(request.attribute(QNetworkRequest::RedirectPolicyAttribute).toInt(),
                 static_cast<int>(QNetworkRequest::NoLessSafeRedirectPolicy));
        QCOMPARE(log().lines(), QStringList());
    }

    void invalidAddressIsLogged()
    {
        for (const char *address : {"https://host:65536/x", "https://up date:443/x"}) {
            QVERIFY(!updateRequest(address, "26", "05").url().isValid());
            QVERIFY(isWarnedOf("Invalid address", address));
        }
    }

    void proxy_data()
    {
        const Table<QVariant, QVariant, QNetworkProxy> table;
        const auto proxy = [](QNetworkProxy::ProxyType type, quint16 port) {
            return QNetworkProxy(type, "proxy.example", port, "söme body", "s:e@c/r%e t\"");
        };
        table.row("SOCKS 5", 1, 3128, proxy(QNetworkProxy::Socks5Proxy, 3128));
        table.row("HTTP", 2, 3128, proxy(QNetworkProxy::HttpProxy, 3128));
        table.row("HTTP caching, numbers as text", "3", "8080", proxy(QNetworkProxy::HttpCachingProxy, 8080));
        table.row("FTP caching", 4, 65535, proxy(QNetworkProxy::FtpCachingProxy, 65535));
        table.row("port beyond 16 bits", 2, 65536 + 3128, proxy(QNetworkProxy::HttpProxy, 3128));
        table.row("port that is no number", 2, "proxy", proxy(QNetworkProxy::HttpProxy, 0));
        for (const QVariant &type : {QVariant(0), QVariant(5), QVariant("http")})
            table.row("no proxy for " + type.toByteArray(), type, 3128, QNetworkProxy(QNetworkProxy::NoProxy));
    }
    void proxy()
    {
        const auto [type, port, expected] = Table<QVariant, QVariant, QNetworkProxy>::current();
        writeSettings({{"config/proxy/data/type", type},
                       {"config/proxy/data/ip", "proxy.example"},
                       {"config/proxy/data/port", port},
                       {"config/proxy/data/username", "söme body"},
                       {"config/proxy/data/password", "s:e@c/r%e t\""}});
        QCOMPARE(readProxy(applicationSettings()), expected);
    }

    void missingProxySettings()
    {
        QCOMPARE(readProxy(applicationSettings()), QNetworkProxy(QNetworkProxy::NoProxy));
        writeSettings({{"config/proxy/data/type", 1}});
        QCOMPARE(readProxy(applicationSettings()), QNetworkProxy(QNetworkProxy::Socks5Proxy));
    }
};

QTEST_GUILESS_MAIN(SettingsTest)
#include "tst_settings.moc"
