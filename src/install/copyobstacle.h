#pragma once

/// \file
/// What would make the copy of the new files fail. It is looked for before the old version is cleaned: an installation
/// that can only be replaced by half stays as it is.

#include <QString>
#include <QStringList>

#include <optional>

namespace freshen {

/// The space on the disk that the installation goes to, in bytes.
struct DiskSpace
{
    /// Free for this user.
    qint64 available = 0;
    /// What a file takes is a multiple of this.
    qint64 blockSize = 1;

    /// The space where \a folder lies; nothing where the system does not tell.
    [[nodiscard]] static std::optional<DiskSpace> at(const QString &folder);
};

/// Why the contents of \a source cannot be copied into the folder \a destination, as a text for the user: a path is
/// longer than the copying program takes, or the files need more than \a space together with what cleaning the
/// destination except for \a filesToKeep gives back. Nothing where neither is known.
[[nodiscard]] std::optional<QString> copyObstacle(const QString &source, const QString &destination,
                                                  const QStringList &filesToKeep,
                                                  const std::optional<DiskSpace> &space);

} // namespace freshen
