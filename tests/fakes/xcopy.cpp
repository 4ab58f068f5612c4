// Stands in for Windows' xcopy.exe, in its place among the system's programs: calls Wine's, which lies in the folder
// "wine" of the Windows folder, without the switch /G, which Wine's does not know.
// It also makes up for Wine's command interpreter, which reads batch files in the code page of DOS, whatever the one of
// its console; Windows' goes by its console. Each byte has a letter in the code pages of DOS, so nothing is lost. What
// Wine's xcopy.exe prints is in that code page, too; letters that it lacks are lost.
// XCOPY_PAUSE: seconds to wait before copying; a small test package is copied sooner than anybody can look.
// XCOPY_EXIT_CODE: what to end with, without copying.

#include <windows.h>

#include <array>
#include <cstdlib>
#include <shlwapi.h>
#include <string>

namespace {

/// Exit code of xcopy for a disk error or a program that cannot be started.
constexpr int cannotCopy = 5;

std::string bytesOf(const std::wstring &text, UINT codePage)
{
    // A letter takes four bytes at most.
    std::string bytes(4 * text.size(), '\0');
    const int size = WideCharToMultiByte(codePage, 0, text.data(), static_cast<int>(text.size()), bytes.data(),
                                         static_cast<int>(bytes.size()), nullptr, nullptr);
    bytes.resize(static_cast<std::size_t>(size));
    return bytes;
}

std::wstring textOf(const std::string &bytes, UINT codePage)
{
    const auto length = static_cast<int>(bytes.size());
    std::wstring text(bytes.size(), L'\0');
    text.resize(static_cast<std::size_t>(MultiByteToWideChar(codePage, 0, bytes.data(), length, text.data(), length)));
    return text;
}

/// Prints what comes out of \a pipe, until its other end is closed.
void passOn(HANDLE pipe)
{
    std::string output;
    std::array<char, 4096> part{};
    DWORD size = 0;
    while (ReadFile(pipe, part.data(), static_cast<DWORD>(part.size()), &size, nullptr) && size > 0)
        output.append(part.data(), size);
    const std::string printed = bytesOf(textOf(output, CP_OEMCP), GetConsoleOutputCP());
    WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), printed.data(), static_cast<DWORD>(printed.size()), &size, nullptr);
}

} // namespace

int wmain()
{
    // As Windows' command interpreter would have read the batch file.
    const std::wstring arguments = textOf(bytesOf(PathGetArgsW(GetCommandLineW()), CP_OEMCP), GetConsoleOutputCP());
    std::wstring line = L"xcopy.exe " + arguments;
    const std::size_t position = line.find(L" /G");
    if (position != std::wstring::npos)
        line.erase(position, 3);
    if (const wchar_t *pause = _wgetenv(L"XCOPY_PAUSE"))
        Sleep(static_cast<DWORD>(_wtoi(pause)) * 1000);
    if (const wchar_t *code = _wgetenv(L"XCOPY_EXIT_CODE"))
        return _wtoi(code);

    wchar_t folder[MAX_PATH] = {};
    GetWindowsDirectoryW(folder, MAX_PATH);
    const std::wstring program = std::wstring(folder) + L"\\wine\\xcopy.exe";
    HANDLE output = nullptr;
    STARTUPINFOW start = {};
    start.cb = sizeof(start);
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    start.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    SECURITY_ATTRIBUTES inherited = {sizeof(inherited), nullptr, TRUE};
    if (!CreatePipe(&output, &start.hStdOutput, &inherited, 0))
        return cannotCopy;
    SetHandleInformation(output, HANDLE_FLAG_INHERIT, 0);
    PROCESS_INFORMATION process = {};
    if (!CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start, &process))
        return cannotCopy;
    CloseHandle(start.hStdOutput);
    passOn(output);
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD exitCode = cannotCopy;
    GetExitCodeProcess(process.hProcess, &exitCode);
    return static_cast<int>(exitCode);
}
