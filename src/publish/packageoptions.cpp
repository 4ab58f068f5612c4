#include "publish/packageoptions.h"

#include "publish/optionvalues.h"

namespace freshen::publish {

namespace {

const QString scratch = QStringLiteral("scratch");
/// Paths beyond have more characters than Windows knows.
constexpr NumberOption longestPath = {"longest-path", 1, 32767};

} // namespace

QList<QCommandLineOption> packageCheckOptions()
{
    return {
        {scratch, QStringLiteral("Where packages are unpacked for a while; the folder for temporary files by default."),
         QStringLiteral("DIR")},
        {QString::fromLatin1(longestPath.name),
         QStringLiteral("Length of the longest installation path to allow for; %1 by default.").arg(usualLongestPath),
         QStringLiteral("N")},
    };
}

bool readPackageCheckOptions(Context &context, PackageCheckOptions &options)
{
    std::optional<qint64> longest = options.longestPath;
    if (!readNumber(context, longestPath, longest))
        return false;
    options.scratchFolder = context.options.value(scratch);
    options.longestPath = static_cast<int>(*longest);
    return true;
}

} // namespace freshen::publish
