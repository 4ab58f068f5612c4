#include "download/packagename.h"
#include "publish/command.h"
#include "publish/externalcommand.h"
#include "publish/index.h"
#include "publish/indexedit.h"
#include "publish/linecheck.h"
#include "publish/messagelog.h"
#include "publish/packageoptions.h"
#include "publish/packing.h"
#include "publish/progressbar.h"

#include <QJsonArray>

namespace freshen::publish {

namespace {

const QString outputOption = QStringLiteral("output");
const QString excludeOption = QStringLiteral("exclude");
const QString beforeOption = QStringLiteral("before");

QList<QCommandLineOption> options()
{
    return packageCheckOptions() +
           QList<QCommandLineOption>{
               {outputOption, QStringLiteral("Where the package is written; the current folder by default."),
                QStringLiteral("DIR"), QStringLiteral(".")},
               {excludeOption,
                QStringLiteral("Leaves out what this wildcard matches, for example \"*.pdb\"; may be given again."),
                QStringLiteral("PATTERN")},
               {beforeOption, QStringLiteral("A command to run in DIR first, for example to sign the programs."),
                QStringLiteral("CMD")},
           };
}

/// What the arguments ask for.
struct Task
{
    QString folder;
    QString package;
    IndexLine line;
    QDateTime time;
};

/// Whether \a path is \a folder, or in it.
bool isWithin(const QString &path, const QString &folder)
{
    return (path + QLatin1Char('/')).startsWith(folder + QLatin1Char('/'));
}

/// Reads the arguments into \a task. Returns what is wrong with them, or an empty text.
QString readTask(const Context &context, Task &task)
{
    const QString version = context.arguments.at(1);
    const QString type = context.arguments.at(2);
    if (!isReleaseType(type))
        return QStringLiteral("The type is %1, %2 or %3.").arg(stableType, betaType, testType);
    const VersionRow row = {version, type, {}, {}, {}};
    const MessageLog log;
    const std::optional<qint32> revision = revisionOf(lineOf(row));
    if (!revision)
        return QStringLiteral("No updater reads the version \"%1\": %2")
            .arg(version, log.messages().join(QLatin1Char(' ')));
    const QString name = serverPackageName(row, *revision, {});
    if (name != QFileInfo(name).fileName())
        return QStringLiteral("\"%1\" cannot be the name of a file.").arg(name);
    const std::optional<QDateTime> time = packingTime(qEnvironmentVariable("SOURCE_DATE_EPOCH"));
    if (!time)
        return QStringLiteral("SOURCE_DATE_EPOCH is not a number of seconds.");
    const QString output = QDir::cleanPath(QDir(context.options.value(outputOption)).absolutePath());
    task = {QDir::cleanPath(QDir(context.arguments.first()).absolutePath()),
            output + QLatin1Char('/') + name,
            {0, lineOf(row), row, revision},
            *time};
    return isWithin(output, task.folder) ? QStringLiteral("The package would become a part of the next one: name a "
                                                          "folder for it with --output.")
                                         : QString();
}

/// Takes up what is wrong with the version that gives the package its name. Whether the package may be made.
bool hasUsableName(const Task &task, Report &report)
{
    for (const Finding &finding : checkLine(task.line, task.package)) {
        if (finding.column == column::version + 1)
            report.add({finding.kind, finding.message, finding.file});
    }
    return report.verdict() == ExitCode::Clean;
}

void tell(const PackingList &list, const Task &task, Report &report)
{
    for (const QString &pattern : list.uselessPatterns)
        report.add({uselessExclusion, QStringLiteral("\"%1\" leaves nothing out.").arg(pattern), task.folder});
    for (const QString &name : list.excluded)
        report.print(QStringLiteral("excluded: %1").arg(name));
    report.print(QDir::toNativeSeparators(task.package));
    report.set(QStringLiteral("package"), task.package);
    report.set(QStringLiteral("excluded"), QJsonArray::fromStringList(list.excluded));
}

QString write(const PackingList &list, const Task &task, const Report &report)
{
    qint64 size = 0;
    for (const PackedItem &item : list.items)
        size += item.size;
    ProgressBar bar(QStringLiteral("Packing"), size, !report.isQuiet());
    return writePackage(task.package, list.items, task.time, [&bar](qint64 done) { bar.set(done); });
}

ExitCode run(Context &context)
{
    Report &report = context.report;
    Task task;
    PackageCheckOptions check;
    if (!readPackageCheckOptions(context, check))
        return ExitCode::Usage;
    if (const QString error = readTask(context, task); !error.isEmpty())
        return report.fail(ExitCode::Usage, error);
    check.revision = task.line.revision;
    if (!hasUsableName(task, report))
        return report.verdict();
    const QString before = context.options.value(beforeOption);
    if (!before.isEmpty() && !context.isDryRun) {
        if (const QString reason = runExternalCommand(before, task.folder); !reason.isEmpty())
            return report.fail(ExitCode::FileOrNetwork, reason);
    }
    const PackingList list = listFolder(task.folder, context.options.values(excludeOption));
    if (!list.failure.isEmpty())
        return report.fail(ExitCode::FileOrNetwork, list.failure);
    tell(list, task, report);
    if (context.isDryRun)
        return report.verdict();
    if (const QString reason = write(list, task, report); !reason.isEmpty())
        return report.fail(ExitCode::FileOrNetwork, reason);
    if (const PackageCheck result = checkPackage(task.package, check, report); !result.failure.isEmpty())
        return report.fail(ExitCode::FileOrNetwork, result.failure);
    return report.verdict();
}

} // namespace

const Command packCommand = {"pack", "Make a package from an application folder", "DIR VERSION TYPE", options, run};

} // namespace freshen::publish
