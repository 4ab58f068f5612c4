// The application at its briefest, a process that does not stay to hold an updater; and a library that somebody has put
// where a program might look for one of its own. Each notes that it is started or loaded, as the demo application does:
// in the file that TAVLOPRO_START_LOG names. Version and time are left open: who starts it is asked about the file
// alone.

#include <windows.h>

#include <cstdio>

static bool noteStart(HMODULE module)
{
    wchar_t program[MAX_PATH] = {};
    GetModuleFileNameW(module, program, MAX_PATH);
    // A sign takes four bytes at most.
    constexpr int size = 4 * MAX_PATH;
    char path[size] = {};
    WideCharToMultiByte(CP_UTF8, 0, program, -1, path, size, nullptr, nullptr);

    const wchar_t *log = _wgetenv(L"TAVLOPRO_START_LOG");
    FILE *file = log == nullptr ? nullptr : _wfopen(log, L"ab");
    if (file == nullptr)
        return false;
    std::fprintf(file, "-\t-\t%s\n", path);
    return std::fclose(file) == 0;
}

int WINAPI wWinMain(HINSTANCE, HINSTANCE, LPWSTR, int)
{
    return noteStart(nullptr) ? 0 : 1;
}

BOOL WINAPI DllMain(HINSTANCE library, DWORD reason, LPVOID)
{
    if (reason == DLL_PROCESS_ATTACH)
        noteStart(library);
    return TRUE;
}
