#include "publish/command.h"
#include "publish/optionvalues.h"
#include "publish/packagecheck.h"
#include "publish/packageoptions.h"

#include <limits>

namespace freshen::publish {

namespace {

constexpr NumberOption revisionOption = {"revision", 0, std::numeric_limits<qint32>::max()};

QList<QCommandLineOption> options()
{
    return packageCheckOptions() +
           QList<QCommandLineOption>{{QString::fromLatin1(revisionOption.name),
                                      QStringLiteral("The revision of the line that is to offer the package."),
                                      QStringLiteral("R")}};
}

ExitCode run(Context &context)
{
    PackageCheckOptions check;
    std::optional<qint64> revision;
    if (!readPackageCheckOptions(context, check) || !readNumber(context, revisionOption, revision))
        return ExitCode::Usage;
    if (revision)
        check.revision = static_cast<qint32>(*revision);
    const PackageCheck result = checkPackage(context.arguments.first(), check, context.report);
    if (!result.failure.isEmpty())
        return context.report.fail(ExitCode::FileOrNetwork, result.failure);
    if (result.updaterRevision)
        context.report.set(QStringLiteral("updater"), *result.updaterRevision);
    return context.report.verdict();
}

} // namespace

const Command checkPackageCommand = {"check-package", "Check a package as the updater unpacks it", "ZIP", options, run};

} // namespace freshen::publish
