// What freshen-publish finds wrong with an index and with the files beside it.

#include "kit/qt/foldertest.h"
#include "kit/qt/table.h"
#include "publish/indexcheck.h"
#include "publish/linecheck.h"
#include "publish/linereading.h"
#include "publish/packagefiles.h"

using namespace freshen::publish;

namespace {

const Audience usual = {7050, newestWindows()};

/// A \a finding as "id:line:column".
QString brief(const Finding &finding)
{
    return QString("%1:%2:%3").arg(finding.kind.id).arg(finding.line).arg(finding.column);
}

QStringList brief(const QList<Finding> &findings)
{
    QStringList texts;
    for (const Finding &finding : findings)
        texts.append(brief(finding));
    return texts;
}

/// A plain line of \a version, with \a more columns or another \a type.
QByteArray line(const QByteArray &version, const QByteArray &type = "Stable", const QByteArray &more = "")
{
    return version + '|' + type + "||2026-05-01|Info" + more + '\n';
}

} // namespace

class PublishCheckTest : public FolderTest
{
    Q_OBJECT

private slots:
    void index_data()
    {
        const QByteArray sound = line("26.05.7200");
        const Table<QByteArray, QStringList> table;
        table.row("sound", line("26.05.7200") + line("26.05.7300", "Beta", "|7050") + '\n' + line("26.06.7301"), {});
        table.row("sound test", line("26.05.7200", "Test", "|7050|10.0"), {});
        table.row("sound fix", "26.05.7200|Stable|7100|d|i\n", {});
        table.row("limits of blanks", line("26.05.7200", "Test", "| |"), {});
        table.row("smallest limits", line("26.05.7200", "Test", "|0|0.0"), {});

        table.row("empty", "\n\n", {"no-versions:0:0"});
        table.row("another page", "<html>\n", {"no-versions:0:0", "unreadable-line:1:1"});
        table.row("four columns", sound + "26.05.7300|Stable||d\n", {"unreadable-line:2:1"});
        table.row("eight columns", sound + line("26.05.7300", "Stable", "|0|10.0|x"), {"unreadable-line:2:1"});
        table.row("two parts", sound + line("26.7300"), {"unreadable-line:2:1"});
        table.row("letter in the revision", sound + line("26.05.72a0"), {"unreadable-line:2:1"});
        table.row("large revision", sound + line("26.05.2147483648"), {"revision-too-large:2:1"});
        table.row("small revision", sound + line("26.05.-2147483649"), {"revision-too-large:2:1"});
        table.row("zero byte", QByteArray(sound + "26.05" + '\0' + ".7300|Stable||d|i\n"),
                  {"zero-byte:2:0", "unreadable-line:2:1"});
        table.row("carriage returns", QByteArray(line("26.05.7200") + line("26.05.7300")).replace("\n", "\r\n"),
                  {"carriage-return:1:0"});
        table.row("carriage return within a line", line("26.05.7200", "Beta", "\r|7050"), {"carriage-return:1:0"});
        table.row("other encoding", sound + line("26.05.7300", "Stable").replace("Info", "f\xfcr"), {"not-utf-8:2:0"});
        table.row("cut letter", sound + "26.05.7300|Stable||d|\xc3", {"not-utf-8:2:0"});

        table.row("unknown type", line("26.05.7200", "stable"), {"unknown-type:1:2"});
        table.row("blank after the type", line("26.05.7200", "Beta "), {"blanks-around-type:1:2"});
        table.row("test in five columns", line("26.05.7200", "Test"), {"test-for-everybody:1:2"});
        table.row("test in six columns", line("26.05.7200", "Test", "|7050"), {"test-for-everybody:1:2"});
        table.row("seven columns", line("26.05.7200", "Beta", "|7050|6.1"), {"hidden-from-list:1:7"});
        table.row("letter in the updater's limit", line("26.05.7200", "Beta", "|7O00"), {"limit-is-no-number:1:6"});
        table.row("word in the system's limit", line("26.05.7200", "Test", "|7050|Windows 10"),
                  {"limit-is-no-number:1:7"});
        table.row("comma in the system's limit", line("26.05.7200", "Test", "|7050|6.1,3"), {"limit-is-no-number:1:7"});
        table.row("build in the system's limit", line("26.05.7200", "Test", "|7050|10.0.19041"),
                  {"limit-ignores-rest:1:7"});
        table.row("eleven", line("26.05.7200", "Test", "|7050|11.0"), {"limit-met-by-nobody:1:7"});
        table.row("an updater that nobody has", line("26.05.7200", "Stable", "|7201") + line("26.05.7100"),
                  {"limit-met-by-nobody:1:6"});
        table.row("an updater that the line alone brings", line("26.05.7200", "Stable", "|7200") + line("26.05.7199"),
                  {"limit-met-by-nobody:1:6"});
        table.row("a step that is missing", line("26.05.7200", "Stable", "|7101") + line("26.05.7100"),
                  {"limit-without-step:1:6"});
        table.row("a step", line("26.05.7200", "Stable", "|7100") + line("26.05.7100"), {});
        table.row("two steps",
                  line("26.05.7300", "Stable", "|7200") + line("26.05.7200", "Stable", "|7100") + line("26.05.7100"),
                  {});
        table.row("a step that nobody comes to",
                  line("26.05.7300", "Stable", "|7150") + line("26.05.7150", "Stable", "|7140"),
                  {"limit-without-step:1:6", "limit-without-step:2:6"});
        table.row("two that wait for each other",
                  line("26.05.7200", "Stable", "|7300") + line("26.05.7300", "Stable", "|7200"),
                  {"limit-met-by-nobody:1:6", "limit-without-step:2:6"});
        table.row("an older version to go back to", line("26.05.7100", "Stable", "|7200") + line("26.05.7200"), {});
        table.row("word as reference", "26.05.7200|Stable|fix 3|d|i\n",
                  {"reference-is-no-number:1:3", "label-hides-type:1:3"});
        table.row("reference of a beta", "26.05.7200|Beta|7100|d|i\n", {"label-hides-type:1:3"});
        table.row("reference zero", "26.05.7200|Stable|0|d|i\n", {"label-hides-type:1:3"});
        table.row("reference of a hidden line", "26.05.7200|Test|0|d|i||10.0\n", {});
        table.row("zeros before the revision", line("26.05.007200"), {"odd-version:1:1"});
        table.row("blank in the version", line("26. 05.7200"), {"odd-version:1:1"});
        table.row("slash in the version", line("26/5.05.7200"), {"separator-in-name:1:1"});
        table.row("star in the version", line("26*.05.7200"), {"name-not-storable:1:1"});
        table.row("hash in the version", line("26#.05.7200"), {"address-differs:1:1"});

        table.row("same revision", line("26.05.7200") + line("26.06.7200"), {"duplicate-revision:2:1"});
        table.row("three times", sound + sound + sound, {"duplicate-revision:2:1", "duplicate-revision:3:1"});
        table.row("same revision of another type", line("26.05.7200") + line("26.05.7200", "Beta"),
                  {"duplicate-of-other-type:2:1"});
        table.row("fix beats newer", line("26.05.7100").replace("||", "|7000|") + line("26.05.7200"),
                  {"fix-beats-newer:1:3"});
        table.row("beta is newer than a fix", line("26.05.7100").replace("||", "|7000|") + line("26.05.7200", "Beta"),
                  {});
        table.row("digits", line("26.05.9999") + line("26.05.10000"), {"list-out-of-order:1:1"});
        table.row("old versions", line("26.05.7049") + line("26.05.7050") + line("26.05.7051"), {"not-newer:1:1"});
    }
    void index()
    {
        const auto [bytes, expected] = Table<QByteArray, QStringList>::current();
        const QList<Finding> findings = checkIndex(parseIndex(bytes), "windows.txt", usual);
        QCOMPARE(brief(findings), expected);
        for (const Finding &finding : findings)
            QCOMPARE(finding.file, QString("windows.txt"));
    }

    void messages_data()
    {
        const Table<QByteArray, QString> table;
        table.row("reason of the log", line("26.05.72a0"), "WARNING: cant read revision number \"72a0\"");
        table.row("which line wins", line("26.05.7200") + line("26.05.7200", "Beta"),
                  "The revision 7200 is in line 1 as well (Stable). Whoever may have both gets this one (Beta).");
        table.row("how many bytes", QByteArray("26.05.7200|Stable||d|i\n\0xy", 26),
                  "Reading ends at a zero byte; 3 bytes are not read.");
        table.row("both revisions", line("26.05.7100").replace("||", "|7000|") + line("26.05.7200"),
                  "Users of stable versions get the fix 7100, and not the newer 7200.");
        table.row("order", line("26.05.9999") + line("26.05.10000"),
                  "The list sorts revisions as text: 9999 is above 10000.");
        table.row("how many are old", line("26.05.7049") + line("26.05.7050"),
                  "Versions that are not newer than the updater 7050, whose automatic mode passes them over: 2.");
        table.row("stored name", line("26/5.05.7200"),
                  "The package of \"26/5.05.7200STABLE\" is stored as Tavlopc26_5.05.7200STABLE.zip.");
    }
    void messages()
    {
        const auto [bytes, expected] = Table<QByteArray, QString>::current();
        QCOMPARE(checkIndex(parseIndex(bytes), "windows.txt", usual).last().message, expected);
    }

    void readings_data()
    {
        const Table<QString, QString, QStringList> table;
        const QString sevenColumns = "WARNING: (\"26.05.7200\", \"Test\", \"\", \"d\", \"i\", \"\", \"10.0\") does not "
                                     "have right number of cols";
        table.row("26.05.7200|Stable||d|i", "stable", "listed", {});
        table.row("26.05.7200|Stable|7100|d|i", "stable fix", "listed", {});
        table.row("26.05.7200|Beta||d|i", "beta", "listed with betas", {});
        table.row("26.05.7200|Test||d|i||10.0", "never chosen", "refused",
                  {"WARNING: ignoring test build 7200", sevenColumns});
        table.row("26.05.7050|Stable||d|i", "never chosen", "listed", {});
        table.row("26.05|Stable||d|i", "refused", "refused",
                  {"WARNING: (\"26\", \"05\") does not have right number of cols",
                   "WARNING: (\"26\", \"05\") does not have right number of cols"});
    }
    void readings()
    {
        const auto [automatic, manual, log] = Table<QString, QString, QStringList>::current();
        const LineReadings read = readLine(QTest::currentDataTag(), usual);
        QCOMPARE(read.automatic.verdict, automatic);
        QCOMPARE(read.manual.verdict, manual);
        QCOMPARE(read.automatic.log + read.manual.log, log);
    }

    void files_data()
    {
        const Table<QStringList, QStringList> table;
        const QString plain = "Tavlopc26.05.7200STABLE.zip";
        const QString other = "Tavlopc26.05.7300BETA.zip";
        const QString extended = "Tavlopc26.05.7200STABLEWIN7X64.zip";
        table.row("all but extended", {plain, other}, {"no-extended-packages:0:0"});
        table.row("none", {}, {"missing-package:1:0", "missing-package:2:0", "no-extended-packages:0:0"});
        table.row("one extended", {plain, other, extended}, {"missing-extended-package:2:0"});
        table.row("one of XP", {plain, other, "Tavlopc26.05.7300BETAX64.zip"}, {"missing-extended-package:1:0"});
        table.row("not listed", {plain, other, "x"}, {"no-extended-packages:0:0", "unlisted x"});
    }
    void files()
    {
        const auto [files, expected] = Table<QStringList, QStringList>::current();
        const DocumentRoot root = {folder(), "VERSIONS"};
        const QByteArray bytes = line("26.05.7200") + line("26.05.7300", "Beta") + "no line\n";
        writeFile(root.indexFile(), bytes);
        QStringList found = brief(checkPackageFiles(parseIndex(bytes), root, files));
        QString error;
        const QStringList unlisted = *unlistedFiles(root, files, error);
        for (const QString &name : unlisted)
            found.append("unlisted " + name);
        QCOMPARE(found, expected);
    }

    void missingPackageHasASimilarName()
    {
        const QList<Finding> findings =
            checkPackageFiles(parseIndex(line("26.05.7200")), {folder(), "VERSIONS"}, {"tavlopc26.05.7200stable.zip"});
        QCOMPARE(findings.first().message,
                 "There is no Tavlopc26.05.7200STABLE.zip. tavlopc26.05.7200stable.zip differs in case.");
    }

    void filesOfAllIndexesAreListed()
    {
        const DocumentRoot root = {folder(), "VERSIONS"};
        writeFile(root.indexFile(), line("26.05.7200"));
        writeFile(DocumentRoot{folder(), "BETAS"}.indexFile(), line("26.05.7300", "Beta"));
        for (const char *name : {"Tavlopc26.05.7200STABLE.zip", "Tavlopc26.05.7300BETA.zip", "sub/.hidden"})
            writeFile(root.packageFile(name), "x");
        QString error;
        QCOMPARE(unlistedFiles(root, filesBelow(root.packageFolder()), error).value(), QStringList{"sub/.hidden"});
    }
};

QTEST_GUILESS_MAIN(PublishCheckTest)
#include "tst_publishcheck.moc"
