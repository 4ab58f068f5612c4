#pragma once

/// \file
/// What would make the copy of the new files fail. It is looked for before the old version is cleaned: an installation
/// that can only be replaced by half stays as it is. The space is looked at as if the user agrees to the cleaning.

#include "install/diskspace.h"

#include <QString>
#include <QStringList>

#include <optional>

namespace freshen {

/// Why the contents of \a source cannot be copied into the folder \a destination, as a text for the user: a path is
/// longer than the copying program takes, or the files need more than \a space together with what cleaning the
/// destination except for \a filesToKeep gives back. Nothing where no obstacle is found.
[[nodiscard]] std::optional<QString> copyObstacle(const QString &source, const QString &destination,
                                                  const QStringList &filesToKeep,
                                                  const std::optional<DiskSpace> &space);

} // namespace freshen
