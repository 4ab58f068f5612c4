#include "app/processsetup.h"

#include <QTextCodec>

#include <windows.h>

namespace freshen {

void ignoreForeignLibraries()
{
    // Windows 7 has the function only with an update from 2011.
    using SetDefaultDllDirectories = BOOL(WINAPI *)(DWORD);
    const HMODULE kernel = GetModuleHandleW(L"kernel32.dll");
    const auto setDefaultDllDirectories = reinterpret_cast<SetDefaultDllDirectories>(
        reinterpret_cast<void *>(GetProcAddress(kernel, "SetDefaultDllDirectories")));
    if (setDefaultDllDirectories != nullptr)
        setDefaultDllDirectories(LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
    SetDllDirectoryW(L"");
}

void adoptCodePage()
{
    if (GetACP() == CP_UTF8)
        QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
}

} // namespace freshen
