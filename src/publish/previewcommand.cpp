#include "publish/audienceoptions.h"
#include "publish/command.h"
#include "publish/expectations.h"
#include "publish/failure.h"
#include "publish/index.h"
#include "publish/packagedupdater.h"
#include "publish/preview.h"

#include <QFile>

namespace freshen::publish {

namespace {

const QString against = QStringLiteral("against");
const QString expect = QStringLiteral("expect");

QList<QCommandLineOption> options()
{
    return audienceOptions() +
           QList<QCommandLineOption>{
               {against, QStringLiteral("Show only what differs from the index OLD."), QStringLiteral("OLD")},
               {expect, QStringLiteral("Compare with FILE, which has lines as this command writes."),
                QStringLiteral("FILE")},
           };
}

/// Shows what is in store, or what differs from another index. Returns why it cannot, or an empty text.
QString show(const QList<Preview> &previews, const QList<Audience> &audiences, const PackagedUpdater &packagedUpdater,
             Context &context)
{
    if (!context.options.isSet(against)) {
        showPreviews(previews, context.report);
        return {};
    }
    QString error;
    const std::optional<Index> old = readIndex(context.options.value(against), error);
    if (old)
        showChanges(previewsFor(old->text, audiences, packagedUpdater), previews, context.report);
    return error;
}

/// Takes up which expectations are not met.
ExitCode compare(const Index &index, const PackagedUpdater &packagedUpdater, Context &context)
{
    const QString name = context.options.value(expect);
    QFile file(name);
    if (!file.open(QIODevice::ReadOnly))
        return context.report.fail(ExitCode::FileOrNetwork, failureOf(file));
    QString error;
    const auto findings = checkExpectations(index.text, file.readAll(), name, packagedUpdater, error);
    if (!findings)
        return context.report.fail(ExitCode::Usage, error);
    context.report.add(*findings);
    return context.report.verdict();
}

ExitCode run(Context &context)
{
    // The results are what --expect reads.
    context.report.separateFindings();
    QString error;
    const std::optional<QList<Audience>> audiences = readAudiences(context.options, error);
    if (!audiences)
        return context.report.fail(ExitCode::Usage, error);
    const std::optional<Index> index = readIndex(context.root.indexFile(), error);
    if (!index)
        return context.report.fail(ExitCode::FileOrNetwork, error);
    const PackagedUpdater packagedUpdater = updaterInPackage(context.root);
    const QList<Preview> previews = previewsFor(index->text, *audiences, packagedUpdater);
    error = show(previews, *audiences, packagedUpdater, context);
    if (!error.isEmpty())
        return context.report.fail(ExitCode::FileOrNetwork, error);
    context.report.add(checkPreviews(previews, context.root.relative(context.root.indexFile())));
    return context.options.isSet(expect) ? compare(*index, packagedUpdater, context) : context.report.verdict();
}

} // namespace

const Command previewCommand = {"preview", "Show who would be offered what", "", options, run};

} // namespace freshen::publish
