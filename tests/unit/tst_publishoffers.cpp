// What freshen-publish says of an index that is read by others: offers, their order, and what is expected of them.

#include "kit/qt/foldertest.h"
#include "kit/qt/table.h"
#include "publish/audienceoptions.h"
#include "publish/expectations.h"
#include "publish/indexedit.h"
#include "publish/lineoptions.h"
#include "publish/optionvalues.h"
#include "publish/packagecopies.h"
#include "publish/rootlock.h"

using namespace freshen;
using namespace freshen::publish;

namespace {

const QString steps = "26.05.7100|Stable||d|i\n26.05.7200|Stable||d|i|7100\n26.05.7300|Beta||d|i|7200\n";

/// The updater in a package has the revision of its line; but that of 7200 with \a updaterIn7200.
PackagedUpdater packaged(std::optional<qint32> updaterIn7200 = 7200)
{
    return [updaterIn7200](const VersionRow &, qint32 revision) { return revision == 7200 ? updaterIn7200 : revision; };
}

Index withLines(const QByteArray &bytes)
{
    return parseIndex(bytes);
}

} // namespace

class PublishOffersTest : public FolderTest
{
    Q_OBJECT

private slots:
    void rows_data()
    {
        const Table<QString, PackagedUpdater, QString> table;
        table.row("one step after the other", steps, packaged(), "7050 6.1 stable 7100>7200 7100");
        table.row("with beta versions", steps, packaged(), "7050 10.0 beta 7100>7200>7300 7100");
        table.row("from the middle", steps, packaged(), "7150 10.0 stable 7200 7200,7100");
        table.row("at the end", steps, packaged(), "7200 10.0 stable again 7200,7100");
        table.row("beyond the end", steps, packaged(), "7301 10.0 beta none 7300,7200,7100");
        table.row("old updater in the package", steps, packaged(7100), "7100 10.0 stable 7200>... 7200,7100");
        table.row("circle of two", steps, packaged(7050), "7050 10.0 stable 7100>7200>... 7100");
        table.row("no updater in the package", steps, packaged(std::nullopt), "7050 10.0 beta 7100>7200 7100");
        table.row("test build", "26.05.7100|Test||d|i||10.0\n", packaged(), "7050 10.0 beta+test 7100 none");
        table.row("test build for stable users", "26.05.7100|Test||d|i||10.0\n", packaged(),
                  "7050 10.0 stable+test none none");
        table.row("test build on an old system", "26.05.7100|Test||d|i||10.0\n", packaged(),
                  "7050 6.1 beta+test none none");
        table.row("order of texts", "1.1.999|Stable||d|i\n1.1.1000|Stable||d|i\n", packaged(),
                  "7050 10.0 stable none 999,1000");
    }
    void rows()
    {
        const auto [text, packagedUpdater, row] = Table<QString, PackagedUpdater, QString>::current();
        const std::optional<Audience> audience = audienceOf(row);
        QVERIFY(audience);
        const Preview preview = previewFor(text, *audience, packagedUpdater);
        QCOMPARE(rowOf(preview).simplified(), row);
        const QList<Finding> findings = checkPreviews({preview}, "windows.txt");
        QCOMPARE(findings.isEmpty() ? "" : findings.first().kind.id, row.contains("...") ? "offered-for-ever" : "");
        QCOMPARE(objectOf(preview).value("automatic").toString(), row.section(' ', 3, 3));
    }

    void noAudience_data()
    {
        const Table<> table;
        for (const char *row : {"", "7050", "7050 10.0 stable", "x 10.0 stable none", "7050 10 stable none",
                                "7050 10.0 user none", "7050 10.0 Beta none"})
            table.row(row);
    }
    void noAudience()
    {
        QVERIFY(!audienceOf(QTest::currentDataTag()));
    }

    void expectations_data()
    {
        const Table<QByteArray, QStringList> table;
        table.row("met", "# updater\n\n7050 10.0 stable   7100>7200  7100\n7050 6.1 beta 7100>7200>7300\n", {});
        table.row("other choice", "7050 10.0 stable 7100\n", {"expectation-not-met:1"});
        table.row("other list", "\n7050 10.0 stable 7100>7200 7200,7100", {"expectation-not-met:2"});
        table.row("no expectation", "7050 10.0 stable\n", {"file:1: \"7050 10.0 stable\" is no line of a preview."});
    }
    void expectations()
    {
        const auto [bytes, expected] = Table<QByteArray, QStringList>::current();
        QString error;
        const auto findings = checkExpectations(steps, bytes, "file", packaged(), error);
        QStringList found = findings ? QStringList() : QStringList{error};
        for (const Finding &finding : findings.value_or(QList<Finding>()))
            found.append(QString("%1:%2").arg(finding.kind.id).arg(finding.line));
        QCOMPARE(found, expected);
    }

    void usualAudiencesAreOfBothKindsOnBothSystems()
    {
        QStringList rows;
        for (const Preview &preview : previewsFor(steps, usualAudiences(), packaged()))
            rows.append(rowOf(preview).simplified().section(' ', 1, 2));
        QCOMPARE(rows, QStringList({"6.1 stable", "6.1 beta", "10.0 stable", "10.0 beta"}));
    }

    void edits()
    {
        const Index index = withLines("one\r\n\n26.05.7100|Stable||d|i\n26.06.7100|Beta||\xff|i");
        QCOMPARE(withLine(index, "new"), index.bytes + "\nnew\n");
        QCOMPARE(withLine(withLines(""), "new"), QByteArray("new\n"));
        QCOMPARE(withLine(withLines("a\n"), "\xc3\xa4"), QByteArray("a\n\xc3\xa4\n"));
        QCOMPARE(withReplacedLine(index, 3, "new"), QByteArray("one\r\n\nnew\n26.06.7100|Beta||\xff|i"));
        QCOMPARE(withoutLines(index, {1, 3}), QByteArray("\n26.06.7100|Beta||\xff|i"));
        QList<int> numbers;
        for (const IndexLine &line : linesWith(index, 7100))
            numbers.append(line.number);
        QCOMPARE(numbers, QList<int>({3, 4}));
    }

    void lines_data()
    {
        const Table<VersionRow, QString> table;
        table.row("no limits", {"v", "t", "", "", "", "", ""}, "v|t|||");
        table.row("updater", {"v", "t", "", "d", "i", "7050", ""}, "v|t||d|i|7050");
        table.row("system", {"v", "t", "", "d", "i", "", "10.0"}, "v|t||d|i||10.0");
    }
    void lines()
    {
        const auto [row, line] = Table<VersionRow, QString>::current();
        QCOMPARE(lineOf(row), line);
    }

    void packageNames_data()
    {
        const Table<QString> table;
        table.row("Tavlopc26.05.7200STABLE.zip", "26.05.7200 Stable 7200 0");
        table.row("Tavlopc26.05.7200BETA.zip", "26.05.7200 Beta 7200 0");
        table.row("Tavlopc26.05.7200TESTWIN7X64.zip", "26.05.7200 Test 7200 1");
        table.row("Tavlopc26.05.7200BETAX64.zip", "26.05.7200 Beta 7200 2");
        table.row("Tavlopcrc.1.7200STABLE.zip", "rc.1.7200 Stable 7200 0");
        table.row("Tavlopc26.05. 007200BETAX64.zip", "26.05. 007200 Beta 7200 2");
        for (const char *name :
             {"TavlopcSTABLE.zip", "Tavlopc.zip", "Tavlopc26.05.7200STABLE.ZIP", "Tavlopc26.7200STABLE.zip",
              "Tavlopc26.05.2084BETA.zip", "Tavlopc26.05.99999999999BETA.zip", "Tavlopro26.05.7200BETA.zip", "x.zip"})
            table.row(name, "none");
    }
    void packageNames()
    {
        const auto [expected] = Table<QString>::current();
        const std::optional<NamedPackage> package = packageOfName(QTest::currentDataTag());
        const QString text = package ? QString("%1 %2 %3 %4")
                                           .arg(package->row.at(column::version), package->row.at(column::type))
                                           .arg(package->revision)
                                           .arg(int(package->kind))
                                     : QString("none");
        QCOMPARE(text, expected);
    }

    void options_data()
    {
        const Table<QStringList, QString> table;
        table.row("none", {}, "v|t||old|");
        table.row(
            "all",
            {"--date", "d", "--info", "i", "--reference", "7100", "--min-updater", "7050", "--min-windows", "6.1"},
            "v|t|7100|d|i|7050|6.1");
        table.row("emptied", {"--date", ""}, "v|t|||");
        table.row("bar", {"--info", "a|b"}, "--info cannot hold a bar or a line break.");
        table.row("line break", {"--date", "a\nb"}, "--date cannot hold a bar or a line break.");
    }
    void options()
    {
        const auto [arguments, expected] = Table<QStringList, QString>::current();
        QCommandLineParser parser;
        parser.addOptions(lineOptions());
        QVERIFY(parser.parse(QStringList{"program"} + arguments));
        QString error;
        const std::optional<VersionRow> row = rowWithOptions({"v", "t", "", "old", ""}, parser, error);
        QCOMPARE(row ? lineOf(*row) : error, expected);
    }

    void ages_data()
    {
        const Table<qint64> table;
        table.row("0h", 0);
        table.row("36h", 36 * 60 * 60);
        table.row("14d", 14 * 24 * 60 * 60);
        for (const char *none : {"", "14", "d", "-1d", "1 d", "1w", "1.5d", "999999d"})
            table.row(none, -1);
    }
    void ages()
    {
        const auto [seconds] = Table<qint64>::current();
        QCOMPARE(secondsOf(QTest::currentDataTag()).value_or(-1), seconds);
    }

    void copies()
    {
        const DocumentRoot root = {file("root"), "VERSIONS"};
        writeFile(file("a.zip"), "a");
        writeFile(root.packageFile("same.zip"), "a");
        writeFile(root.packageFile("other.zip"), "b");
        const Report report(Format::Text, false, true, false);
        const QList<Finding> findings = checkCopies(
            {{file("a.zip"), "new.zip"}, {file("a.zip"), "same.zip"}, {file("a.zip"), "other.zip"}}, root, report);
        QCOMPARE(findings.size(), 1);
        QCOMPARE(findings.first().kind.id, "package-differs");
        QCOMPARE(findings.first().file, QString("update/Tavlopc/windows/other.zip"));
        QCOMPARE(makeCopies({{file("a.zip"), "new.zip"}, {file("none.zip"), "other.zip"}}, root, report), QString());
        QCOMPARE(readFile(root.packageFile("new.zip")), QByteArray("a"));
        QCOMPARE(readFile(root.packageFile("other.zip")), QByteArray("b"));
        QVERIFY(!makeCopies({{file("none.zip"), "no.zip"}}, root, report).isEmpty());
    }

    void secondLockIsRefused()
    {
        RootLock first(folder());
        QCOMPARE(first.take(), QString());
        RootLock second(folder());
        QVERIFY(second.take().contains("is writing to the folder"));
        QVERIFY(second.isTaken());
    }

    void lockWithoutAFolderFails()
    {
        RootLock lock(file("none"));
        QVERIFY(lock.take().startsWith("There is no folder "));
        QVERIFY(!lock.isTaken());
    }

    void lockThatWasNeverFinishedIsNone_data()
    {
        const Table<int, bool> table;
        table.row("just made", 0, false);
        table.row("long ago", 3, true);
    }
    void lockThatWasNeverFinishedIsNone()
    {
        const auto [age, isFree] = Table<int, bool>::current();
        QFile left(file(lockFileName));
        QVERIFY(left.open(QIODevice::WriteOnly));
        QVERIFY(left.setFileTime(QDateTime::currentDateTime().addSecs(-age), QFileDevice::FileModificationTime));
        left.close();
        RootLock lock(folder());
        QCOMPARE(lock.take().isEmpty(), isFree);
    }
};

QTEST_GUILESS_MAIN(PublishOffersTest)
#include "tst_publishoffers.moc"
