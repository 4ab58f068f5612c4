#pragma once

/// \file
/// Writes a package (PKWARE APPNOTE) whose bytes follow from the names and contents of its files alone: not from the
/// system, its time zone, its user, or the order in which a disk lists files.

#include "publish/packinglist.h"
#include "publish/wholefile.h"

#include <QDateTime>

#include <optional>

namespace freshen::publish {

/// The folder at the top of packages.
inline constexpr char topFolderName[] = "Tavlopro";

/// The time that all entries carry, in UTC: that of \a epoch, the value of SOURCE_DATE_EPOCH (seconds since 1970), as
/// far as an archive can tell it; where that is empty, the first that it can tell. Nothing where it is no number.
[[nodiscard]] std::optional<QDateTime> packingTime(const QString &epoch);

/// Writes \a items as the package \a path, as a whole or not at all, with \a time for each entry. Returns why it
/// failed, or an empty text.
[[nodiscard]] QString writePackage(const QString &path, const QList<PackedItem> &items, const QDateTime &time,
                                   const ByteProgress &progress);

} // namespace freshen::publish
