#pragma once

/// \file
/// The names of a package, on the server and where the updater stores it.

#include "versions/runningsystem.h"
#include "versions/versionline.h"

namespace freshen {

/// Processor architecture tag of the packages that the updater asks for.
inline const QLatin1String architectureTag("X64");

/// What the installation at hand adds to the names.
struct PackageNaming
{
    /// The names carry the two tags.
    bool extended = false;
    /// Operating-system tag, "WIN7" or empty.
    QString osTag;
    /// Processor architecture tag, for example "X64".
    QString archTag;
};

/// Tag of the Windows that \a system is. Windows XP has packages of its own, without a tag; any other system, whatever
/// its kind, has "WIN7".
[[nodiscard]] QString operatingSystemTag(const RunningSystem &system);

/// The version text of \a row followed by its type in upper case, for example 26.05.7200STABLE. It names the chosen
/// version from the choice on. \a row has at least the columns version and type.
[[nodiscard]] QString selectedVersionName(const VersionRow &row);

/// Name of the package of \a row on the server. Packages of early revisions exist there under STABLE names only.
/// \a revision is the row's own.
[[nodiscard]] QString serverPackageName(const VersionRow &row, qint32 revision, const PackageNaming &naming);

/// Name of the stored package of \a selectedVersion. It keeps BETA where serverPackageName() replaces it, and
/// has an underscore for each sign that would lead to another folder or drive.
[[nodiscard]] QString localPackageName(const QString &selectedVersion, const PackageNaming &naming);

} // namespace freshen
