// The version description file: what the automatic mode reads and chooses, and what the manual mode reads and lists.

#include "download/versionlist.h"
#include "kit/qt/foldertest.h"
#include "versions/automaticchoice.h"
#include "versions/versiondescription.h"

using namespace freshen;

using Revisions = QList<qint32>;

namespace {

const QString own = QString::number(ownRevision);
const QString newer = QString::number(ownRevision + 1);
const QString ignoredTestBuild = "WARNING: ignoring test build 90200";
const RunningSystem windows81 = {true, 6, 3, "Windows"};

VersionDescription read(const QString &file, const RunningSystem &system = windows81, bool testBuilds = false)
{
    return readVersionDescription(file, system, [testBuilds] { return testBuilds; });
}

/// The maxima that are no longer the updater's own revision, for example "stable 90200, fix 90200".
QString raised(const NewestRevisions &maxima)
{
    QStringList texts;
    const auto add = [&texts](const char *name, qint32 revision) {
        if (revision != ownRevision)
            texts += QString("%1 %2").arg(name).arg(revision);
    };
    add("stable", maxima.newestStable);
    add("beta", maxima.newestBeta);
    add("fix", maxima.latestStableFix);
    add("refused stable", maxima.newestUnsupportedStable);
    add("refused beta", maxima.newestUnsupportedBeta);
    return texts.join(", ");
}

QString wrongCount(const QString &parts)
{
    return "WARNING: (" + parts + ") does not have right number of cols";
}

QString unknownType(const QString &type)
{
    return "WARNING: \"" + type + "\" is unknown type";
}

QString needsUpdater(const QString &minimum)
{
    return "WARNING: current version " + own + " not eligible for 90200 - needs update to " + minimum;
}

} // namespace

class VersionsTest : public FolderTest
{
    Q_OBJECT

private slots:
    void number()
    {
        for (const char *noNumber : {"", " ", "5x", "5 6", "+-5", "- 5", "5.0", "0x5", "٥"})
            QVERIFY2(toNumber(noNumber) == 0, noNumber);
        for (const char *five : {"5", "+5", "\t5 \r", "\u00a05", "000000000000000000000000000005"})
            QVERIFY2(toNumber(five) == 5, five);
        QCOMPARE(toNumber("-7000"), -7000);
        for (const char *large : {"2147483647", "2147483648", "4294967296", "9223372036854775808"})
            QVERIFY2(toNumber(large) == std::numeric_limits<qint32>::max(), large);
        for (const char *small : {"-2147483648", "-2147483649", "-100000000000000000000000000000"})
            QVERIFY2(toNumber(small) == std::numeric_limits<qint32>::min(), small);
    }

    void lines_data()
    {
        const Table<QString, Revisions, QString, QStringList> table;
        table.row("empty lines", "\n\n1.0.90200|Stable|0|d|i\n\n\n1.0.90201|Stable|0|d|i\n\n", {90200, 90201},
                  "stable 90201", {});
        table.row("the updater's own revision and older ones raise nothing",
                  "1.0." + own + "|Stable|1|d|i\n1.0.-3|Beta|0|d|i", {-3, ownRevision}, "", {});
        table.row("the highest revision counts in any order",
                  "1.0.90203|Stable|1|d|i\n1.0.90204|Stable|1|d|i\n1.0.90202|Stable|1|d|i\n"
                  "1.0.90302|Beta|0|d|i\n1.0.90303|Beta|0|d|i\n1.0.90301|Beta|0|d|i",
                  {90202, 90203, 90204, 90301, 90302, 90303}, "stable 90204, beta 90303, fix 90204", {});
        table.row("fixes of 6 columns are logged with the newest one",
                  "1.0.90300|Stable|2|d|i|0\n1.0.90200|Stable|3|d|i|0", {90200, 90300}, "stable 90300, fix 90300",
                  {"latestStableFix 2 90300", "latestStableFix 3 90300"});
        table.row("reading goes on after a faulty line", "<html>\n1.0.90200|Stable|0|d|i", {90200}, "stable 90200",
                  {wrongCount("\"<html>\"")});

        // One line of the revision 90200, by its columns after the version.
        const auto accepted = [&](const char *name, const QString &columns, const QString &maxima,
                                  const QStringList &log = {}) {
            table.row(name, "1.0.90200|" + columns, {90200}, maxima, log);
        };
        accepted("5 columns, stable", "Stable|0|d|i", "stable 90200");
        accepted("5 columns, any reference but 0 marks a fix", "Stable|-1|d|i", "stable 90200, fix 90200");
        accepted("5 columns, a beta is no fix", "Beta|1|d|i", "beta 90200");
        accepted("5 columns, a test build is of unknown type", "Test|0|d|i", "", {unknownType("Test")});
        accepted("6 columns, for this updater", "Beta|1|d|i|" + own, "beta 90200");
        accepted("6 columns, an updater that is no number is 0", "Stable|0|d|i|later", "stable 90200");
        accepted("7 columns, stable", "Stable|1|d|i|0|6.1", "stable 90200, fix 90200", {"latestStableFix 1 90200"});
        accepted("7 columns, test build", "Test|0|d|i|0|6.1", "", {ignoredTestBuild});
        accepted("7 columns, unknown type", "Alpha|0|d|i|0|6.1", "", {unknownType("Alpha")});

        const auto refused = [&](const char *name, const QString &columns, const QStringList &log,
                                 const QString &maxima = "") {
            table.row(name, "1.0.90200|" + columns, {}, maxima, log);
        };
        refused("6 columns, for a newer updater", "Beta|0|d|i|" + newer, {needsUpdater(newer)});
        refused("7 columns, the updater before the system", "Beta|0|d|i|" + newer + "|10.0", {needsUpdater(newer)});
        const QString needsSystem =
            "WARNING: current os \"Windows\" not eligible for 90200 - os needs update to \"Windows\" \"10.0\"";
        const QString noMaxima = "t0 " + own + ' ' + own;
        refused("by the system, stable", "Stable|1|d|i|0|10.0", {"t0 " + own + " 90200", needsSystem},
                "refused stable 90200");
        refused("by the system, beta", "Beta|1|d|i|0|10.0", {"t0 90200 " + own, needsSystem}, "refused beta 90200");
        refused("by the system, test build", "Test|0|d|i|0|10.0", {ignoredTestBuild, noMaxima, needsSystem});
        refused("by the system, unknown type", "Alpha|0|d|i|0|10.0", {unknownType("Alpha"), noMaxima, needsSystem});

        table.row("4 columns, counted before the version is read", "x|Stable|0|d", {}, "",
                  {wrongCount(R"("x", "Stable", "0", "d")")});
        table.row("8 columns", "a|b|c|d|e|f|g|h", {}, "", {wrongCount(R"("a", "b", "c", "d", "e", "f", "g", "h")")});
        table.row("version of two parts", "26.90200|Stable|0|d|i", {}, "", {wrongCount(R"("26", "90200")")});
        table.row("version of four parts", "1.2.3.4|Stable|0|d|i", {}, "", {wrongCount(R"("1", "2", "3", "4")")});
        // Read before the minimum of the updater.
        for (const QString faulty : {"", "9x", "0x9", "2147483648"})
            table.row("revision \"" + faulty.toUtf8() + '"', "1.0." + faulty + "|Stable|0|d|i|99999", {}, "",
                      {"WARNING: cant read revision number \"" + faulty + '"'});
    }
    /// Up to 6 columns, both modes read the same. The list refuses lines of 7.
    void lines()
    {
        const auto [text, revisions, maxima, lines] = Table<QString, Revisions, QString, QStringList>::current();
        const VersionDescription description = read(text);
        QCOMPARE(description.versions.keys(), revisions);
        QCOMPARE(raised(description.maxima), maxima);
        QCOMPARE(log().lines(), lines);

        log().clear();
        const bool isRefused = text.count('|') == 6;
        const QString refusal = wrongCount('"' + QString(text).replace("|", "\", \"") + '"');
        QCOMPARE(readVersionList(text).keys(), isRefused ? Revisions() : revisions);
        QCOMPARE(log().lines(), isRefused ? QStringList(refusal) : lines);
    }

    void fixesOfFiveColumnsAreNotLoggedWithTheList()
    {
        static_cast<void>(readVersionList("1.0.50|Stable|1|d|i|0\n1.0.90300|Stable|2|d|i\n1.0.90200|Stable|3|d|i|0"));
        QCOMPARE(log().lines(), (QStringList{"latestStableFix 1 " + own, "latestStableFix 3 90200"}));
    }

    void minimumSystem()
    {
        const QString line = "1.0.90200|Beta|0|d|i|0|";
        for (const char *met : {"5.9", "6", "6.2", "6.3"}) {
            QVERIFY2(!read(line + met).versions.isEmpty(), met);
            // No other system is ever new enough.
            QVERIFY2(read(line + met, {false, 6, 3, "Linux"}).versions.isEmpty(), met);
        }
        for (const char *notMet : {"6.4", "7", "7.0"})
            QVERIFY2(read(line + notMet).versions.isEmpty(), notMet);
    }

    void highestRefusedRevisionAndNoticeOfTheLast()
    {
        const QString file = "1.0.90400|Stable|0|d|i|0|11.0\n1.0.90300|Stable|0|d|i|0|10.1\n"
                             "1.0.90500|Beta|0|d|i|0|12.0\n1.0.90200|Test|0|d|i|0|13.2";
        const NewestRevisions maxima = read(file, windows81, true).maxima;
        QCOMPARE(raised(maxima), "refused stable 90400, refused beta 90500");
        const QString notice = "To update to newest version (%1) you need to update you operating system to at "
                               "least (Windows %2)";
        QCOMPARE(maxima.stableNotice, notice.arg("90300", "10.1"));
        QCOMPARE(maxima.betaNotice, notice.arg("90200", "13.2"));
    }

    void permissionIsAskedForEachTestBuild()
    {
        int asked = 0;
        const auto isSecond = [&asked] { return ++asked == 2; };
        const QString file = "1.0.90600|Test|0|d|i\n1.0.90500|Test|0|d|i|0\n1.0.90300|Test|0|d|i|0|6.1\n"
                             "1.0.90200|Test|0|d|i|0|6.1\n1.0.90400|Test|0|d|i|0|99.0";
        QCOMPARE(raised(readVersionDescription(file, windows81, isSecond).maxima), "beta 90200");
        QCOMPARE(asked, 3);
    }

    void columnsAreKeptAsWritten()
    {
        const QByteArray file = QByteArrayLiteral("1.0.90200|Beta||\"d|<b>ü</b>\\ \r\n1.0.90201|Beta|0|d|i| 0\n"
                                                  "\0001.0.90202|Beta|0|d|i");
        const VersionTable versions = read(decodeVersionFile(file)).versions;
        QCOMPARE(versions, (VersionTable{{90200, {"1.0.90200", "Beta", "", "\"d", "<b>ü</b>\\ \r"}},
                                         {90201, {"1.0.90201", "Beta", "0", "d", "i", " 0"}}}));
        QCOMPARE(readVersionList(decodeVersionFile(file)), versions);
    }

    void laterLineOfARevisionWins()
    {
        const QString file = "26.05.90200|Stable|0|d|first\n27.0.90200|Beta|0|e|second";
        const VersionTable expected = {{90200, {"27.0.90200", "Beta", "0", "e", "second"}}};
        QCOMPARE(read(file).versions, expected);
        QCOMPARE(raised(read(file).maxima), "stable 90200, beta 90200");
        QCOMPARE(readVersionList(file), expected);
    }

    void automaticChoice_data()
    {
        const Table<qint32, qint32, qint32, qint32, qint32> table;
        const qint32 none = ownRevision;
        table.row("nothing newer", none, none, none, none, none);
        table.row("stable only", 90300, none, none, 90300, 90300);
        table.row("beta only", none, 90300, none, 90300, none);
        table.row("a fix wins over a newer stable version", 90300, none, none + 1, 90300, none + 1);
        table.row("beta newest", 90300, 90400, 90350, 90400, 90350);
        table.row("fix newest", 90300, 90310, 90350, 90350, 90350);
    }
    void automaticChoice()
    {
        const auto [stable, beta, fix, withBeta, withoutBeta] =
            Table<qint32, qint32, qint32, qint32, qint32>::current();
        // Versions that the system refuses play no part.
        const Candidates newest = candidates({ownRevision, stable, beta, fix, 99999, 99999, "notice", "notice"});
        QCOMPARE(newest.choose(true), withBeta);
        QCOMPARE(newest.choose(false), withoutBeta);
    }

    void rowsOfTheList()
    {
        const VersionTable versions = {{999, {"1.0.0999", "Stable", "", "1 May 2026", "<b>info</b>"}},
                                       {1000, {"1.0.1000", "Beta", "ref", "d", "i"}},
                                       {1001, {"1.0.1001", "Stable", "0", "d", "i"}},
                                       {1002, {"1.0.1002", "Beta", "", "d", "i"}},
                                       {1003, {"1.0.1003", "Test", "", "d", "i"}}};
        const auto shown = [&versions](bool showBeta) {
            QStringList rows;
            for (const QStringList &row : listRows(versions, showBeta))
                rows += row.join('|');
            return rows;
        };
        const QString first = "999|1.0.0999|Stable||1 May 2026|<b>info</b>";
        const QString last = "1003|1.0.1003|Test||d|i";
        QCOMPARE(shown(true), (QStringList{first, "1000|1.0.1000|Update 1|ref|d|i", "1001|1.0.1001|Update 2|0|d|i",
                                           "1002|1.0.1002|Beta||d|i", last}));
        // Without betas, the updates are numbered anew.
        QCOMPARE(shown(false), (QStringList{first, "1001|1.0.1001|Update 1|0|d|i", last}));
    }

    void runningSystem()
    {
        const RunningSystem system = RunningSystem::current();
        QCOMPARE(system.isWindows, isWindows());
        const QString version = QString("%1.%2.").arg(system.majorVersion).arg(system.minorVersion);
        QVERIFY2(!isWindows() || QSysInfo::kernelVersion().startsWith(version), qUtf8Printable(version));
        QVERIFY(!isWindows() || system.name == "Windows");
    }
};

QTEST_GUILESS_MAIN(VersionsTest)
#include "tst_versions.moc"
