#include "install/runningprocesses.h"

#include <QDebug>
#include <QScopeGuard>

#include <windows.h>

#include <cstdio>
#include <iterator>
#include <tlhelp32.h>

namespace freshen {

namespace {

constexpr wchar_t tab = 9;
constexpr wchar_t fullStop = 46;
/// The characters below it are control characters.
constexpr wchar_t firstPrintable = 32;

/// Cuts \a text before the line break of the system's message, and the full stops and blanks that stand there.
void trimMessage(wchar_t *text)
{
    wchar_t *position = text;
    while (*position >= firstPrintable || *position == tab)
        ++position;
    while (true) {
        *position = 0;
        if (position == text)
            return;
        --position;
        if (*position != fullStop && *position > firstPrintable)
            return;
    }
}

/// Tells on standard output that \a operation failed, with the system's reason.
void warn(const wchar_t *operation)
{
    const DWORD error = GetLastError();
    constexpr std::size_t textSize = 256;
    wchar_t text[textSize] = {};
    FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error,
                   MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), text, static_cast<DWORD>(std::size(text)), nullptr);
    trimMessage(text);
    // Wide output of MinGW's runtime takes %ls for a wide text whatever its format rules.
    wprintf(L"\n  WARNING: %ls failed with error %d (%ls)", operation, static_cast<int>(error), text);
}

} // namespace

bool listRunningProcesses(QStringList &names)
{
    // An empty line sets the rounds of the check apart in the log.
    qDebug() << "";
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    if (snapshot == INVALID_HANDLE_VALUE) {
        warn(L"CreateToolhelp32Snapshot (of processes)");
        return false;
    }
    const auto close = qScopeGuard([snapshot] { CloseHandle(snapshot); });
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof(entry);
    if (!Process32FirstW(snapshot, &entry)) {
        warn(L"Process32First");
        return false;
    }
    do {
        names.append(QString::fromWCharArray(entry.szExeFile));
    } while (Process32NextW(snapshot, &entry));
    return true;
}

} // namespace freshen
