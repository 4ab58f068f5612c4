#include "publish/command.h"
#include "publish/indexchange.h"
#include "publish/indexedit.h"
#include "publish/lineoptions.h"

#include <QFileInfo>

namespace freshen::publish {

namespace {

const QString to = QStringLiteral("to");

/// More than one line has the revision, so that it is not clear which is meant.
constexpr FindingKind ambiguousRevision{"ambiguous-revision", Severity::Error};

QList<QCommandLineOption> options()
{
    return lineOptions() + QList<QCommandLineOption>{
                               {to, QStringLiteral("The new type."), QStringLiteral("Stable|Beta|Test")},
                               forceOption(),
                           };
}

/// The packages of \a line under the names of \a promoted, as far as they are there.
QList<PackageCopy> copiesFor(const IndexLine &line, const IndexLine &promoted, const DocumentRoot &root)
{
    const QMap<NameKind, QString> old = packageNames(line);
    const QMap<NameKind, QString> now = packageNames(promoted);
    QList<PackageCopy> copies;
    for (const NameKind kind : old.keys()) {
        const QString source = root.packageFile(old.value(kind));
        if (QFileInfo::exists(source))
            copies.append({source, now.value(kind)});
    }
    return copies;
}

/// Puts \a promoted in the place of \a line.
ExitCode replaceLine(const IndexLine &line, const IndexLine &promoted, IndexChange &change, Context &context)
{
    if (promoted.text == line.text)
        return context.report.fail(ExitCode::NothingToDo, QStringLiteral("The line says so already."));
    const QString package = packageNames(line).value(NameKind::Plain);
    if (!QFileInfo::exists(context.root.packageFile(package)))
        return context.report.fail(ExitCode::FileOrNetwork, QStringLiteral("There is no %1.").arg(package));
    const QByteArray bytes = withReplacedLine(change.index(), line.number, promoted.text);
    change.check(bytes, line.number);
    if (!change.isAcceptable())
        return context.report.verdict();
    return change.finish(bytes, copiesFor(line, promoted, context.root));
}

ExitCode promote(const QList<IndexLine> &lines, IndexChange &change, Context &context)
{
    if (lines.size() > 1) {
        context.report.add({ambiguousRevision, QStringLiteral("%1 lines have the revision.").arg(lines.size()),
                            context.root.relative(context.root.indexFile()), lines.last().number});
        return context.report.verdict();
    }
    const IndexLine &line = lines.first();
    VersionRow row = line.row;
    // Columns may follow that one.
    row.last().remove(QLatin1Char('\r'));
    row[column::type] = context.options.value(to);
    QString error;
    const std::optional<VersionRow> promoted = rowWithOptions(row, context.options, error);
    if (!promoted)
        return context.report.fail(ExitCode::Usage, error);
    return replaceLine(line, {line.number, lineOf(*promoted), *promoted, line.revision}, change, context);
}

ExitCode run(Context &context)
{
    if (!isReleaseType(context.options.value(to)))
        return context.report.fail(ExitCode::Usage, QStringLiteral("--to is one of Stable, Beta, Test."));
    IndexChange change(context);
    QList<IndexLine> lines;
    if (const std::optional<ExitCode> failure = change.beginWith(lines))
        return *failure;
    return promote(lines, change, context);
}

} // namespace

const Command promoteCommand = {"promote", "Publish the bytes of a version under another type", "REVISION", options,
                                run};

} // namespace freshen::publish
