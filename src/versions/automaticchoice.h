#pragma once

/// \file
/// The choice that the automatic mode makes for the user.

#include "versions/versiondescription.h"

namespace freshen {

/// The newest revisions to choose from.
struct Candidates
{
    /// Taken by a user of beta versions.
    qint32 withBeta = 0;
    /// Taken by everybody else. As soon as there is a stable fix it is the newest fix, even where a plain stable
    /// version has a higher revision.
    qint32 stable = 0;

    /// The revision for a user who, with \a useBeta, takes beta versions.
    [[nodiscard]] qint32 choose(bool useBeta) const
    {
        return useBeta ? withBeta : stable;
    }
};

/// What \a maxima leave to choose from. A candidate equal to the updater's revision says that nothing newer is there.
[[nodiscard]] Candidates candidates(const NewestRevisions &maxima);

} // namespace freshen
