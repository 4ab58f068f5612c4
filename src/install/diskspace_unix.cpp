#include "install/diskspace.h"

#include <QStorageInfo>

#include <algorithm>

namespace freshen {

std::optional<DiskSpace> DiskSpace::at(const QString &folder)
{
    const QStorageInfo storage(folder);
    if (!storage.isValid() || storage.bytesAvailable() < 0)
        return std::nullopt;
    return DiskSpace{storage.bytesAvailable(), std::max(storage.blockSize(), 1)};
}

} // namespace freshen
