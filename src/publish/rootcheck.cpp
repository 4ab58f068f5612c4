#include "publish/rootcheck.h"

#include "publish/indexcheck.h"
#include "publish/packagefiles.h"
#include "publish/packageoptions.h"
#include "versions/ownversion.h"

#include <QFileInfo>
#include <QSet>

namespace freshen::publish {

namespace {

const QString indexOnly = QStringLiteral("index-only");

/// Unpacks each package of \a index that is there. Returns why it cannot, or an empty text.
QString unpackPackages(const Index &index, const DocumentRoot &root, PackageCheckOptions options, Report &report)
{
    QSet<QString> done;
    for (const IndexLine &line : index.lines) {
        options.revision = line.revision;
        for (const QString &name : packageNames(line)) {
            const QString path = root.packageFile(name);
            if (!QFileInfo(path).isFile() || done.contains(path))
                continue;
            done.insert(path);
            options.shownName = root.relative(path);
            if (const PackageCheck check = checkPackage(path, options, report); !check.failure.isEmpty())
                return check.failure;
        }
    }
    return {};
}

/// Looks for each package, and for files that no index lists. Returns why it cannot, or an empty text.
QString checkPackages(const Index &index, const DocumentRoot &root, const PackageCheckOptions &options, Report &report)
{
    const QStringList files = filesBelow(root.packageFolder());
    report.add(checkPackageFiles(index, root, files));
    QString error;
    const std::optional<QStringList> unlisted = unlistedFiles(root, files, error);
    for (const QString &name : unlisted.value_or(QStringList()))
        report.add({unlistedFile, QStringLiteral("No index lists the file."), root.relative(root.packageFile(name))});
    return unlisted ? unpackPackages(index, root, options, report) : error;
}

} // namespace

QList<QCommandLineOption> rootCheckOptions()
{
    return packageCheckOptions() +
           QList<QCommandLineOption>{{indexOnly, QStringLiteral("Do not look for the packages.")}};
}

bool looksAtPackages(const Context &context)
{
    return !context.options.isSet(indexOnly);
}

ExitCode checkRoot(const Index &index, Context &context)
{
    PackageCheckOptions packageOptions;
    if (!readPackageCheckOptions(context, packageOptions))
        return ExitCode::Usage;
    const DocumentRoot &root = context.root;
    context.report.add(checkIndex(index, root.relative(root.indexFile()), {ownRevision, newestWindows()}));
    const QString error =
        looksAtPackages(context) ? checkPackages(index, root, packageOptions, context.report) : QString();
    return error.isEmpty() ? context.report.verdict() : context.report.fail(ExitCode::FileOrNetwork, error);
}

} // namespace freshen::publish
