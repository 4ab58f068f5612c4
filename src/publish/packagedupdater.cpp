#include "publish/packagedupdater.h"

#include "download/packagename.h"
#include "publish/messagelog.h"
#include "publish/packagelayout.h"
#include "publish/peversion.h"

#include <QHash>

#include <memory>

namespace freshen::publish {

namespace {

/// No updater is larger.
constexpr qint64 largestUpdater = 1 << 28;

/// The revision of the updater in \a package, whose line has \a revision; none where there is no updater.
std::optional<qint32> lookInto(const QString &package, qint32 revision)
{
    const QList<PackageEntry> entries = readEntries(package);
    if (entries.isEmpty())
        return revision;
    const PackageEntry *const updater = findUpdater(entries);
    if (updater == nullptr)
        return std::nullopt;
    return revisionOfUpdater(package, *updater).value_or(revision);
}

} // namespace

std::optional<qint32> revisionOfUpdater(const QString &package, const PackageEntry &updater)
{
    const QString version = peFileVersion(readEntry(package, updater, largestUpdater));
    const MessageLog log;
    return version.isEmpty() ? std::nullopt : readRevision({version});
}

PackagedUpdater updaterInPackage(const DocumentRoot &root)
{
    const auto known = std::make_shared<QHash<QString, std::optional<qint32>>>();
    return [root, known](const VersionRow &row, qint32 revision) {
        const QString package = root.packageFile(serverPackageName(row, revision, {}));
        if (!known->contains(package))
            known->insert(package, lookInto(package, revision));
        return known->value(package);
    };
}

} // namespace freshen::publish
