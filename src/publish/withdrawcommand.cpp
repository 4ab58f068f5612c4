#include "publish/command.h"
#include "publish/indexchange.h"
#include "publish/indexedit.h"
#include "publish/packagefiles.h"
#include "publish/revisionargument.h"

namespace freshen::publish {

namespace {

QList<QCommandLineOption> options()
{
    return {};
}

ExitCode run(Context &context)
{
    IndexChange change(context);
    if (const std::optional<ExitCode> failure = change.begin())
        return *failure;
    const QList<IndexLine> lines = linesOfArgument(change, context);
    if (lines.isEmpty())
        return ExitCode::NothingToDo;
    QList<int> numbers;
    for (const IndexLine &line : lines)
        numbers.append(line.number);
    const QByteArray bytes = withoutLines(change.index(), numbers);
    const ExitCode code = change.finish(bytes);
    if (code != ExitCode::Clean)
        return code;
    if (!context.isDryRun)
        restartAge(context.root, unlistedPackages(lines, parseIndex(bytes)));
    context.report.say(QStringLiteral("Whoever has installed the version keeps it: an updater installs only what is "
                                      "newer. Publish a newer version to replace it. The package stays, for those who "
                                      "have read the index before."));
    return code;
}

} // namespace

const Command withdrawCommand = {"withdraw", "Remove the line of a version; its package stays", "REVISION", options,
                                 run};

} // namespace freshen::publish
