#include "publish/offers.h"

#include "download/versionlist.h"
#include "versions/automaticchoice.h"

#include <QSet>

#include <algorithm>

namespace freshen::publish {

namespace {

/// The list as the window sorts it: by the texts of the revisions, descending.
QList<QStringList> shownList(const VersionTable &versions, bool showBeta)
{
    QList<QStringList> rows = listRows(versions, showBeta);
    std::sort(rows.begin(), rows.end(), [](const QStringList &one, const QStringList &other) {
        return one.at(listcolumn::revision) > other.at(listcolumn::revision);
    });
    return rows;
}

/// What the automatic mode chooses of \a text.
Offer choiceFor(const QString &text, const Audience &audience)
{
    const VersionDescription description = readFor(text, audience);
    Offer offer;
    offer.revision = candidates(description.maxima).choose(audience.takesBetas);
    offer.chosen = description.versions.value(offer.revision);
    offer.isNewer = offer.revision > audience.updater;
    return offer;
}

} // namespace

VersionDescription readFor(const QString &text, const Audience &audience)
{
    return readVersionDescription(
        text, audience.system, [&audience] { return audience.allowsTestBuilds; }, audience.updater);
}

Offer offerFor(const QString &text, const Audience &audience)
{
    Offer offer = choiceFor(text, audience);
    offer.list = shownList(readVersionList(text, audience.updater), audience.takesBetas);
    return offer;
}

UpdatePath followUpdates(const QString &text, Audience audience, const PackagedUpdater &packagedUpdater)
{
    UpdatePath path;
    QSet<qint32> updaters;
    while (!updaters.contains(audience.updater)) {
        const Offer offer = choiceFor(text, audience);
        if (!offer.isNewer)
            return path;
        path.revisions.append(offer.revision);
        updaters.insert(audience.updater);
        const std::optional<qint32> next = packagedUpdater(offer.chosen, offer.revision);
        if (!next)
            return path;
        audience.updater = *next;
    }
    path.isEndless = true;
    return path;
}

} // namespace freshen::publish
