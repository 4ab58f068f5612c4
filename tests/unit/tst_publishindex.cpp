// The index as freshen-publish takes it apart: lines, revisions, names of packages.

#include "kit/qt/table.h"
#include "publish/index.h"

using namespace freshen;
using namespace freshen::publish;

class PublishIndexTest : public QObject
{
    Q_OBJECT

private slots:
    void lines()
    {
        const Index index = parseIndex("\n1.0.7100|Stable|0|d|i\n\nno line\n1.0.7200|Test|0|d|i|99999|10.0\n");
        QStringList lines;
        for (const IndexLine &line : index.lines)
            lines.append(QString("%1 %2 %3").arg(line.number).arg(line.row.size()).arg(line.revision.value_or(0)));
        QCOMPARE(lines, QStringList({"2 5 7100", "4 1 0", "5 7 7200"}));
    }

    void linesEndAtAZeroByte()
    {
        const Index index = parseIndex(QByteArray("1.0.7100|Stable|0|d|i\n1.0.72\0"
                                                  "00|Stable|0|d|i\n",
                                                  45));
        QCOMPARE(index.lines.size(), 2);
        QCOMPARE(index.lines.at(1).text, "1.0.72");
        QCOMPARE(index.bytes.size(), 45);
    }

    void names_data()
    {
        const Table<QString, QStringList> table;
        table.row("stable", "1.0.7200|Stable|0|d|i",
                  {"Tavlopc1.0.7200STABLE.zip", "Tavlopc1.0.7200STABLEWIN7X64.zip", "Tavlopc1.0.7200STABLEX64.zip"});
        table.row("early beta", "1.0.2084|Beta|0|d|i",
                  {"Tavlopc1.0.2084STABLE.zip", "Tavlopc1.0.2084STABLEWIN7X64.zip", "Tavlopc1.0.2084STABLEX64.zip"});
        table.row("no revision", "1.0|Beta|0|d|i", {});
    }
    void names()
    {
        const auto [line, expected] = Table<QString, QStringList>::current();
        QCOMPARE(listedPackages(parseIndex((line + '\n' + line).toUtf8())), expected);
    }
};

QTEST_GUILESS_MAIN(PublishIndexTest)
#include "tst_publishindex.moc"
