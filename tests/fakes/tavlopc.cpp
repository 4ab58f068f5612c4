// The application under its older name, as far as the updater is concerned: a process called Tavlopc.exe that runs
// until its user closes it.

#include <windows.h>

int WINAPI wWinMain(HINSTANCE, HINSTANCE, LPWSTR, int)
{
    MessageBoxW(nullptr, L"Tavlopc is running.", L"Tavlopc", MB_OK);
    return 0;
}
