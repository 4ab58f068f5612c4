// How the updater calls Windows, for what no result of a call tells: what the user is asked, and what is said of a call
// that fails. The functions here take the place of Windows' own in this program, since the linker finds them first.
// They note their calls, or fail.

#include "app/elevatedstart.h"
#include "install/runningprocesses.h"
#include "kit/qt/messagecatcher.h"
#include "kit/qt/platform.h"

#include <QtTest>

#include <windows.h>

#include <cwchar>
#include <shellapi.h>
#include <tlhelp32.h>

using namespace freshen;

namespace {

/// The calls of the start with elevated privileges, in order, each with its arguments.
QStringList calls;

/// What cannot be listed, and how Windows calls the reason.
bool hasSnapshot = true;
const wchar_t *reason = L"";

QString argument(const char *text)
{
    return QLatin1Char(' ') + QString::fromLatin1(QByteArray(text).toPercentEncoding(" .:\\/"));
}

BOOL WINAPI noteForeground(DWORD process)
{
    calls.append(process == ASFW_ANY ? QStringLiteral("foreground for any") : QStringLiteral("foreground for one"));
    return TRUE;
}

HINSTANCE WINAPI noteExecution(HWND window, const char *verb, const char *file, const char *parameters,
                               const char *folder, INT show)
{
    calls.append(QStringLiteral("execute %1 %2").arg(window == nullptr).arg(show) + argument(verb) + argument(file) +
                 argument(parameters) + argument(folder));
    return reinterpret_cast<HINSTANCE>(static_cast<INT_PTR>(42));
}

DWORD WINAPI tellTheReason(DWORD, const void *, DWORD, DWORD, wchar_t *text, DWORD size, va_list *)
{
    std::wcsncpy(text, reason, size - 1);
    return static_cast<DWORD>(std::wcslen(text));
}

} // namespace

extern "C" {

// Called through the tables of the DLLs.
decltype(&AllowSetForegroundWindow) __imp_AllowSetForegroundWindow = noteForeground;
decltype(&ShellExecuteA) __imp_ShellExecuteA = noteExecution;
decltype(&FormatMessageW) __imp_FormatMessageW = tellTheReason;

// Called by their names.
HANDLE WINAPI CreateToolhelp32Snapshot(DWORD, DWORD)
{
    SetLastError(ERROR_BAD_LENGTH);
    return hasSnapshot ? CreateEventW(nullptr, FALSE, FALSE, nullptr) : INVALID_HANDLE_VALUE;
}

BOOL WINAPI Process32FirstW(HANDLE, PROCESSENTRY32W *)
{
    SetLastError(ERROR_NO_MORE_FILES);
    return FALSE;
}

} // extern "C"

class WindowsCallsTest : public QObject
{
    Q_OBJECT

private slots:
    void userIsAskedForConsent();
    void unreadableListIsToldOnStandardOutput_data();
    void unreadableListIsToldOnStandardOutput();
};

/// And the program that is started may come to the front.
void WindowsCallsTest::userIsAskedForConsent()
{
    const WesternCodePage codePage;
    const StartResult result = startElevated("Größe.exe", "menü", "C:\\Prögramme");
    QCOMPARE(result.code, 42);
    QCOMPARE(calls,
             (QStringList{"foreground for any", "execute 1 1 runas Gr%C3%B6%C3%9Fe.exe men%C3%BC C:\\Pr%C3%B6gramme"}));
}

void WindowsCallsTest::unreadableListIsToldOnStandardOutput_data()
{
    QTest::addColumn<QString>("call");
    QTest::addColumn<QString>("reason");
    QTest::addColumn<QByteArray>("output");
    const QByteArray first = "\r\n  WARNING: Process32First failed with error 18 (";
    QTest::newRow("no list") << "snapshot"
                             << "The length is bad."
                             << QByteArray("\r\n  WARNING: CreateToolhelp32Snapshot (of processes) failed with "
                                           "error 24 (The length is bad)");
    QTest::newRow("no first process") << "first"
                                      << "No more files" << first + "No more files)";
    QTest::newRow("line break") << "first"
                                << "No more files.\r\n"
                                << first + "No more files)";
    QTest::newRow("full stops and blanks at the end") << "first"
                                                      << "No more files . .. \r\n"
                                                      << first + "No more files)";
    QTest::newRow("full stop in the middle") << "first"
                                             << "1. No files.\r\n"
                                             << first + "1. No files)";
    QTest::newRow("tab") << "first"
                         << "No\tmore files" << first + "No\tmore files)";
    QTest::newRow("only the first line") << "first"
                                         << "No.\nMore" << first + "No)";
    QTest::newRow("no reason") << "first"
                               << "" << first + ")";
    QTest::newRow("nothing but full stops") << "first"
                                            << "..." << first + ")";
}

/// A copy of this very program makes the call, so that its output can be read.
void WindowsCallsTest::unreadableListIsToldOnStandardOutput()
{
    QFETCH(QString, call);
    QFETCH(QString, reason);
    QProcess process;
    process.start(QCoreApplication::applicationFilePath(), {"list", call, reason});
    QVERIFY(process.waitForFinished());
    QTEST(process.readAllStandardOutput(), "output");
    // The list is as it was.
    QCOMPARE(process.exitCode(), 0);
}

namespace {

/// What the started copy does.
int list(const QStringList &arguments)
{
    hasSnapshot = arguments.at(0) == "first";
    const std::wstring text = arguments.at(1).toStdWString();
    reason = text.c_str();
    const MessageCatcher catcher;
    QStringList names = {"before"};
    const bool isRead = listRunningProcesses(names);
    return !isRead && names == QStringList{"before"} ? 0 : 1;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.value(1) == "list")
        return list(arguments.mid(2));
    WindowsCallsTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_windowscalls.moc"
