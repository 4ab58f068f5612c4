#include "publish/command.h"
#include "publish/indexchange.h"
#include "publish/indexedit.h"

namespace freshen::publish {

namespace {

/// Nobody who has the version gets rid of it.
constexpr FindingKind installedStays{"installed-stays", Severity::Note};

QList<QCommandLineOption> options()
{
    return {};
}

ExitCode run(Context &context)
{
    IndexChange change(context);
    QList<IndexLine> lines;
    if (const std::optional<ExitCode> failure = change.beginWith(lines))
        return *failure;
    QList<int> numbers;
    for (const IndexLine &line : lines)
        numbers.append(line.number);
    const QByteArray bytes = withoutLines(change.index(), numbers);
    // Whatever is wrong with what stays, nobody shall be offered the version any more.
    change.check(bytes, 0);
    context.report.add({installedStays,
                        QStringLiteral("Whoever has installed the version keeps it: an updater installs only what is "
                                       "newer. Publish a newer version to replace it. The package stays, for those "
                                       "who have read the index before."),
                        context.root.relative(context.root.indexFile()), lines.first().number});
    return change.finish(bytes);
}

} // namespace

const Command withdrawCommand = {"withdraw", "Remove the line of a version; its package stays", "REVISION", options,
                                 run};

} // namespace freshen::publish
