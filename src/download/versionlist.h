#pragma once

/// \file
/// The list from which the user chooses a version by hand.

#include "versions/ownversion.h"
#include "versions/versionline.h"

#include <QList>
#include <QStringList>

namespace freshen {

/// Reads \a text, the version description file, for the manual choice. This reading is narrower than the automatic one
/// (readVersionDescription): lines with the column for the minimum system version are refused, and test builds are no
/// type of their own, so they are listed like any unknown type. Faulty lines are logged and skipped. The file
/// is read as the updater with the revision \a updater does.
[[nodiscard]] VersionTable readVersionList(const QString &text, qint32 updater = ownRevision);

/// Columns of the list, in order.
namespace listcolumn {
///@{
/// Where the list shows what the name says.
inline constexpr int revision = 0;
inline constexpr int version = 1;
inline constexpr int type = 2;
inline constexpr int reference = 3;
inline constexpr int date = 4;
inline constexpr int info = 5;
///@}
} // namespace listcolumn

/// The rows that the list shows for \a versions: the texts of the six columns for each version, revisions ascending.
/// Without \a showBeta the beta versions are left out. A version with a reference is called "Update N", numbered among
/// the rows shown, so a label can change with \a showBeta.
[[nodiscard]] QList<QStringList> listRows(const VersionTable &versions, bool showBeta);

} // namespace freshen
