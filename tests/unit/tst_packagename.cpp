#include "download/packagename.h"

#include <QtTest>

using namespace freshen;

class PackageNameTest : public QObject
{
    Q_OBJECT

private slots:
    void systems_data();
    void systems();
    void names_data();
    void names();
};

void PackageNameTest::systems_data()
{
    QTest::addColumn<bool>("isWindows");
    QTest::addColumn<int>("majorVersion");
    QTest::addColumn<int>("minorVersion");
    QTest::addColumn<QString>("tag");
    QTest::newRow("Windows XP") << true << 5 << 1 << "";
    QTest::newRow("before it") << true << 5 << 0 << "WIN7";
    QTest::newRow("after it") << true << 5 << 2 << "WIN7";
    QTest::newRow("Windows 7") << true << 6 << 1 << "WIN7";
    QTest::newRow("Windows 10") << true << 10 << 0 << "WIN7";
    QTest::newRow("another system of the same number") << false << 5 << 1 << "WIN7";
}

void PackageNameTest::systems()
{
    QFETCH(bool, isWindows);
    QFETCH(int, majorVersion);
    QFETCH(int, minorVersion);
    QTEST(operatingSystemTag({isWindows, majorVersion, minorVersion, QString()}), "tag");
}

void PackageNameTest::names_data()
{
    QTest::addColumn<QString>("version");
    QTest::addColumn<QString>("type");
    QTest::addColumn<bool>("extended");
    QTest::addColumn<QString>("osTag");
    QTest::addColumn<QString>("selected");
    QTest::addColumn<QString>("onServer");
    QTest::addColumn<QString>("stored");

    QTest::newRow("short") << "2.1.6020"
                           << "Stable" << false << "WIN7"
                           << "2.1.6020STABLE"
                           << "Tavlopc2.1.6020STABLE.zip"
                           << "Tavlopc2.1.6020STABLE.zip";
    QTest::newRow("extended") << "2.1.6020"
                              << "Stable" << true << "WIN7"
                              << "2.1.6020STABLE"
                              << "Tavlopc2.1.6020STABLEWIN7X64.zip"
                              << "Tavlopc2.1.6020STABLEWIN7X64.zip";
    QTest::newRow("extended, empty system tag") << "2.1.6020"
                                                << "Stable" << true << ""
                                                << "2.1.6020STABLE"
                                                << "Tavlopc2.1.6020STABLEX64.zip"
                                                << "Tavlopc2.1.6020STABLEX64.zip";
    QTest::newRow("beta") << "26.05.7200"
                          << "Beta" << false << "WIN7"
                          << "26.05.7200BETA"
                          << "Tavlopc26.05.7200BETA.zip"
                          << "Tavlopc26.05.7200BETA.zip";
    QTest::newRow("revision 2084, beta: asked for as STABLE, stored as BETA") << "1.0.2084"
                                                                              << "Beta" << false << "WIN7"
                                                                              << "1.0.2084BETA"
                                                                              << "Tavlopc1.0.2084STABLE.zip"
                                                                              << "Tavlopc1.0.2084BETA.zip";
    QTest::newRow("revision 2085, beta: both say BETA") << "1.0.2085"
                                                        << "Beta" << false << "WIN7"
                                                        << "1.0.2085BETA"
                                                        << "Tavlopc1.0.2085BETA.zip"
                                                        << "Tavlopc1.0.2085BETA.zip";
    QTest::newRow("revision 2084, extended") << "1.0.2084"
                                             << "Beta" << true << "WIN7"
                                             << "1.0.2084BETA"
                                             << "Tavlopc1.0.2084STABLEWIN7X64.zip"
                                             << "Tavlopc1.0.2084BETAWIN7X64.zip";
    QTest::newRow("revision 2084, stable") << "1.0.2084"
                                           << "Stable" << false << "WIN7"
                                           << "1.0.2084STABLE"
                                           << "Tavlopc1.0.2084STABLE.zip"
                                           << "Tavlopc1.0.2084STABLE.zip";
    QTest::newRow("every BETA is replaced") << "BETA.0.1"
                                            << "betabeta" << false << ""
                                            << "BETA.0.1BETABETA"
                                            << "TavlopcSTABLE.0.1STABLESTABLE.zip"
                                            << "TavlopcBETA.0.1BETABETA.zip";
    QTest::newRow("only BETA in upper case is replaced") << "Beta.0.1"
                                                         << "Test" << false << ""
                                                         << "Beta.0.1TEST"
                                                         << "TavlopcBeta.0.1TEST.zip"
                                                         << "TavlopcBeta.0.1TEST.zip";
    QTest::newRow("type with an umlaut") << "26.05.7200"
                                         << "früh" << false << ""
                                         << "26.05.7200FRÜH"
                                         << "Tavlopc26.05.7200FRÜH.zip"
                                         << "Tavlopc26.05.7200FRÜH.zip";
    QTest::newRow("signs that lead to another folder") << "1/2\\3.D:.7200"
                                                       << "/../../evil" << false << ""
                                                       << "1/2\\3.D:.7200/../../EVIL"
                                                       << "Tavlopc1/2\\3.D:.7200/../../EVIL.zip"
                                                       << "Tavlopc1_2_3.D_.7200_.._.._EVIL.zip";
    QTest::newRow("place holders in the row") << "%2.%1.7200"
                                              << "%4" << true << "%3"
                                              << "%2.%1.7200%4"
                                              << "Tavlopc%2.%1.7200%4%3X64.zip"
                                              << "Tavlopc%2.%1.7200%4%3X64.zip";
}

void PackageNameTest::names()
{
    QFETCH(QString, version);
    QFETCH(QString, type);
    QFETCH(bool, extended);
    QFETCH(QString, osTag);
    const VersionRow row = {version, type, "0", "date", "info"};
    const PackageNaming naming = {extended, osTag, "X64"};
    const QString selected = selectedVersionName(row);
    QTEST(selected, "selected");
    QTEST(serverPackageName(row, version.section('.', 2).toInt(), naming), "onServer");
    QTEST(localPackageName(selected, naming), "stored");
}

QTEST_GUILESS_MAIN(PackageNameTest)
#include "tst_packagename.moc"
