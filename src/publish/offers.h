#pragma once

/// \file
/// What an index offers to whom. The updater's own code reads it and chooses.

#include "publish/audience.h"
#include "publish/finding.h"
#include "versions/versiondescription.h"

#include <QList>
#include <QStringList>

#include <functional>
#include <optional>

namespace freshen::publish {

/// Somebody gets the same version again and again.
inline constexpr FindingKind offeredForEver{"offered-for-ever", Severity::Error};

/// The automatic reading of \a text by the updater of \a audience.
[[nodiscard]] VersionDescription readFor(const QString &text, const Audience &audience);

/// What one reading of an index offers.
struct Offer
{
    /// What the automatic mode installs: a line of the index, or nothing, so that it fails.
    VersionRow chosen;
    /// The key of that line; without one, the updater's own revision.
    qint32 revision = 0;
    /// The version is newer than the updater.
    bool isNewer = false;
    /// What the manual mode lists, from the top down, by the columns of the list.
    QList<QStringList> list;
};

/// What \a text, the text of an index, offers to \a audience.
[[nodiscard]] Offer offerFor(const QString &text, const Audience &audience);

/// Gives the revision of the updater within the package of a line, which comes with the key of the line. None where the
/// package has no updater.
using PackagedUpdater = std::function<std::optional<qint32>(const VersionRow &row, qint32 revision)>;

/// One automatic update after the other.
struct UpdatePath
{
    /// The lines in the order of their installation, by their keys.
    QList<qint32> revisions;
    /// The last one leads to an updater that was there before, so that all goes on for ever.
    bool isEndless = false;
};

/// The automatic updates of \a audience, until nothing newer comes or no updater is left.
[[nodiscard]] UpdatePath followUpdates(const QString &text, Audience audience, const PackagedUpdater &packagedUpdater);

} // namespace freshen::publish
