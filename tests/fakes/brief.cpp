// The application at its briefest: notes its start and ends. So no process of its name stays to hold an updater, and no
// DLL has to lie beside it.

#include "startlog.h"

int WINAPI wWinMain(HINSTANCE, HINSTANCE, LPWSTR, int)
{
    return noteStart(nullptr) ? 0 : 1;
}
