#include "publish/command.h"
#include "publish/failure.h"
#include "publish/indexcheck.h"
#include "publish/optionvalues.h"
#include "publish/packagefiles.h"
#include "publish/rootlock.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>

namespace freshen::publish {

namespace {

const QString olderThan = QStringLiteral("older-than");
const QString usualAge = QStringLiteral("14d");

QList<QCommandLineOption> options()
{
    return {{olderThan,
             QStringLiteral("Only what no index has listed for so long, for example 36h or 14d; %1 by default. The "
                            "time counts from the file's last change, which promote and withdraw renew.")
                 .arg(usualAge),
             QStringLiteral("TIME"), usualAge}};
}

/// Those of \a names that are a package's, or what is left of the writing of one, and were changed before \a time.
QStringList oldPackages(const QStringList &names, const DocumentRoot &root, const QDateTime &time)
{
    QStringList old;
    for (const QString &name : names) {
        if (isPackageFile(name) && QFileInfo(root.packageFile(name)).lastModified() < time)
            old.append(name);
    }
    return old;
}

/// Deletes the packages \a names. Returns why it failed, or an empty text.
QString deletePackages(const QStringList &names, Context &context)
{
    for (const QString &name : names) {
        QFile file(context.root.packageFile(name));
        if (!context.isDryRun && !file.remove())
            return failureOf(file);
        context.report.print(name);
    }
    context.report.set(QStringLiteral("deleted"), QJsonArray::fromStringList(names));
    return {};
}

/// Takes up the errors of all indexes: a line that nobody can read does not tell which package it lists. Returns how
/// the command ends because of them.
std::optional<ExitCode> checkIndexes(Context &context)
{
    const QStringList files = context.root.allIndexFiles();
    if (files.isEmpty())
        return context.report.fail(ExitCode::FileOrNetwork,
                                   QStringLiteral("There is no index, so none lists a package."));
    for (const QString &file : files) {
        QString error;
        const std::optional<Index> index = readIndex(file, error);
        if (!index)
            return context.report.fail(ExitCode::FileOrNetwork, error);
        for (const Finding &finding : checkIndex(*index, context.root.relative(file), {ownRevision, newestWindows()})) {
            if (finding.isError())
                context.report.add(finding);
        }
    }
    return context.report.findings().isEmpty() ? std::nullopt : std::optional(context.report.verdict());
}

/// Deletes what no index lists and was changed before \a time. The folder is locked.
ExitCode prune(const QDateTime &time, Context &context)
{
    if (const std::optional<ExitCode> failure = checkIndexes(context))
        return *failure;
    QString error;
    const auto unlisted = unlistedFiles(context.root, filesBelow(context.root.packageFolder()), error);
    if (!unlisted)
        return context.report.fail(ExitCode::FileOrNetwork, error);
    const QStringList old = oldPackages(*unlisted, context.root, time);
    error = deletePackages(old, context);
    if (!error.isEmpty())
        return context.report.fail(ExitCode::FileOrNetwork, error);
    return old.isEmpty() ? ExitCode::NothingToDo : ExitCode::Clean;
}

ExitCode run(Context &context)
{
    const std::optional<qint64> age = secondsOf(context.options.value(olderThan));
    if (!age)
        return context.report.fail(ExitCode::Usage, QStringLiteral("--older-than takes a time such as 36h or 14d."));
    RootLock lock(context.root.folder);
    const auto failure = context.isDryRun ? std::nullopt : takeOrReport(lock, context.report);
    if (failure)
        return *failure;
    return prune(QDateTime::currentDateTime().addSecs(-*age), context);
}

} // namespace

const Command pruneCommand = {"prune", "Delete old packages that no index lists", "", options, run};

} // namespace freshen::publish
