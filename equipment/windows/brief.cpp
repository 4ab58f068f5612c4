// The application at its briefest: notes its start as the demo application does, in the file that TAVLOPRO_START_LOG
// names, and ends. So no process of its name stays to hold an updater, and no DLL has to lie beside it.

#include <windows.h>

#include <cstdio>

int WINAPI wWinMain(HINSTANCE, HINSTANCE, LPWSTR, int)
{
    wchar_t program[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    // A sign takes four bytes at most.
    constexpr int size = 4 * MAX_PATH;
    char path[size] = {};
    WideCharToMultiByte(CP_UTF8, 0, program, -1, path, size, nullptr, nullptr);

    const wchar_t *log = _wgetenv(L"TAVLOPRO_START_LOG");
    FILE *file = log == nullptr ? nullptr : _wfopen(log, L"ab");
    if (file == nullptr)
        return 1;
    // Version and time are left open: who starts it is asked about the program alone.
    std::fprintf(file, "-\t-\t%s\n", path);
    return std::fclose(file);
}
