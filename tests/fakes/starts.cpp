// The application at its briefest, which ends at once and so does not hold an updater; and a library that somebody has
// put where a program might look for one of its own. Each notes that it was started or loaded in the file that
// TAVLOPRO_START_LOG names, as the demo application does, but only with its path: version and time are left out.

#include <windows.h>

#include <filesystem>
#include <fstream>

static bool noteStart(HMODULE module)
{
    wchar_t program[MAX_PATH] = {};
    GetModuleFileNameW(module, program, MAX_PATH);
    const wchar_t *log = _wgetenv(L"TAVLOPRO_START_LOG");
    if (log == nullptr)
        return false;
    std::ofstream stream(std::filesystem::path(log), std::ios::binary | std::ios::app);
    stream << "-\t-\t" << std::filesystem::path(program).u8string() << std::endl;
    return stream.good();
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
