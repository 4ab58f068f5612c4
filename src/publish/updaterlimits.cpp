#include "publish/updaterlimits.h"

#include "publish/linecheck.h"

#include <QMultiMap>

#include <algorithm>

namespace freshen::publish {

namespace {

qint32 limitOf(const IndexLine &line)
{
    return line.row.size() < updaterColumns ? 0 : toNumber(line.row.at(column::minimumUpdater));
}

/// The newest updater that users of \a updater come to, one update of \a index after the other.
qint32 newestUpdater(const Index &index, qint32 updater)
{
    QMultiMap<qint32, qint32> revisionsByLimit;
    for (const IndexLine &line : index.lines) {
        if (line.revision)
            revisionsByLimit.insert(limitOf(line), *line.revision);
    }
    for (auto step = revisionsByLimit.cbegin(); step != revisionsByLimit.cend() && step.key() <= updater; ++step)
        updater = std::max(updater, step.value());
    return updater;
}

} // namespace

QList<Finding> checkUpdaterLimits(const Index &index, const QString &file, qint32 updater)
{
    const qint32 newest = newestUpdater(index, updater);
    QList<Finding> findings;
    for (const IndexLine &line : index.lines) {
        const qint32 limit = limitOf(line);
        if (line.revision && limit > newest)
            findings.append(
                {limit < *line.revision ? limitWithoutStep : limitMetByNobody,
                 QStringLiteral("The other lines lead to no updater with the revision %1 or a later one.").arg(limit),
                 file, line.number, column::minimumUpdater + 1});
    }
    return findings;
}

} // namespace freshen::publish
