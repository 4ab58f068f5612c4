#pragma once

#include <QtGlobal>

#include <optional>

class QString;

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

} // namespace freshen
