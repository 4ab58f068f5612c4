#include "app/elevatedstart.h"

#include <QString>

#include <windows.h>

#include <shellapi.h>

int startElevated(const QString &file, const QString &argument, const QString &workingFolder)
{
    AllowSetForegroundWindow(ASFW_ANY);
    // A working folder with characters beyond ASCII is not found this way; the caller shows the failure.
    const HINSTANCE result = ShellExecuteA(nullptr, "runas", file.toUtf8().constData(), argument.toUtf8().constData(),
                                           workingFolder.toUtf8().constData(), SW_SHOWNORMAL);
    return static_cast<int>(reinterpret_cast<INT_PTR>(result));
}
