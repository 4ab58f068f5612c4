#include "install/systemfolder.h"

#include <QString>

#include <windows.h>

#include <array>

namespace freshen {

QString systemFolder()
{
    std::array<wchar_t, MAX_PATH> folder{};
    const UINT length = GetSystemDirectoryW(folder.data(), static_cast<UINT>(folder.size()));
    // Where the buffer is too small, the length is that of the one needed.
    if (length >= folder.size())
        return QString();
    return QString::fromWCharArray(folder.data(), static_cast<int>(length));
}

} // namespace freshen
