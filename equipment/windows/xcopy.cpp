// Stands in for Windows' xcopy.exe, found ahead of Wine's, which does not know the switch /G: calls Wine's without it.
// XCOPY_PAUSE: seconds to wait before copying; a small test package is copied sooner than anybody can look.

#include <windows.h>

#include <cstdlib>
#include <string>

namespace {

/// Exit code of xcopy for a disk error or a program that cannot be started.
constexpr int cannotCopy = 5;

/// The command line without the program's own name, which may stand in quotes.
std::wstring arguments()
{
    const std::wstring line = GetCommandLineW();
    const std::size_t nameEnd = line.front() == L'"' ? line.find(L'"', 1) : line.find(L' ');
    const std::size_t begin = nameEnd == std::wstring::npos ? nameEnd : line.find(L' ', nameEnd);
    return begin == std::wstring::npos ? std::wstring() : line.substr(begin);
}

} // namespace

int wmain()
{
    std::wstring line = L"xcopy.exe" + arguments();
    const std::wstring unknown = L" /G";
    const std::size_t position = line.find(unknown);
    if (position != std::wstring::npos)
        line.erase(position, unknown.size());
    if (const wchar_t *pause = _wgetenv(L"XCOPY_PAUSE"))
        Sleep(static_cast<DWORD>(_wtoi(pause)) * 1000);

    wchar_t folder[MAX_PATH] = {};
    GetSystemDirectoryW(folder, MAX_PATH);
    const std::wstring program = std::wstring(folder) + L"\\xcopy.exe";
    STARTUPINFOW start = {};
    start.cb = sizeof(start);
    PROCESS_INFORMATION process = {};
    if (!CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start, &process))
        return cannotCopy;
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD exitCode = cannotCopy;
    GetExitCodeProcess(process.hProcess, &exitCode);
    return static_cast<int>(exitCode);
}
