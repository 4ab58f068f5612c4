// How the updater calls Windows where no result shows it: what the user is asked, and what is reported of a call that
// fails. The functions here take the place of Windows' own when they are linked. They note their calls, or fail.

#include "app/elevatedstart.h"
#include "app/processsetup.h"
#include "install/batchprocess.h"
#include "install/copyobstacle.h"
#include "install/runningprocesses.h"
#include "kit/qt/foldertest.h"

#include <windows.h>

#include <shellapi.h>
#include <tlhelp32.h>

using namespace freshen;

namespace {

/// The calls, in order, each with its arguments.
QStringList calls;

/// Whether there is a list at all, and Windows' words for the reason of a failure.
bool hasSnapshot = true;
QString reason;

BOOL WINAPI noteForeground(DWORD process)
{
    calls.append(process == ASFW_ANY ? "foreground for any" : "foreground for one");
    return TRUE;
}

HINSTANCE WINAPI noteExecution(HWND window, const char *verb, const char *file, const char *parameters,
                               const char *folder, INT show)
{
    calls.append(window == nullptr ? "without a window" : "with a window");
    calls.append(QString("show %1").arg(show));
    for (const char *text : {verb, file, parameters, folder})
        calls.append(QString::fromUtf8(text));
    return reinterpret_cast<HINSTANCE>(static_cast<INT_PTR>(42));
}

BOOL WINAPI noteLibraryFolder(const wchar_t *folder)
{
    calls.append(QString("libraries from \"%1\"").arg(QString::fromWCharArray(folder)));
    return TRUE;
}

DWORD WINAPI tellTheReason(DWORD, const void *, DWORD, DWORD, wchar_t *text, DWORD size, va_list *)
{
    const QString fitting = reason.left(static_cast<int>(size) - 1);
    text[fitting.toWCharArray(text)] = 0;
    return static_cast<DWORD>(fitting.size());
}

/// What the started copy does: lists the processes, and ends with 0 if that fails and the list is as it was.
int list(const QString &failingCall, const QString &systemsReason)
{
    hasSnapshot = failingCall == "Process32First";
    reason = systemsReason;
    const MessageCatcher catcher;
    QStringList names = {"before"};
    return !listRunningProcesses(names) && names == QStringList("before") ? 0 : 1;
}

} // namespace

extern "C" {

// Called through the tables of the DLLs.
decltype(&AllowSetForegroundWindow) __imp_AllowSetForegroundWindow = noteForeground;
decltype(&SetDllDirectoryW) __imp_SetDllDirectoryW = noteLibraryFolder;
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

class WindowsCallsTest : public FolderTest
{
    Q_OBJECT

private slots:
    void init()
    {
        FolderTest::init();
        calls.clear();
    }

    void userIsAskedForConsentAndTheCopyMayComeToTheFront()
    {
        const Restorer codePage = useWesternCodePage();
        QCOMPARE(startElevated("Größe.exe", "menü", "C:\\Prögramme").code, 42);
        QCOMPARE(calls, (QStringList{"foreground for any", "without a window", "show 1", "runas", "Größe.exe", "menü",
                                     "C:\\Prögramme"}));
    }

    /// Windows 7 without its updates has no other way to leave out the current folder.
    void librariesAreNotTakenFromTheCurrentFolder()
    {
        ignoreForeignLibraries();
        QCOMPARE(calls, QStringList("libraries from \"\""));
    }

    /// The batch file calls the copying program by its bare name.
    void batchFileFindsTheSystemsProgramsAndTheCodePageOfThisProcess()
    {
        const QString batch = QDir::toNativeSeparators(file("batch.bat"));
        writeFile(batch, "@echo %PATH%\r\n@echo %NoDefaultCurrentDirectoryInExePath% %CD% !PATH!\r\n@chcp\r\n");
        QProcess process;
        startBatch(process, batch);
        QVERIFY(process.waitForFinished());
        const QString system = "C:\\windows\\system32";
        QCOMPARE(QString(process.readAllStandardOutput()).split("\r\n"),
                 (QStringList{system + ";" + qEnvironmentVariable("PATH"), "1 " + system + " !PATH!",
                              QString("Active code page: %1").arg(GetACP()), ""}));
    }

    void longestPathOfTheCopyingProgram_data()
    {
        const Table<QString, int> table;
        table.row("file", "file", 254);
        table.row("folder", "folder", 247);
    }
    void longestPathOfTheCopyingProgram()
    {
        const auto [entry, longest] = Table<QString, int>::current();
        QVERIFY(entry == "folder" ? QDir(folder()).mkdir(entry) : QFile(file(entry)).open(QFile::WriteOnly));
        const QString destination = "C:/" + QString(longest - 4 - entry.size(), 'x');
        QVERIFY(!copyObstacle(folder(), destination, {}, std::nullopt));
        QVERIFY(copyObstacle(folder(), destination + 'x', {}, std::nullopt));
    }

    /// A copy of this very program makes the call, so that its output can be read.
    void unreadableListIsToldOnStandardOutput_data()
    {
        const Table<QString, QString, QByteArray> table;
        table.row("no list", "CreateToolhelp32Snapshot (of processes)", "Too long.", "error 24 (Too long)");
        table.row("no process", "Process32First", "No more files . .. \r\n", "error 18 (No more files)");
        table.row("up to the first line", "Process32First", "1. No\tfiles.\nMore.", "error 18 (1. No\tfiles)");
        table.row("nothing but full stops", "Process32First", "...", "error 18 ()");
    }
    void unreadableListIsToldOnStandardOutput()
    {
        const auto [call, text, told] = Table<QString, QString, QByteArray>::current();
        QProcess process;
        process.start(QCoreApplication::applicationFilePath(), {"list", call, text});
        QVERIFY(process.waitForFinished());
        QCOMPARE(process.readAllStandardOutput(), "\r\n  WARNING: " + call.toUtf8() + " failed with " + told);
        QCOMPARE(process.exitCode(), 0);
    }
};

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.value(1) == "list")
        return list(arguments.value(2), arguments.value(3));
    WindowsCallsTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_windowscalls.moc"
