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

/// The newest revisions of one reading. All start at the updater's revision, so a value equal to it says that nothing
/// newer was seen.
struct NewestRevisions
{
    /// The revision of the updater that reads.
    qint32 updater = ownRevision;
    ///@{
    /// Newest of the versions that may be installed, by kind.
    qint32 newestStable = updater;
    qint32 newestBeta = updater;
    qint32 latestStableFix = updater;
    ///@}
    ///@{
    /// Newest of those refused only because of the running system's version.
    qint32 newestUnsupportedStable = updater;
    qint32 newestUnsupportedBeta = updater;
    ///@}
    ///@{
    /// Tells the user which system the last refused line of the kind asks for; empty if none was refused.
    QString stableNotice = {};
    QString betaNotice = {};
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
/// is logged and kept. \a testBuildsAllowed is asked anew for each test build. The file is read as the updater with the
/// revision \a updater does.
[[nodiscard]] VersionDescription readVersionDescription(const QString &text, const RunningSystem &system,
                                                        const std::function<bool()> &testBuildsAllowed,
                                                        qint32 updater = ownRevision);

} // namespace freshen
