#include "app/elevatedstart.h"

#include <QString>

#include <windows.h>

#include <shellapi.h>

namespace freshen {

StartResult startElevated(const QString &file, const QString &argument, const QString &workingFolder)
{
    AllowSetForegroundWindow(ASFW_ANY);
    // UTF-8, whatever the code page: before Windows 10 1903, where that is another, a working folder with characters
    // beyond ASCII is not found this way; the caller shows the failure.
    const HINSTANCE result = ShellExecuteA(nullptr, "runas", file.toUtf8().constData(), argument.toUtf8().constData(),
                                           workingFolder.toUtf8().constData(), SW_SHOWNORMAL);
    return {static_cast<int>(reinterpret_cast<INT_PTR>(result))};
}

} // namespace freshen
