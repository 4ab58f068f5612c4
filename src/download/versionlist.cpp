#include "download/versionlist.h"

#include <QDebug>

#include <algorithm>

namespace freshen {

namespace {

/// Logs what there is to say of the type of \a row: that it is unknown, or the highest stable fix seen so far. The row
/// is listed in any case.
void logType(const VersionRow &row, qint32 revision, qint32 &latestStableFix)
{
    const QString &type = row.at(column::type);
    if (type != stableType && type != betaType) {
        warnAboutType(type);
        return;
    }
    const int reference = toNumber(row.at(column::reference));
    if (type == stableType && row.size() == updaterColumns && reference != 0) {
        latestStableFix = std::max(latestStableFix, revision);
        qDebug() << "latestStableFix" << reference << latestStableFix;
    }
}

} // namespace

VersionTable readVersionList(const QString &text, qint32 updater)
{
    VersionTable versions;
    qint32 latestStableFix = updater;
    for (const QString &line : splitLines(text)) {
        const VersionRow row = splitColumns(line);
        if (row.size() != plainColumns && row.size() != updaterColumns) {
            warnAboutCount(row);
            continue;
        }
        const std::optional<qint32> revision = readRevision(row);
        if (!revision)
            continue;
        if (row.size() == updaterColumns && !allowsUpdater(row, *revision, updater))
            continue;
        versions.insert(*revision, row);
        logType(row, *revision, latestStableFix);
    }
    return versions;
}

QList<QStringList> listRows(const VersionTable &versions, bool showBeta)
{
    QList<QStringList> rows;
    rows.reserve(versions.size());
    int updateNumber = 0;
    for (auto it = versions.constBegin(); it != versions.constEnd(); ++it) {
        const VersionRow &row = it.value();
        if (!showBeta && row.at(column::type) == betaType)
            continue;
        const QString &reference = row.at(column::reference);
        const QString type =
            reference.isEmpty() ? row.at(column::type) : QLatin1String("Update ") + QString::number(++updateNumber);
        rows.append({QString::number(it.key()), row.at(column::version), type, reference, row.at(column::date),
                     row.at(column::info)});
    }
    return rows;
}

} // namespace freshen
