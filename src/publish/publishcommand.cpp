#include "publish/command.h"
#include "publish/externalcommand.h"
#include "publish/index.h"
#include "publish/indexchange.h"
#include "publish/packagefiles.h"
#include "publish/progressbar.h"
#include "publish/rootcheck.h"
#include "publish/rootlock.h"
#include "publish/upload.h"
#include "publish/wholefile.h"

#include <QFileInfo>
#include <QJsonArray>

namespace freshen::publish {

namespace {

const QString printOrder = QStringLiteral("print-order");
const QString after = QStringLiteral("after");

QList<QCommandLineOption> options()
{
    return rootCheckOptions() +
           QList<QCommandLineOption>{
               forceOption(),
               {printOrder, QStringLiteral("Copy nothing; print the files in the order in which another tool has to "
                                           "upload them. Without DEST these are all files.")},
               {after, QStringLiteral("Run a command in DEST when something was copied, for example to tell a cache."),
                QStringLiteral("COMMAND")},
           };
}

/// Whether nothing is to be written.
bool isForReading(const Context &context)
{
    return context.isDryRun || context.options.isSet(printOrder);
}

/// Adds the files \a paths to the report.
void list(const QStringList &paths, Report &report)
{
    for (const QString &path : paths)
        report.print(path);
    report.set(QStringLiteral("files"), QJsonArray::fromStringList(paths));
}

QStringList pathsOf(const QList<Upload> &uploads)
{
    QStringList paths;
    for (const Upload &upload : uploads)
        paths.append(upload.path);
    return paths;
}

/// What \a target has not, or has with other bytes.
QList<Upload> compare(const Context &context, const DocumentRoot &target, const Index &index)
{
    qint64 size = 0;
    for (const QString &path : uploadOrder(context.root, index))
        size += QFileInfo(context.root.folder + QLatin1Char('/') + path).size();
    ProgressBar bar(QStringLiteral("Comparing"), size, !context.report.isQuiet());
    return missingUploads(context.root, index, target, [&bar](qint64 done) { bar.set(done); });
}

/// Warns of packages that caches may still have with other bytes.
void warnOfReplacements(const QList<Upload> &uploads, const QString &indexPath, Report &report)
{
    for (const Upload &upload : uploads) {
        if (upload.replaces && upload.path != indexPath)
            report.add({publishedOtherBytes,
                        QStringLiteral("Other bytes were published under this name: caches may keep them."),
                        upload.path});
    }
}

/// Copies one file to \a target; the index is \a index as it was read and checked. Returns why it failed.
QString copy(const Context &context, const QString &path, const DocumentRoot &target, const Index &index)
{
    const QString there = target.folder + QLatin1Char('/') + path;
    if (there == target.indexFile()) {
        QString error;
        restartAges(target, readIndex(there, error).value_or(Index()), index);
        return writeWholeFile(there, index.bytes);
    }
    const QString here = context.root.folder + QLatin1Char('/') + path;
    ProgressBar bar(path, QFileInfo(here).size(), !context.report.isQuiet());
    return copyWholeFile(here, there, [&bar](qint64 done) { bar.set(done); });
}

/// Copies what \a target has not, and runs the user's command.
ExitCode copyAll(Context &context, const QStringList &paths, const DocumentRoot &target, const Index &index)
{
    for (const QString &path : paths) {
        const QString failure = copy(context, path, target, index);
        if (!failure.isEmpty())
            return context.report.fail(ExitCode::FileOrNetwork, failure);
    }
    if (!context.options.isSet(after))
        return context.report.verdict();
    const QString failure = runExternalCommand(context.options.value(after), target.folder);
    return failure.isEmpty() ? context.report.verdict() : context.report.fail(ExitCode::FileOrNetwork, failure);
}

/// Whether findings, which \a code tells of, do not matter.
bool isForced(ExitCode code, const Context &context)
{
    return code == ExitCode::Findings && context.options.isSet(forceOption().names().first());
}

/// Does what the options say with a target that is there and nobody else's.
ExitCode publishTo(Context &context, const DocumentRoot &target, const Index &index)
{
    const QList<Upload> uploads = compare(context, target, index);
    warnOfReplacements(uploads, target.relative(target.indexFile()), context.report);
    if (const ExitCode code = context.report.verdict(); code != ExitCode::Clean && !isForced(code, context))
        return code;
    const QStringList paths = pathsOf(uploads);
    list(paths, context.report);
    if (uploads.isEmpty())
        return context.report.fail(ExitCode::NothingToDo, QStringLiteral("Everything is there already."));
    return isForReading(context) ? context.report.verdict() : copyAll(context, paths, target, index);
}

/// Checks \a index, and publishes it to \a folder if one is given.
ExitCode publish(Context &context, const Index &index, const QString &folder)
{
    const DocumentRoot target{folder.isEmpty() ? context.root.folder : folder, context.root.versionFolder};
    // The packages may be at the target alone.
    if (!looksAtPackages(context))
        context.report.add(checkUploads(context.root, index, target));
    if (const ExitCode code = checkRoot(index, context); code != ExitCode::Clean && !isForced(code, context))
        return code;
    if (folder.isEmpty()) {
        list(uploadOrder(context.root, index), context.report);
        return context.report.verdict();
    }
    RootLock lock(target.folder);
    if (!isForReading(context)) {
        if (const std::optional<ExitCode> failure = takeOrReport(lock, context.report))
            return *failure;
    }
    return publishTo(context, target, index);
}

ExitCode run(Context &context)
{
    Report &report = context.report;
    const bool printsOrder = context.options.isSet(printOrder);
    if (printsOrder)
        report.separateFindings();
    QString folder;
    if (!context.arguments.isEmpty())
        folder = QDir::cleanPath(QDir(context.arguments.first()).absolutePath());
    else if (!printsOrder)
        return report.fail(ExitCode::Usage, QStringLiteral("DEST is missing."));
    // Made here it would be below the place where another disk should be.
    if (!folder.isEmpty() && !QFileInfo(folder).isDir())
        return report.fail(ExitCode::FileOrNetwork,
                           QStringLiteral("There is no folder %1.").arg(QDir::toNativeSeparators(folder)));
    QString error;
    const std::optional<Index> index = readIndex(context.root.indexFile(), error);
    return index ? publish(context, *index, folder) : report.fail(ExitCode::FileOrNetwork, error);
}

} // namespace

const Command publishCommand = {"publish", "Copy packages and index to another folder", "[DEST]", options, run};

} // namespace freshen::publish
