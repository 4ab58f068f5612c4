#pragma once

#include "versions/ownversion.h"
#include "versions/versionline.h"

#include <QString>

#include <functional>

/// The full reading of the version description file, on which the automatic choice rests: which versions are eligible
/// on this machine, and the newest revision of each kind.

/// The system that the updater runs on, as far as eligibility depends on it.
struct RunningSystem
{
    bool isWindows = false;
    int majorVersion = 0;
    int minorVersion = 0;
    /// The system's name as the platform reports it, for example "Windows".
    QString name;

    /// The system of this process.
    [[nodiscard]] static RunningSystem current();
};

/// The newest revisions of one reading. All start at the updater's own revision, so a value equal to it says that
/// nothing newer was seen.
struct VersionMaxima
{
    qint32 newestStable = ownRevision;
    qint32 newestBeta = ownRevision;
    qint32 latestStableFix = ownRevision;
    /// Newest of those refused only because of the running system's version.
    qint32 stableHeldBack = ownRevision;
    qint32 betaHeldBack = ownRevision;
    /// Tells the user which system the last refused line of the kind asks for; empty if none was refused.
    QString stableNotice;
    QString betaNotice;
};

/// What one reading gives.
struct VersionDescription
{
    VersionTable versions;
    VersionMaxima maxima;
};

/// Reads \a text, the version description file. Faulty and refused lines are logged and skipped; a line of unknown type
/// is logged and kept. \a testBuildsAllowed is asked anew for each test build.
[[nodiscard]] VersionDescription readVersionDescription(const QString &text, const RunningSystem &system,
                                                        const std::function<bool()> &testBuildsAllowed);
