#include "publish/packagedupdater.h"

#include "download/packagename.h"
#include "publish/messagelog.h"
#include "publish/packageentry.h"
#include "publish/packagelayout.h"
#include "publish/peversion.h"

#include <QBuffer>
#include <QHash>

#include <memory>

namespace freshen::publish {

namespace {

/// No updater is larger.
constexpr qint64 largestUpdater = 1 << 26;

std::optional<qint32> lookInto(const QString &package)
{
    const QList<PackageEntry> entries = readEntries(package);
    const PackageEntry *const updater = findUpdater(entries);
    if (updater == nullptr)
        return std::nullopt;
    QBuffer program;
    program.setData(readEntry(package, *updater, largestUpdater));
    return program.open(QIODevice::ReadOnly) ? revisionOfUpdater(program) : std::nullopt;
}

} // namespace

std::optional<qint32> revisionOfUpdater(QIODevice &program)
{
    const QString version = peFileVersion(program);
    const MessageLog log;
    return version.isEmpty() ? std::nullopt : readRevision({version});
}

PackagedUpdater updaterInPackage(const DocumentRoot &root)
{
    const auto known = std::make_shared<QHash<QString, std::optional<qint32>>>();
    return [root, known](const VersionRow &row, qint32 revision) {
        const QString package = root.packageFile(serverPackageName(row, revision, {}));
        if (!known->contains(package))
            known->insert(package, lookInto(package));
        return known->value(package).value_or(revision);
    };
}

} // namespace freshen::publish
