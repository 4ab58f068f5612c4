#include "kit/qt/platform.h"

#include <windows.h>

QString callOfThisProcess()
{
    return QString::fromWCharArray(GetCommandLineW()) + '\n';
}

Restorer becomeOrdinaryUser()
{
    // Only natively do the tests run as somebody who may do anything.
    return Restorer([] {});
}
