#include "publish/command.h"
#include "publish/linereading.h"
#include "publish/rootcheck.h"

#include <QJsonArray>

namespace freshen::publish {

namespace {

/// How much room the verdicts take, most of them.
constexpr int width = 12;

QString textOf(const IndexLine &line, const LineReadings &readings)
{
    QString text =
        QStringLiteral("%1  auto: %2  menu: %3  %4")
            .arg(QString::number(line.number).rightJustified(4), readings.automatic.verdict.leftJustified(width),
                 readings.manual.verdict.leftJustified(width), line.text);
    QStringList log = readings.automatic.log + readings.manual.log;
    log.removeDuplicates();
    for (const QString &message : log)
        text += QStringLiteral("\n          ") + message;
    return text;
}

QJsonObject objectOf(const LineReading &reading)
{
    return {{QStringLiteral("verdict"), reading.verdict},
            {QStringLiteral("log"), QJsonArray::fromStringList(reading.log)}};
}

/// Shows what both readings make of each line.
void showReadings(const Index &index, const Audience &audience, Report &report)
{
    QJsonArray lines;
    for (const IndexLine &line : index.lines) {
        const LineReadings readings = readLine(line.text, audience);
        report.print(textOf(line, readings));
        lines.append(QJsonObject{{QStringLiteral("line"), line.number},
                                 {QStringLiteral("text"), line.text},
                                 {QStringLiteral("automatic"), objectOf(readings.automatic)},
                                 {QStringLiteral("manual"), objectOf(readings.manual)}});
    }
    report.set(QStringLiteral("lines"), lines);
}

ExitCode run(Context &context)
{
    QString error;
    const std::optional<Index> index = readIndex(context.root.indexFile(), error);
    if (!index)
        return context.report.fail(ExitCode::FileOrNetwork, error);
    showReadings(*index, {ownRevision, newestWindows()}, context.report);
    return checkRoot(*index, context);
}

} // namespace

const Command checkCommand = {"check", "Check the index and every package that it lists", "", rootCheckOptions, run};

} // namespace freshen::publish
