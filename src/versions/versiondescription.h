#pragma once

/// \file
/// The full reading of the version description file, on which the automatic choice rests: which versions are eligible
/// on this machine, and the newest revision of each kind.

#include "versions/ownversion.h"
#include "versions/runningsystem.h"
#include "versions/versionline.h"

#include <QString>

#include <functional>

namespace freshen {

/// The newest revisions of one reading. All start at the updater's own revision, so a value equal to it says that
/// nothing newer was seen.
struct NewestRevisions
{
    ///@{
    /// Newest of the versions that may be installed, by kind.
    qint32 newestStable = ownRevision;
    qint32 newestBeta = ownRevision;
    qint32 latestStableFix = ownRevision;
    ///@}
    ///@{
    /// Newest of those refused only because of the running system's version.
    qint32 newestUnsupportedStable = ownRevision;
    qint32 newestUnsupportedBeta = ownRevision;
    ///@}
    ///@{
    /// Tells the user which system the last refused line of the kind asks for; empty if none was refused.
    QString stableNotice;
    QString betaNotice;
    ///@}
};

/// What one reading gives.
struct VersionDescription
{
    /// The lines that may be installed, those of unknown type included.
    VersionTable versions;
    /// What the automatic choice goes by.
    NewestRevisions maxima;
};

/// Reads \a text, the version description file. Faulty and refused lines are logged and skipped; a line of unknown type
/// is logged and kept. \a testBuildsAllowed is asked anew for each test build.
[[nodiscard]] VersionDescription readVersionDescription(const QString &text, const RunningSystem &system,
                                                        const std::function<bool()> &testBuildsAllowed);

} // namespace freshen
