// Stands in for Windows' xcopy.exe, in its place among the system's programs: calls Wine's, which lies in the folder
// "wine" of the Windows folder, without the switch /G, which Wine's does not know.
// It also makes up for Wine's command interpreter, which reads batch files in the code page of DOS, whatever the one of
// its console; Windows' goes by its console. Each byte has a letter in the code pages of DOS, so nothing is lost.
// XCOPY_PAUSE: seconds to wait before copying; a small test package is copied sooner than anybody can look.
// XCOPY_EXIT_CODE: what to end with, without copying.

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

/// A text of the batch file as Windows' command interpreter would have read it.
std::wstring readByConsole(const std::wstring &readByDos)
{
    const auto length = static_cast<int>(readByDos.size());
    std::string bytes(readByDos.size(), '\0');
    const int size = WideCharToMultiByte(CP_OEMCP, 0, readByDos.data(), length, bytes.data(), length, nullptr, nullptr);
    std::wstring text(readByDos.size(), L'\0');
    const int read = MultiByteToWideChar(GetConsoleOutputCP(), 0, bytes.data(), size, text.data(), length);
    text.resize(static_cast<std::size_t>(read));
    return text;
}

} // namespace

int wmain()
{
    std::wstring line = L"xcopy.exe" + readByConsole(arguments());
    const std::wstring unknown = L" /G";
    const std::size_t position = line.find(unknown);
    if (position != std::wstring::npos)
        line.erase(position, unknown.size());
    if (const wchar_t *pause = _wgetenv(L"XCOPY_PAUSE"))
        Sleep(static_cast<DWORD>(_wtoi(pause)) * 1000);
    if (const wchar_t *code = _wgetenv(L"XCOPY_EXIT_CODE"))
        return _wtoi(code);

    wchar_t folder[MAX_PATH] = {};
    GetWindowsDirectoryW(folder, MAX_PATH);
    const std::wstring program = std::wstring(folder) + L"\\wine\\xcopy.exe";
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
