#include "publish/command.h"
#include "publish/indexchange.h"
#include "publish/indexedit.h"
#include "publish/lineoptions.h"
#include "publish/packageoptions.h"

#include <QDate>
#include <QFileInfo>

namespace freshen::publish {

namespace {

const QString newIndex = QStringLiteral("new");
const QString extended = QStringLiteral("extended");

/// The revision is in the index already.
constexpr FindingKind alreadyListed{"already-listed", Severity::Error};

QList<QCommandLineOption> options()
{
    return lineOptions() + packageCheckOptions() +
           QList<QCommandLineOption>{
               {newIndex, QStringLiteral("Make the index, which is not there yet.")},
               {extended, QStringLiteral("Add the package under its extended name as well.")},
               forceOption(),
           };
}

/// The line of \a package, as the options complete it.
std::optional<VersionRow> rowFor(const NamedPackage &package, const QCommandLineParser &options, QString &error)
{
    VersionRow row = package.row;
    row[column::date] = QDate::currentDate().toString(Qt::ISODate);
    return rowWithOptions(row, options, error);
}

/// What is to be added.
struct Addition
{
    /// Path of the package.
    QString source;
    /// Its line, whose number is not known yet.
    IndexLine line;
    /// The names that the package gets.
    QList<PackageCopy> copies;
    PackageCheckOptions check;
};

/// \a source under the plain name, its own kind of name, and the extended one where that is asked for.
QList<PackageCopy> copiesOf(const QString &source, NameKind kind, const IndexLine &line, bool alsoExtended)
{
    const QMap<NameKind, QString> names = packageNames(line);
    QList<PackageCopy> copies;
    for (const NameKind name : names.keys()) {
        if (name == NameKind::Plain || name == kind || (alsoExtended && name == NameKind::Extended))
            copies.append({source, names.value(name)});
    }
    return copies;
}

/// Refuses \a addition, since \a present has its revision.
ExitCode refuse(const Addition &addition, const IndexLine &present, Context &context)
{
    if (present.text == addition.line.text)
        return context.report.fail(ExitCode::NothingToDo, QStringLiteral("The line is in the index already."));
    context.report.add({alreadyListed,
                        QStringLiteral("The index has a line with the revision %1.").arg(*present.revision),
                        context.root.relative(context.root.indexFile()), present.number});
    return context.report.verdict();
}

/// Checks \a addition and makes it.
ExitCode add(const Addition &addition, IndexChange &change, Context &context)
{
    const QList<IndexLine> present = linesWith(change.index(), *addition.line.revision);
    if (!present.isEmpty())
        return refuse(addition, present.last(), context);
    const PackageCheck check = checkPackage(addition.source, addition.check, context.report);
    if (!check.failure.isEmpty())
        return context.report.fail(ExitCode::FileOrNetwork, check.failure);
    const QByteArray bytes = withLine(change.index(), addition.line.text);
    change.check(bytes, bytes.count('\n'));
    if (!change.isAcceptable())
        return context.report.verdict();
    return change.finish(bytes, addition.copies);
}

/// Adds the file \a source, which is \a package.
ExitCode addPackage(const QString &source, const NamedPackage &package, Context &context)
{
    QString error;
    const std::optional<VersionRow> row = rowFor(package, context.options, error);
    if (!row)
        return context.report.fail(ExitCode::Usage, error);
    const IndexLine line = {0, lineOf(*row), *row, package.revision};
    const bool alsoExtended = context.options.isSet(extended);
    Addition addition = {source, line, copiesOf(source, package.kind, line, alsoExtended), {}};
    addition.check.revision = package.revision;
    if (!readPackageCheckOptions(context, addition.check))
        return ExitCode::Usage;
    IndexChange change(context);
    const bool isNew = context.options.isSet(newIndex);
    if (const std::optional<ExitCode> failure = isNew ? change.beginNew() : change.begin())
        return *failure;
    return add(addition, change, context);
}

ExitCode run(Context &context)
{
    const QString source = context.arguments.first();
    const QFileInfo file(source);
    if (!file.isFile())
        return context.report.fail(ExitCode::FileOrNetwork, QStringLiteral("%1: There is no such file.").arg(source));
    const std::optional<NamedPackage> package = packageOfName(file.fileName());
    if (!package) {
        return context.report.fail(
            ExitCode::Usage,
            QStringLiteral("%1: Package names look like Tavlopc26.05.7200STABLE.zip.").arg(file.fileName()));
    }
    return addPackage(source, *package, context);
}

} // namespace

const Command addCommand = {"add", "Add a package and its line to the index", "ZIP", options, run};

} // namespace freshen::publish
