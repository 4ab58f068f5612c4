#pragma once

/// \file
/// What is wrong with the entries of a package together: what lies at its top, and names that Windows takes for the
/// same.

#include "publish/finding.h"
#include "publish/packageentry.h"

namespace freshen::publish {

///@{
/// What the id says.
inline constexpr FindingKind collidingNames{"colliding-names", Severity::Error};
inline constexpr FindingKind duplicateEntry{"duplicate-entry", Severity::Warning};
inline constexpr FindingKind noPermissions{"no-permissions", Severity::Note};
inline constexpr FindingKind topFolder{"top-folder", Severity::Error};
inline constexpr FindingKind topFolderName{"top-folder-name", Severity::Error};
inline constexpr FindingKind noExecutable{"no-executable", Severity::Error};
inline constexpr FindingKind noUpdater{"no-updater", Severity::Warning};
///@}

/// What is wrong with \a entries, those of the package that is shown as \a package.
[[nodiscard]] QList<Finding> checkLayout(const QList<PackageEntry> &entries, const QString &package);

/// The entry that becomes the updater in the installation; nullptr where the package holds none.
[[nodiscard]] const PackageEntry *findUpdater(const QList<PackageEntry> &entries);

} // namespace freshen::publish
