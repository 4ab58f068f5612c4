#include "kit/qt/settings.h"
#include "versions/applicationsettings.h"

#include <QtTest>

using namespace freshen;

class ApplicationSettingsTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void opensTheApplicationsUserStore();
    void namesOfTheStores();
    void namesOfTheKeys_data();
    void namesOfTheKeys();
    void missingKeyTakesTheFallback();
    void listsAreReadAsLists_data();
    void listsAreReadAsLists();
    void changeMadeInTheMeantimeIsSeen();
    void updatersOwnStoreIsAnother();
};

void ApplicationSettingsTest::init()
{
    clearSettings();
}

void ApplicationSettingsTest::opensTheApplicationsUserStore()
{
    const QSettings store = applicationSettings();
    QCOMPARE(store.organizationName(), "Q.U.I.N.T.A.");
    QCOMPARE(store.applicationName(), "Tavlo3");
    QCOMPARE(store.format(), QSettings::NativeFormat);
    QCOMPARE(store.scope(), QSettings::UserScope);
    if (QOperatingSystemVersion::currentType() == QOperatingSystemVersion::Windows)
        QCOMPARE(store.fileName(), "\\HKEY_CURRENT_USER\\Software\\Q.U.I.N.T.A.\\Tavlo3");
}

void ApplicationSettingsTest::namesOfTheStores()
{
    QCOMPARE(organizationName, "Q.U.I.N.T.A.");
    QCOMPARE(applicationStoreName, "Tavlo3");
    QCOMPARE(updaterApplicationName, "Tavlo3 Updater");
}

void ApplicationSettingsTest::namesOfTheKeys_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("stored");
    const auto row = [](const char *key, const char *stored) { QTest::newRow(stored) << key << stored; };
    row(key::versionMain, "version_main");
    row(key::versionMinor, "version_minor");
    row(key::versionState, "version_state");
    row(key::useBeta, "LoginWindow/useBeta");
    row(key::extendedNaming, "extendedNaming");
    row(key::filesToKeep, "Updater/filesToKeep");
    row(key::host, "host2");
    row(key::port, "port2");
    row(key::protocol, "proto2");
    row(key::versionFolder, "verf");
    row(key::proxyType, "config/proxy/data/type");
    row(key::proxyHost, "config/proxy/data/ip");
    row(key::proxyPort, "config/proxy/data/port");
    row(key::proxyUser, "config/proxy/data/username");
    row(key::proxyPassword, "config/proxy/data/password");
}

void ApplicationSettingsTest::namesOfTheKeys()
{
    QFETCH(QString, key);
    QFETCH(QString, stored);
    writeSetting(stored.toLatin1().constData(), "a value");
    QCOMPARE(setting(applicationSettings(), key.toLatin1().constData()), QVariant("a value"));
}

void ApplicationSettingsTest::missingKeyTakesTheFallback()
{
    QCOMPARE(setting(applicationSettings(), key::versionMain), QVariant());
    QCOMPARE(setting(applicationSettings(), key::versionMain).toString(), QString());
    QCOMPARE(setting(applicationSettings(), key::port, 443), QVariant(443));
    writeSetting("port2", 8080);
    QCOMPARE(setting(applicationSettings(), key::port, 443).toInt(), 8080);
}

void ApplicationSettingsTest::listsAreReadAsLists_data()
{
    QTest::addColumn<QStringList>("list");
    QTest::newRow("none") << QStringList();
    QTest::newRow("one") << QStringList{"logo.png"};
    QTest::newRow("several") << QStringList{"settings.ini", "logo.png"};
    QTest::newRow("names with blanks, commas and umlauts") << QStringList{"a b.ini", "c, d.ini", "größe.ini"};
}

void ApplicationSettingsTest::listsAreReadAsLists()
{
    QFETCH(QStringList, list);
    writeSetting("Updater/filesToKeep", list);
    QCOMPARE(setting(applicationSettings(), key::filesToKeep).toStringList(), list);
}

void ApplicationSettingsTest::changeMadeInTheMeantimeIsSeen()
{
    writeSetting("host2", "first.example");
    QCOMPARE(setting(applicationSettings(), key::host).toString(), "first.example");
    writeSetting("host2", "second.example");
    QCOMPARE(setting(applicationSettings(), key::host).toString(), "second.example");
}

void ApplicationSettingsTest::updatersOwnStoreIsAnother()
{
    writeUpdaterSetting("allow_testbuild", true);
    QCOMPARE(setting(applicationSettings(), key::allowTestBuild), QVariant());
    const QSettings own{QLatin1String(organizationName), QLatin1String(updaterApplicationName)};
    QCOMPARE(setting(own, key::allowTestBuild).toBool(), true);
}

QTEST_GUILESS_MAIN(ApplicationSettingsTest)
#include "tst_applicationsettings.moc"
