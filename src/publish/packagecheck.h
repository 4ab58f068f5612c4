#pragma once

/// \file
/// Checks a package: by what its directory says, and by unpacking it with the updater's own code.

#include "publish/entryrules.h"
#include "publish/finding.h"

#include <QString>

#include <optional>

namespace freshen::publish {

class Report;

///@{
/// What the id says.
inline constexpr FindingKind packageNotUnpacked{"package-not-unpacked", Severity::Error};
inline constexpr FindingKind oldUpdater{"old-updater", Severity::Error};
inline constexpr FindingKind unknownUpdater{"unknown-updater", Severity::Warning};
inline constexpr FindingKind packageBeyond2Gib{"package-beyond-2-gib", Severity::Warning};
inline constexpr FindingKind packageBeyond4Gib{"package-beyond-4-gib", Severity::Warning};
///@}

/// How a package is checked.
struct PackageCheckOptions
{
    /// The package as findings show it; empty: its file name.
    QString shownName;
    /// Where the package is unpacked for a while; empty: the system's folder for temporary files.
    QString scratchFolder;
    /// The length of the longest installation path that is allowed for.
    int longestPath = usualLongestPath;
    /// The revision of the line that offers the package, if known.
    std::optional<qint32> revision = {};
};

/// What became of a check.
struct [[nodiscard]] PackageCheck
{
    /// Why it could not be made: the package cannot be read, or there is no room to unpack it. Empty where it was made.
    QString failure;
    /// The revision of the updater in the package, if it holds one that tells.
    std::optional<qint32> updaterRevision = {};
};

/// Checks the package at \a path and tells \a report what is wrong with it.
PackageCheck checkPackage(const QString &path, const PackageCheckOptions &options, Report &report);

/// What \a bytes, the size of the package that is shown as \a package, makes of its download.
[[nodiscard]] QList<Finding> checkSize(qint64 bytes, const QString &package);

} // namespace freshen::publish
