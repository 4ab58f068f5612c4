#include "publish/updaterlimits.h"

#include "publish/linecheck.h"

#include <algorithm>

namespace freshen::publish {

QList<Finding> checkUpdaterLimits(const Index &index, const QString &file, qint32 updater)
{
    QList<qint32> updaters = {updater};
    for (const IndexLine &line : index.lines)
        updaters.append(line.revision.value_or(updater));
    std::sort(updaters.rbegin(), updaters.rend());
    QList<Finding> findings;
    for (const IndexLine &line : index.lines) {
        if (!line.revision || line.row.size() < updaterColumns)
            continue;
        // What the line itself brings does not help anybody to get it.
        const qint32 newest = updaters.at(updaters.first() == *line.revision ? 1 : 0);
        const qint32 limit = toNumber(line.row.at(column::minimumUpdater));
        if (limit > newest)
            findings.append(
                {limit < *line.revision ? limitWithoutStep : limitMetByNobody,
                 QStringLiteral("No other line brings an updater with the revision %1 or a later one.").arg(limit),
                 file, line.number, column::minimumUpdater + 1});
    }
    return findings;
}

} // namespace freshen::publish
