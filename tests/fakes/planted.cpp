// A library that somebody has put where a program might look for one of its own: notes that it is loaded.

#include "startlog.h"

BOOL WINAPI DllMain(HINSTANCE library, DWORD reason, LPVOID)
{
    if (reason == DLL_PROCESS_ATTACH)
        noteStart(library);
    return TRUE;
}
