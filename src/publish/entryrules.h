#pragma once

/// \file
/// What is wrong with an entry of a package by itself, as far as its name and its marks tell. It is judged for Windows,
/// whatever system the tool runs on.

#include "publish/finding.h"
#include "publish/packageentry.h"

namespace freshen::publish {

///@{
/// What the id says.
inline constexpr FindingKind unsafeName{"unsafe-name", Severity::Error};
inline constexpr FindingKind nameEncoding{"name-encoding", Severity::Error};
inline constexpr FindingKind nameNotForWindows{"name-not-for-windows", Severity::Error};
inline constexpr FindingKind backslashInName{"backslash-in-name", Severity::Warning};
inline constexpr FindingKind pathTooLong{"path-too-long", Severity::Error};
inline constexpr FindingKind linkEntry{"link-entry", Severity::Error};
inline constexpr FindingKind encryptedEntry{"encrypted-entry", Severity::Error};
inline constexpr FindingKind compressionMethod{"compression-method", Severity::Error};
inline constexpr FindingKind readOnlyEntry{"read-only-entry", Severity::Warning};
inline constexpr FindingKind hiddenEntry{"hidden-entry", Severity::Note};
///@}

/// The length of the longest installation path that is allowed for unless somebody says otherwise.
inline constexpr int usualLongestPath = 100;

/// What is wrong with each of \a entries, those of the package that is shown as \a package, where the paths of
/// installations have up to \a longestPath characters.
[[nodiscard]] QList<Finding> checkEntries(const QList<PackageEntry> &entries, const QString &package, int longestPath);

/// The finding of \a kind that \a message tells of \a entry.
[[nodiscard]] Finding entryFinding(const FindingKind &kind, const QString &message, const QString &package,
                                   const PackageEntry &entry);

} // namespace freshen::publish
