#include "kit/qt/messagecatcher.h"
#include "versions/versiondescription.h"

#include <QtTest>

using namespace freshen;

Q_DECLARE_METATYPE(QList<qint32>)
Q_DECLARE_METATYPE(NewestRevisions)

namespace {

RunningSystem windows(int majorVersion, int minorVersion)
{
    return {true, majorVersion, minorVersion, "Windows"};
}

/// Maxima of a file in which no more was seen than is given.
NewestRevisions maxima(qint32 stable, qint32 beta = 7086, qint32 fix = 7086)
{
    NewestRevisions result;
    result.newestStable = stable;
    result.newestBeta = beta;
    result.latestStableFix = fix;
    return result;
}

/// Text that QCOMPARE shows for maxima.
QString describe(const NewestRevisions &m)
{
    return QString("stable %1, beta %2, fix %3, held back: stable %4, beta %5; \"%6\", \"%7\"")
        .arg(QString::number(m.newestStable), QString::number(m.newestBeta), QString::number(m.latestStableFix),
             QString::number(m.newestUnsupportedStable), QString::number(m.newestUnsupportedBeta), m.stableNotice,
             m.betaNotice);
}

} // namespace

class VersionDescriptionTest : public QObject
{
    Q_OBJECT

private slots:
    void eligibleLines_data();
    void eligibleLines();
    void refusedForTheSystem_data();
    void refusedForTheSystem();
    void minimumSystem_data();
    void minimumSystem();
    void rowsAreKeptAsSplit();
    void laterLineReplacesTheEarlierOne();
    void maximaDoNotDependOnTheOrder();
    void refusalsKeepTheHighestAndTellOfTheLast();
    void testBuildsAreAskedForEachLine();
    void nothingIsLeftOfAnEarlierReading();
    void runningSystem();
};

void VersionDescriptionTest::eligibleLines_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QList<qint32>>("revisions");
    QTest::addColumn<NewestRevisions>("seen");
    QTest::addColumn<QStringList>("messages");
    const QStringList none;
    const auto one = [](const char *message) { return QStringList{message}; };
    using Revisions = QList<qint32>;

    QTest::newRow("empty file") << "" << Revisions() << maxima(7086) << none;
    QTest::newRow("empty lines anywhere") << "\n\n26.05.7200|Stable|0|d|i\n\n\n26.05.7201|Stable|0|d|i\n\n"
                                          << Revisions{7200, 7201} << maxima(7201) << none;

    // Five columns.
    QTest::newRow("5 columns, stable") << "26.05.7200|Stable|0|d|i" << Revisions{7200} << maxima(7200) << none;
    QTest::newRow("5 columns, stable fix, raised without a log line")
        << "26.05.7200|Stable|7100|d|i" << Revisions{7200} << maxima(7200, 7086, 7200) << none;
    QTest::newRow("5 columns, negative reference marks a fix")
        << "26.05.7200|Stable|-1|d|i" << Revisions{7200} << maxima(7200, 7086, 7200) << none;
    QTest::newRow("5 columns, reference that is no number counts as 0")
        << "26.05.7200|Stable|yes|d|i" << Revisions{7200} << maxima(7200) << none;
    QTest::newRow("5 columns, beta") << "26.05.7200|Beta|7100|d|i" << Revisions{7200} << maxima(7086, 7200) << none;
    QTest::newRow("5 columns, test is an unknown type")
        << "26.05.7200|Test|0|d|i" << Revisions{7200} << maxima(7086) << one("WARNING: \"Test\" is unknown type");
    QTest::newRow("5 columns, type in other case") << "26.05.7200|stable|7100|d|i" << Revisions{7200} << maxima(7086)
                                                   << one("WARNING: \"stable\" is unknown type");
    QTest::newRow("5 columns, empty type")
        << "26.05.7200||0|d|i" << Revisions{7200} << maxima(7086) << one("WARNING: \"\" is unknown type");
    QTest::newRow("revision 7086, reference 0: in the table, newest stable stays")
        << "26.05.7086|Stable|0|d|i" << Revisions{7086} << maxima(7086) << none;
    QTest::newRow("older than the updater: in the table, nothing raised")
        << "26.05.7000|Stable|1|d|i" << Revisions{7000} << maxima(7086) << none;
    QTest::newRow("negative revision") << "26.05.-3|Stable|0|d|i" << Revisions{-3} << maxima(7086) << none;

    // Six columns.
    QTest::newRow("6 columns, minimum 7086 is accepted")
        << "26.05.7200|Stable|0|d|i|7086" << Revisions{7200} << maxima(7200) << none;
    QTest::newRow("6 columns, minimum 7100 is refused")
        << "26.05.7200|Stable|0|d|i|7100" << Revisions() << maxima(7086)
        << one("WARNING: current version 7086 not eligible for 7200 - needs update to 7100");
    QTest::newRow("6 columns, minimum beyond 32 bits is refused")
        << "26.05.7200|Stable|0|d|i|99999999999" << Revisions() << maxima(7086)
        << one("WARNING: current version 7086 not eligible for 7200 - needs update to 2147483647");
    QTest::newRow("6 columns, minimum that is no number counts as 0")
        << "26.05.7200|Stable|0|d|i|later" << Revisions{7200} << maxima(7200) << none;
    QTest::newRow("6 columns, stable fix is logged") << "26.05.7200|Stable|7100|d|i|0" << Revisions{7200}
                                                     << maxima(7200, 7086, 7200) << one("latestStableFix 7100 7200");
    QTest::newRow("6 columns, the log shows the maximum, not the line's revision")
        << "26.05.7300|Stable|7200|d|i|0\n26.05.7250|Stable|7200|d|i|0" << Revisions{7250, 7300}
        << maxima(7300, 7086, 7300) << QStringList{"latestStableFix 7200 7300", "latestStableFix 7200 7300"};
    QTest::newRow("6 columns, beta") << "26.05.7200|Beta|0|d|i|0" << Revisions{7200} << maxima(7086, 7200) << none;
    QTest::newRow("6 columns, test is an unknown type and stays in the table")
        << "26.05.7200|Test|0|d|i|0" << Revisions{7200} << maxima(7086) << one("WARNING: \"Test\" is unknown type");

    // Seven columns.
    QTest::newRow("7 columns, stable") << "26.05.7200|Stable|0|d|i|0|6.1" << Revisions{7200} << maxima(7200) << none;
    QTest::newRow("7 columns, stable fix is logged") << "26.05.7200|Stable|7100|d|i|0|6.1" << Revisions{7200}
                                                     << maxima(7200, 7086, 7200) << one("latestStableFix 7100 7200");
    QTest::newRow("7 columns, beta") << "26.05.7200|Beta|0|d|i|0|6.1" << Revisions{7200} << maxima(7086, 7200) << none;
    QTest::newRow("7 columns, test build is ignored but stays in the table")
        << "26.05.7200|Test|0|d|i|0|6.1" << Revisions{7200} << maxima(7086) << one("WARNING: ignoring test build 7200");
    QTest::newRow("7 columns, unknown type") << "26.05.7200|Alpha|0|d|i|0|6.1" << Revisions{7200} << maxima(7086)
                                             << one("WARNING: \"Alpha\" is unknown type");
    QTest::newRow("7 columns, the updater's revision is checked before the system")
        << "26.05.7200|Stable|0|d|i|7087|99.0" << Revisions() << maxima(7086)
        << one("WARNING: current version 7086 not eligible for 7200 - needs update to 7087");

    // Faulty lines.
    QTest::newRow("4 columns")
        << "26.05.7200|Stable|0|d" << Revisions() << maxima(7086)
        << one(R"(WARNING: ("26.05.7200", "Stable", "0", "d") does not have right number of cols)");
    QTest::newRow("8 columns")
        << "26.05.7200|Stable|0|d|i|0|6.1|x" << Revisions() << maxima(7086)
        << one(R"(WARNING: ("26.05.7200", "Stable", "0", "d", "i", "0", "6.1", "x") does not have right number of cols)");
    QTest::newRow("an HTML page") << "<html>" << Revisions() << maxima(7086)
                                  << one(R"(WARNING: ("<html>") does not have right number of cols)");
    QTest::newRow("version of two parts") << "26.7200|Stable|0|d|i" << Revisions() << maxima(7086)
                                          << one(R"(WARNING: ("26", "7200") does not have right number of cols)");
    QTest::newRow("version of four parts")
        << "26.05.7200.1|Stable|0|d|i" << Revisions() << maxima(7086)
        << one(R"(WARNING: ("26", "05", "7200", "1") does not have right number of cols)");
    QTest::newRow("unreadable revision") << "26.05.72a0|Stable|0|d|i" << Revisions() << maxima(7086)
                                         << one(R"(WARNING: cant read revision number "72a0")");
    QTest::newRow("the number of columns is checked before the version")
        << "x|Stable|0|d" << Revisions() << maxima(7086)
        << one(R"(WARNING: ("x", "Stable", "0", "d") does not have right number of cols)");
    QTest::newRow("the revision is checked before the updater's revision and the system")
        << "26.05.x|Stable|0|d|i|9999|99.0" << Revisions() << maxima(7086)
        << one(R"(WARNING: cant read revision number "x")");
    QTest::newRow("the lines after a faulty one are read")
        << "nonsense\n26.05.7200|Stable|0|d|i\n26.05.x|Beta|0|d|i\n26.05.7300|Beta|0|d|i" << Revisions{7200, 7300}
        << maxima(7200, 7300)
        << QStringList{R"(WARNING: ("nonsense") does not have right number of cols)",
                       R"(WARNING: cant read revision number "x")"};
}

void VersionDescriptionTest::eligibleLines()
{
    QFETCH(QString, text);
    QFETCH(NewestRevisions, seen);
    MessageCatcher catcher;
    const VersionDescription description = readVersionDescription(text, windows(10, 0), [] { return false; });
    QTEST(description.versions.keys(), "revisions");
    QCOMPARE(describe(description.maxima), describe(seen));
    QTEST(catcher.debugLines(), "messages");
    QCOMPARE(catcher.lines(), catcher.debugLines());
}

void VersionDescriptionTest::refusedForTheSystem_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<bool>("testBuilds");
    QTest::addColumn<qint32>("stable");
    QTest::addColumn<qint32>("beta");
    QTest::addColumn<QString>("stableNotice");
    QTest::addColumn<QString>("betaNotice");
    QTest::addColumn<QStringList>("messages");
    const QString notice =
        "To update to newest version (7200) you need to update you operating system to at least (Windows 10.0)";
    const QString last =
        "WARNING: current os \"Windows\" not eligible for 7200 - os needs update to \"Windows\" \"10.0\"";
    QTest::newRow("stable") << "Stable" << false << 7200 << 7086 << notice << "" << QStringList{"t0 7086 7200", last};
    QTest::newRow("beta") << "Beta" << false << 7086 << 7200 << "" << notice << QStringList{"t0 7200 7086", last};
    QTest::newRow("test build, allowed") << "Test" << true << 7086 << 7200 << "" << notice
                                         << QStringList{"t0 7200 7086", last};
    QTest::newRow("test build, not allowed")
        << "Test" << false << 7086 << 7086 << ""
        << "" << QStringList{"WARNING: ignoring test build 7200", "t0 7086 7086", last};
    QTest::newRow("unknown type") << "Alpha" << true << 7086 << 7086 << ""
                                  << "" << QStringList{"WARNING: \"Alpha\" is unknown type", "t0 7086 7086", last};
}

void VersionDescriptionTest::refusedForTheSystem()
{
    QFETCH(QString, type);
    QFETCH(bool, testBuilds);
    MessageCatcher catcher;
    const VersionDescription description = readVersionDescription("26.05.7200|" + type + "|7100|d|i|0|10.0",
                                                                  windows(6, 3), [testBuilds] { return testBuilds; });
    QVERIFY(description.versions.isEmpty());
    QCOMPARE(description.maxima.newestStable, 7086);
    QCOMPARE(description.maxima.newestBeta, 7086);
    QCOMPARE(description.maxima.latestStableFix, 7086);
    QTEST(description.maxima.newestUnsupportedStable, "stable");
    QTEST(description.maxima.newestUnsupportedBeta, "beta");
    QTEST(description.maxima.stableNotice, "stableNotice");
    QTEST(description.maxima.betaNotice, "betaNotice");
    QTEST(catcher.debugLines(), "messages");
    QCOMPARE(catcher.lines(), catcher.debugLines());
}

void VersionDescriptionTest::minimumSystem_data()
{
    QTest::addColumn<QString>("required");
    QTest::addColumn<int>("majorVersion");
    QTest::addColumn<int>("minorVersion");
    QTest::addColumn<bool>("isEligible");
    QTest::newRow("6.1 on 10.0") << "6.1" << 10 << 0 << true;
    QTest::newRow("6.1 on 6.1") << "6.1" << 6 << 1 << true;
    QTest::newRow("10.0 on 6.3") << "10.0" << 6 << 3 << false;
    QTest::newRow("10.0 on 10.0") << "10.0" << 10 << 0 << true;
    QTest::newRow("6.2 on 6.1") << "6.2" << 6 << 1 << false;
    QTest::newRow("6.2 on 6.3") << "6.2" << 6 << 3 << true;
    QTest::newRow("10.1 on 11.0") << "10.1" << 11 << 0 << true;
    QTest::newRow("a missing minor number counts as 0") << "10" << 10 << 0 << true;
    QTest::newRow("a missing minor number, older system") << "10" << 6 << 3 << false;
}

void VersionDescriptionTest::minimumSystem()
{
    QFETCH(QString, required);
    QFETCH(int, majorVersion);
    QFETCH(int, minorVersion);
    const QString line = "26.05.7200|Stable|0|d|i|0|" + required;
    MessageCatcher catcher;
    const auto read = [&line](const RunningSystem &system) {
        return readVersionDescription(line, system, [] { return false; }).versions.contains(7200);
    };
    QTEST(read(windows(majorVersion, minorVersion)), "isEligible");
    // Only Windows is ever new enough.
    QVERIFY(!read({false, majorVersion, minorVersion, "Linux"}));
}

void VersionDescriptionTest::rowsAreKeptAsSplit()
{
    const VersionDescription description = readVersionDescription(
        "26.05.7200| Stable |x|| <b>ü</b> \n26.05.7201|Beta|0|d|i| 0 |6.1\r", windows(10, 0), [] { return false; });
    QCOMPARE(description.versions.value(7200), (QStringList{"26.05.7200", " Stable ", "x", "", " <b>ü</b> "}));
    QCOMPARE(description.versions.value(7201), (QStringList{"26.05.7201", "Beta", "0", "d", "i", " 0 ", "6.1\r"}));
}

void VersionDescriptionTest::laterLineReplacesTheEarlierOne()
{
    const VersionDescription description = readVersionDescription(
        "26.05.7200|Stable|0|d|first\n27.0.7200|Beta|0|d|second\n", windows(10, 0), [] { return false; });
    QCOMPARE(description.versions.size(), 1);
    QCOMPARE(description.versions.value(7200), (QStringList{"27.0.7200", "Beta", "0", "d", "second"}));
    // What the first line raised stays raised.
    QCOMPARE(describe(description.maxima), describe(maxima(7200, 7200)));
}

void VersionDescriptionTest::maximaDoNotDependOnTheOrder()
{
    QStringList lines = {"26.05.7300|Stable|0|d|i", "26.05.7100|Stable|0|d|i", "26.05.7250|Stable|7100|d|i|0",
                         "26.05.7400|Beta|0|d|i", "26.05.7350|Beta|0|d|i|0|6.1"};
    std::sort(lines.begin(), lines.end());
    do {
        MessageCatcher catcher;
        const VersionDescription description =
            readVersionDescription(lines.join('\n'), windows(10, 0), [] { return false; });
        QCOMPARE(describe(description.maxima), describe(maxima(7300, 7400, 7250)));
        QCOMPARE(description.versions.keys(), (QList<qint32>{7100, 7250, 7300, 7350, 7400}));
    } while (std::next_permutation(lines.begin(), lines.end()));
}

void VersionDescriptionTest::refusalsKeepTheHighestAndTellOfTheLast()
{
    MessageCatcher catcher;
    const NewestRevisions seen = readVersionDescription("26.05.7400|Stable|0|d|i|0|11.0\n"
                                                        "26.05.7300|Stable|0|d|i|0|10.1\n"
                                                        "26.05.7500|Beta|0|d|i|0|12.0\n"
                                                        "26.05.7200|Test|0|d|i|0|13.2\n",
                                                        windows(6, 1), [] { return true; })
                                     .maxima;
    QCOMPARE(seen.newestUnsupportedStable, 7400);
    QCOMPARE(seen.newestUnsupportedBeta, 7500);
    QCOMPARE(seen.stableNotice, "To update to newest version (7300) you need to update you operating system to at "
                                "least (Windows 10.1)");
    QCOMPARE(seen.betaNotice, "To update to newest version (7200) you need to update you operating system to at "
                              "least (Windows 13.2)");
    QCOMPARE(catcher.debugLines().filter("t0 "),
             (QStringList{"t0 7086 7400", "t0 7086 7400", "t0 7500 7400", "t0 7500 7400"}));
}

void VersionDescriptionTest::testBuildsAreAskedForEachLine()
{
    MessageCatcher catcher;
    int asked = 0;
    const auto onlyTheSecond = [&asked] { return ++asked == 2; };
    // With fewer columns, the type is unknown, and nobody is asked.
    const VersionDescription description = readVersionDescription("26.05.7600|Test|0|d|i\n"
                                                                  "26.05.7500|Test|0|d|i|0\n"
                                                                  "26.05.7300|Test|0|d|i|0|6.1\n"
                                                                  "26.05.7200|Test|0|d|i|0|6.1\n"
                                                                  "26.05.7250|Beta|0|d|i|0|99.0\n"
                                                                  "26.05.7400|Test|0|d|i|0|99.0\n",
                                                                  windows(10, 0), onlyTheSecond);
    QCOMPARE(asked, 3);
    QCOMPARE(description.maxima.newestBeta, 7200);
    QCOMPARE(description.maxima.newestUnsupportedBeta, 7250);
    QCOMPARE(description.versions.keys(), (QList<qint32>{7200, 7300, 7500, 7600}));
    QCOMPARE(catcher.debugLines().filter("test build"),
             (QStringList{"WARNING: ignoring test build 7300", "WARNING: ignoring test build 7400"}));
}

void VersionDescriptionTest::nothingIsLeftOfAnEarlierReading()
{
    const auto read = [](const QString &text) {
        return readVersionDescription(text, windows(10, 0), [] { return false; });
    };
    QCOMPARE(read("26.05.7200|Stable|0|d|i").versions.size(), 1);
    QVERIFY(read("").versions.isEmpty());
    QCOMPARE(describe(read("").maxima), describe(NewestRevisions()));
}

void VersionDescriptionTest::runningSystem()
{
    const QOperatingSystemVersion expected = QOperatingSystemVersion::current();
    const RunningSystem system = RunningSystem::current();
    QCOMPARE(system.isWindows, expected.type() == QOperatingSystemVersion::Windows);
    QCOMPARE(system.majorVersion, expected.majorVersion());
    QCOMPARE(system.minorVersion, expected.minorVersion());
    QCOMPARE(system.name, expected.name());
}

QTEST_GUILESS_MAIN(VersionDescriptionTest)
#include "tst_versiondescription.moc"
