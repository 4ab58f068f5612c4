#include "install/diskspace.h"

#include <QDir>
#include <QStorageInfo>

#include <windows.h>

namespace freshen {

std::optional<DiskSpace> DiskSpace::at(const QString &folder)
{
    // Qt for Windows does not tell the size of a cluster.
    const QString root = QDir::toNativeSeparators(QStorageInfo(folder).rootPath());
    const auto *path = reinterpret_cast<const wchar_t *>(root.utf16());
    ULARGE_INTEGER available = {};
    DWORD sectors = 0;
    DWORD bytes = 0;
    DWORD freeClusters = 0;
    DWORD clusters = 0;
    if (!GetDiskFreeSpaceExW(path, &available, nullptr, nullptr) ||
        !GetDiskFreeSpaceW(path, &sectors, &bytes, &freeClusters, &clusters) || sectors == 0 || bytes == 0)
        return std::nullopt;
    return DiskSpace{static_cast<qint64>(available.QuadPart), static_cast<qint64>(sectors) * bytes};
}

} // namespace freshen
