#include "download/versionlist.h"
#include "kit/qt/messagecatcher.h"

#include <QtTest>

using namespace freshen;

Q_DECLARE_METATYPE(QList<qint32>)

class VersionListTest : public QObject
{
    Q_OBJECT

private slots:
    void reading_data();
    void reading();
    void laterLineReplacesTheEarlierOne();
    void rowsOfTheList_data();
    void rowsOfTheList();
    void columnsOfTheList();
    void manyVersions();
};

void VersionListTest::reading_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QList<qint32>>("revisions");
    QTest::addColumn<QStringList>("messages");
    const QStringList none;
    const auto one = [](const char *message) { return QStringList{message}; };
    using Revisions = QList<qint32>;

    QTest::newRow("empty file") << "" << Revisions() << none;
    QTest::newRow("empty lines") << "\n26.05.7200|Stable|0|d|i\n\n" << Revisions{7200} << none;
    QTest::newRow("5 columns, stable fix is not logged") << "26.05.7200|Stable|7100|d|i" << Revisions{7200} << none;
    QTest::newRow("5 columns, beta") << "26.05.7200|Beta||d|i" << Revisions{7200} << none;
    QTest::newRow("5 columns, unknown type is listed")
        << "26.05.7200|Alpha||d|i" << Revisions{7200} << one("WARNING: \"Alpha\" is unknown type");
    QTest::newRow("5 columns, test is an unknown type")
        << "26.05.7200|Test||d|i" << Revisions{7200} << one("WARNING: \"Test\" is unknown type");
    QTest::newRow("6 columns, requires 7086") << "26.05.7200|Stable||d|i|7086" << Revisions{7200} << none;
    QTest::newRow("6 columns, requires 7087")
        << "26.05.7200|Stable||d|i|7087" << Revisions()
        << one("WARNING: current version 7086 not eligible for 7200 - needs update to 7087");
    QTest::newRow("6 columns, test is an unknown type")
        << "26.05.7200|Test||d|i|0" << Revisions{7200} << one("WARNING: \"Test\" is unknown type");
    QTest::newRow("6 columns, stable fix is logged")
        << "26.05.7200|Stable|7100|d|i|0" << Revisions{7200} << one("latestStableFix 7100 7200");
    QTest::newRow("6 columns, stable with reference 0") << "26.05.7200|Stable|0|d|i|0" << Revisions{7200} << none;
    QTest::newRow("6 columns, beta with a reference") << "26.05.7200|Beta|7100|d|i|0" << Revisions{7200} << none;
    QTest::newRow("6 columns, the log shows the highest fix, from 7086 on")
        << "26.05.7000|Stable|1|d|i|0\n26.05.7300|Stable|2|d|i|0\n26.05.7200|Stable|3|d|i|0"
        << Revisions{7000, 7200, 7300}
        << QStringList{"latestStableFix 1 7086", "latestStableFix 2 7300", "latestStableFix 3 7300"};
    QTest::newRow("a fix of 5 columns does not count for the log")
        << "26.05.7300|Stable|2|d|i\n26.05.7200|Stable|3|d|i|0" << Revisions{7200, 7300}
        << one("latestStableFix 3 7200");
    QTest::newRow("7 columns are never listed")
        << "26.05.7200|Stable||d|i|0|6.1" << Revisions()
        << one(R"(WARNING: ("26.05.7200", "Stable", "", "d", "i", "0", "6.1") does not have right number of cols)");
    QTest::newRow("4 columns")
        << "26.05.7200|Stable||d" << Revisions()
        << one(R"(WARNING: ("26.05.7200", "Stable", "", "d") does not have right number of cols)");
    QTest::newRow("version of two parts")
        << "26.7200|Stable||d|i" << Revisions() << one(R"(WARNING: ("26", "7200") does not have right number of cols)");
    QTest::newRow("unreadable revision, 5 columns")
        << "26.05.72a0|Stable||d|i" << Revisions() << one(R"(WARNING: cant read revision number "72a0")");
    QTest::newRow("unreadable revision, 6 columns, before the updater's revision")
        << "26.05.72a0|Stable||d|i|9999" << Revisions() << one(R"(WARNING: cant read revision number "72a0")");
    QTest::newRow("only faulty lines") << "a\nb|c" << Revisions()
                                       << QStringList{R"(WARNING: ("a") does not have right number of cols)",
                                                      R"(WARNING: ("b", "c") does not have right number of cols)"};
}

void VersionListTest::reading()
{
    QFETCH(QString, text);
    MessageCatcher catcher;
    QTEST(readVersionList(text).keys(), "revisions");
    QTEST(catcher.debugLines(), "messages");
    QCOMPARE(catcher.lines(), catcher.debugLines());
}

void VersionListTest::laterLineReplacesTheEarlierOne()
{
    const VersionTable versions = readVersionList("26.05.7200|Stable||d|first\n26.06.7200|Beta|x|e|second|0\n");
    QCOMPARE(versions.size(), 1);
    QCOMPARE(versions.value(7200), (QStringList{"26.06.7200", "Beta", "x", "e", "second", "0"}));
}

void VersionListTest::rowsOfTheList_data()
{
    QTest::addColumn<bool>("showBeta");
    QTest::addColumn<QStringList>("rows");
    // Revision and label of each row.
    QTest::newRow("with beta versions") << true
                                        << QStringList{"999 Stable", "1000 Update 1", "1001 Update 2", "1002 Beta",
                                                       "1003 beta",  "1004 Test",     "1005 Update 3"};
    QTest::newRow("without beta versions, numbered anew")
        << false << QStringList{"999 Stable", "1001 Update 1", "1003 beta", "1004 Test", "1005 Update 2"};
}

void VersionListTest::rowsOfTheList()
{
    QFETCH(bool, showBeta);
    MessageCatcher catcher;
    const VersionTable versions = readVersionList("1.0.1005|Stable|0|d|i\n"
                                                  "1.0.1000|Beta|ref|d|i\n"
                                                  "1.0.999|Stable||d|i\n"
                                                  "1.0.1001|Stable|ref|d|i\n"
                                                  "1.0.1002|Beta||d|i\n"
                                                  "1.0.1003|beta||d|i\n"
                                                  "1.0.1004|Test||d|i\n");
    QStringList shown;
    for (const QStringList &row : listRows(versions, showBeta))
        shown.append(row.at(0) + ' ' + row.at(2));
    QTEST(shown, "rows");
}

void VersionListTest::columnsOfTheList()
{
    const VersionTable versions = readVersionList("26.05.0007200|Stable|0|1 May 2026|<b>info</b>|0\n");
    const QList<QStringList> expected = {{"7200", "26.05.0007200", "Update 1", "0", "1 May 2026", "<b>info</b>"}};
    QCOMPARE(listRows(versions, true), expected);
    QVERIFY(listRows({}, true).isEmpty());
}

/// The revision of a row is known with the row; it is not searched for among all rows.
void VersionListTest::manyVersions()
{
    VersionTable versions;
    constexpr int count = 200000;
    const QString info(50, 'x');
    for (qint32 revision = 0; revision < count; ++revision)
        versions.insert(revision, {"1.0." + QString::number(revision), "Stable", "", "d", info});
    const QList<QStringList> rows = listRows(versions, true);
    QCOMPARE(rows.size(), count);
    QCOMPARE(rows.last().first(), QString::number(count - 1));
}

QTEST_GUILESS_MAIN(VersionListTest)
#include "tst_versionlist.moc"
