#include "kit/qt/settings.h"
#include "versions/applicationsettings.h"
#include "versions/proxysettings.h"

#include <QtTest>

using namespace freshen;

Q_DECLARE_METATYPE(QNetworkProxy::ProxyType)

class ProxySettingsTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void kindOfProxy_data();
    void kindOfProxy();
    void nothingButTheTypeWithoutProxy();
    void allValues();
    void missingValues();
    void portIsCutTo16Bits_data();
    void portIsCutTo16Bits();
    void credentialsAreGivenOnceInARow();
};

void ProxySettingsTest::init()
{
    clearSettings();
}

void ProxySettingsTest::kindOfProxy_data()
{
    QTest::addColumn<QVariant>("stored");
    QTest::addColumn<QNetworkProxy::ProxyType>("kind");
    QTest::newRow("nothing stored") << QVariant() << QNetworkProxy::NoProxy;
    QTest::newRow("0") << QVariant(0) << QNetworkProxy::NoProxy;
    QTest::newRow("1 is SOCKS 5") << QVariant(1) << QNetworkProxy::Socks5Proxy;
    QTest::newRow("2 is plain HTTP") << QVariant(2) << QNetworkProxy::HttpProxy;
    QTest::newRow("3 is HTTP caching") << QVariant(3) << QNetworkProxy::HttpCachingProxy;
    QTest::newRow("4 is FTP caching") << QVariant(4) << QNetworkProxy::FtpCachingProxy;
    QTest::newRow("5") << QVariant(5) << QNetworkProxy::NoProxy;
    QTest::newRow("-1") << QVariant(-1) << QNetworkProxy::NoProxy;
    QTest::newRow("a number as text") << QVariant("3") << QNetworkProxy::HttpCachingProxy;
    QTest::newRow("no number") << QVariant("http") << QNetworkProxy::NoProxy;
}

void ProxySettingsTest::kindOfProxy()
{
    QFETCH(QVariant, stored);
    if (stored.isValid())
        writeSetting("config/proxy/data/type", stored);
    QTEST(readProxy(applicationSettings()).type(), "kind");
}

void ProxySettingsTest::nothingButTheTypeWithoutProxy()
{
    writeSetting("config/proxy/data/type", 0);
    writeSetting("config/proxy/data/ip", "proxy.example");
    writeSetting("config/proxy/data/port", 3128);
    writeSetting("config/proxy/data/username", "somebody");
    writeSetting("config/proxy/data/password", "secret");
    QCOMPARE(readProxy(applicationSettings()), QNetworkProxy(QNetworkProxy::NoProxy));
    QCOMPARE(readProxy(applicationSettings()).hostName(), QString());
    QCOMPARE(readProxy(applicationSettings()).port(), quint16(0));
    QCOMPARE(readProxy(applicationSettings()).user(), QString());
}

void ProxySettingsTest::allValues()
{
    writeSetting("config/proxy/data/type", 2);
    writeSetting("config/proxy/data/ip", "proxy.example");
    writeSetting("config/proxy/data/port", 3128);
    writeSetting("config/proxy/data/username", "söme body");
    writeSetting("config/proxy/data/password", "s:e@c/r%e t\"");
    const QNetworkProxy proxy = readProxy(applicationSettings());
    QCOMPARE(proxy.type(), QNetworkProxy::HttpProxy);
    QCOMPARE(proxy.hostName(), "proxy.example");
    QCOMPARE(proxy.port(), quint16(3128));
    QCOMPARE(proxy.user(), "söme body");
    QCOMPARE(proxy.password(), "s:e@c/r%e t\"");
}

void ProxySettingsTest::missingValues()
{
    writeSetting("config/proxy/data/type", 1);
    QCOMPARE(readProxy(applicationSettings()), QNetworkProxy(QNetworkProxy::Socks5Proxy));
}

void ProxySettingsTest::portIsCutTo16Bits_data()
{
    QTest::addColumn<QVariant>("stored");
    QTest::addColumn<quint16>("port");
    QTest::newRow("the highest") << QVariant(65535) << quint16(65535);
    QTest::newRow("65536 more") << QVariant(65536 + 3128) << quint16(3128);
    QTest::newRow("negative") << QVariant(-1) << quint16(65535);
    QTest::newRow("text") << QVariant("8080") << quint16(8080);
    QTest::newRow("no number") << QVariant("proxy") << quint16(0);
}

void ProxySettingsTest::portIsCutTo16Bits()
{
    QFETCH(QVariant, stored);
    writeSetting("config/proxy/data/type", 3);
    writeSetting("config/proxy/data/port", stored);
    QTEST(readProxy(applicationSettings()).port(), "port");
}

void ProxySettingsTest::credentialsAreGivenOnceInARow()
{
    CredentialOffers offers;
    for (int question = 1; question <= 6; ++question)
        QCOMPARE(offers.isToBeAnswered(), question % 2 == 1);
}

QTEST_GUILESS_MAIN(ProxySettingsTest)
#include "tst_proxysettings.moc"
