#pragma once

/// \file
/// The packages that an index lists, beside the files that are there.

#include "publish/documentroot.h"
#include "publish/finding.h"
#include "publish/index.h"

#include <QList>
#include <QStringList>

namespace freshen::publish {

///@{
/// What can be wrong with the files.
inline constexpr FindingKind missingPackage{"missing-package", Severity::Error};
inline constexpr FindingKind missingExtendedPackage{"missing-extended-package", Severity::Warning};
inline constexpr FindingKind noExtendedPackages{"no-extended-packages", Severity::Note};
inline constexpr FindingKind unlistedFile{"unlisted-file", Severity::Note};
///@}

/// The names of all files in and below \a folder, as they are addressed from there, sorted.
[[nodiscard]] QStringList filesBelow(const QString &folder);

/// Which packages of \a index are not among \a files, the names in the folder of the packages.
[[nodiscard]] QList<Finding> checkPackageFiles(const Index &index, const DocumentRoot &root, const QStringList &files);

/// Those of \a files that no index of \a root lists. Nothing where an index cannot be read; \a error then says why.
[[nodiscard]] std::optional<QStringList> unlistedFiles(const DocumentRoot &root, const QStringList &files,
                                                       QString &error);

/// Lets the age of those packages of \a before that \a index, which is to follow, does not list count from now: nobody
/// who reads the index asks for them from now on, but who has read it before still may.
void restartAges(const DocumentRoot &root, const Index &before, const Index &index);

/// Whether \a name is a package's, or that of a file which was to become one.
[[nodiscard]] bool isPackageFile(const QString &name);

} // namespace freshen::publish
