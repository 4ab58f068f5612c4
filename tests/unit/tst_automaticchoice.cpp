#include "versions/automaticchoice.h"

#include <QtTest>

using namespace freshen;

class AutomaticChoiceTest : public QObject
{
    Q_OBJECT

private slots:
    void choice_data();
    void choice();
    void heldBackVersionsPlayNoPart();
    void choiceFromAFile_data();
    void choiceFromAFile();
};

void AutomaticChoiceTest::choice_data()
{
    QTest::addColumn<qint32>("stable");
    QTest::addColumn<qint32>("beta");
    QTest::addColumn<qint32>("fix");
    QTest::addColumn<qint32>("withBeta");
    QTest::addColumn<qint32>("withoutBeta");
    QTest::newRow("nothing newer") << 7086 << 7086 << 7086 << 7086 << 7086;
    QTest::newRow("the fix before a newer stable version") << 7200 << 7086 << 7150 << 7200 << 7150;
    QTest::newRow("no fix") << 7300 << 7086 << 7086 << 7300 << 7300;
    QTest::newRow("beta, stable and fix") << 7300 << 7400 << 7350 << 7400 << 7350;
    QTest::newRow("fix newer than beta and stable") << 7300 << 7310 << 7350 << 7350 << 7350;
    QTest::newRow("stable newer than beta and fix") << 7400 << 7310 << 7350 << 7400 << 7350;
    QTest::newRow("only beta") << 7086 << 7400 << 7086 << 7400 << 7086;
    QTest::newRow("a fix one above the own revision") << 7300 << 7086 << 7087 << 7300 << 7087;
}

void AutomaticChoiceTest::choice()
{
    NewestRevisions maxima;
    QFETCH(qint32, stable);
    QFETCH(qint32, beta);
    QFETCH(qint32, fix);
    maxima.newestStable = stable;
    maxima.newestBeta = beta;
    maxima.latestStableFix = fix;
    const Candidates newest = candidates(maxima);
    QTEST(newest.withBeta, "withBeta");
    QTEST(newest.stable, "withoutBeta");
    QTEST(newest.choose(true), "withBeta");
    QTEST(newest.choose(false), "withoutBeta");
}

void AutomaticChoiceTest::heldBackVersionsPlayNoPart()
{
    NewestRevisions maxima;
    maxima.newestUnsupportedStable = 9000;
    maxima.newestUnsupportedBeta = 9001;
    QCOMPARE(candidates(maxima).choose(true), 7086);
    QCOMPARE(candidates(maxima).choose(false), 7086);
}

void AutomaticChoiceTest::choiceFromAFile_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<bool>("useBeta");
    QTest::addColumn<qint32>("revision");
    QTest::addColumn<bool>("isFound");

    const QString fixes = "26.05.7100|Stable|0|d|i\n26.05.7200|Stable|0|d|i\n26.05.7150|Stable|7100|d|i\n";
    QTest::newRow("beta off: the fix 7150 before 7200") << fixes << false << 7150 << true;
    QTest::newRow("beta on: 7200 before the fix 7150") << fixes << true << 7200 << true;
    QTest::newRow("beta off: stable versions up to 7300")
        << "26.05.7300|Stable|0|d|i\n26.05.7100|Stable|0|d|i\n26.05.7400|Beta|0|d|i\n"
        << false << 7300 << true;
    QTest::newRow("beta on: beta 7400, stable 7300, fix 7350")
        << "26.05.7400|Beta|0|d|i\n26.05.7300|Stable|0|d|i\n26.05.7350|Stable|7300|d|i\n"
        << true << 7400 << true;
    QTest::newRow("all at or below 7086, no 7086")
        << "26.05.7085|Stable|0|d|i\n26.05.7000|Stable|6900|d|i\n26.05.6000|Beta|0|d|i\n"
        << false << 7086 << false;
    QTest::newRow("7086 itself is chosen again") << "26.05.7086|Stable|0|d|i\n" << false << 7086 << true;
    QTest::newRow("an empty file") << "" << true << 7086 << false;
}

void AutomaticChoiceTest::choiceFromAFile()
{
    QFETCH(QString, file);
    QFETCH(bool, useBeta);
    QFETCH(qint32, revision);
    const VersionDescription description = readVersionDescription(file, {true, 10, 0, "Windows"}, [] { return false; });
    QCOMPARE(candidates(description.maxima).choose(useBeta), revision);
    QTEST(description.versions.contains(revision), "isFound");
}

QTEST_GUILESS_MAIN(AutomaticChoiceTest)
#include "tst_automaticchoice.moc"
