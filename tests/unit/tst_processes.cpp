// The processes that the updater starts and looks for: copies of this very program, which note how they were called.

#include "app/elevatedstart.h"
#include "install/relaunch.h"
#include "install/runningprocesses.h"
#include "kit/qt/foldertest.h"

#include <cstdio>

using namespace freshen;

namespace {

const QString noteSuffix = ".note";

/// What a started copy does.
int takeNote()
{
    const QString note = QCoreApplication::applicationFilePath() + noteSuffix;
    // Under its own name only when complete.
    writeFile(note + ".draft", (callOfThisProcess() + QDir::currentPath()).toUtf8());
    if (!QFile::rename(note + ".draft", note))
        return 1;
    // A process to be found in the list runs until its input is closed.
    if (QCoreApplication::arguments().contains("wait")) {
        std::puts("running");
        std::fflush(stdout);
        while (std::getchar() != EOF)
            ;
    }
    return 0;
}

/// The lines that the copy \a program has noted: the call, and its current folder.
QStringList noteOf(const QString &program)
{
    // On Windows a file that is being renamed is there already, but cannot be opened yet.
    QByteArray note;
    [&] { QTRY_VERIFY_WITH_TIMEOUT(!(note = readFile(program + noteSuffix)).isNull(), 30000); }();
    QFile::remove(program + noteSuffix);
    return QString::fromUtf8(note).split('\n');
}

/// The names of all running processes.
QStringList processNames()
{
    QStringList names;
    return listRunningProcesses(names) ? names : QStringList("the list could not be read");
}

/// The name of a program that no other test runs, of at most 15 characters, which every system can tell.
QString uniqueName()
{
    return QString("T%1.exe").arg(QCoreApplication::applicationPid() % 100000000);
}

} // namespace

class ProcessesTest : public FolderTest
{
    Q_OBJECT

private slots:
    void shellIsFoundByTheSystemRoot_data()
    {
        const Table<QStringList, QString> table;
        const QString root = "SYSTEMROOT=C:/Windows";
        table.row("among others", {"PATH=x", root, "TEMP=y"}, "C:/Windows/explorer.exe");
        table.row("in mixed case", {"SystemRoot=C:/Windows"}, "C:/Windows/explorer.exe");
        table.row("none", {"PATH=x", "ROOT=C:/Windows"}, "none");
        table.row("also in a value", {root, "Path=%SystemRoot%/system32"}, "none");
        table.row("in a value alone", {"Path=C:/systemroot"}, "C:/systemroot/explorer.exe");
        table.row("a folder with an equals sign", {"SYSTEMROOT=C:/a=b"}, "b/explorer.exe");
    }
    void shellIsFoundByTheSystemRoot()
    {
        const auto [environment, shell] = Table<QStringList, QString>::current();
        QCOMPARE(shellProgram(environment).value_or("none"), QDir::toNativeSeparators(shell));
    }

    void commandOfTheRelaunch()
    {
        QCOMPARE(relaunchCommand("%2 a/explorer.exe", "%1.exe"), "\"%2 a/explorer.exe\" \"%1.exe\"");
        QCOMPARE(relaunchCommand(QString(), QString()), "\"\" \"\"");
    }

    void shellIsGivenTheExecutable()
    {
        const QString shell = copy("Win dows/explorer.exe");
        // The shell splits what is not quoted at some of these signs; others mean something to a command interpreter.
        const QString anySigns = "C:/a,b=c;d/100 %/%x%/^a & b!c!/(x86)/it's/@~+$/[a]{b}`c`/Prögramme/ж東/Tavlopro.exe";
        // Without an executable it is given one empty argument.
        for (const QString &executable : {anySigns, QString()}) {
            QVERIFY(startThroughShell(QDir::toNativeSeparators(shell), executable));
            // On Windows there may be more than one blank between them.
            const QString call = noteOf(shell).first().simplified();
            const QString line = QString("\"%1\" \"%2\"").arg(QDir::toNativeSeparators(shell), executable);
            QCOMPARE(call, isWindows() ? line : executable);
        }
    }

    /// Above all not the application itself, which would run with the updater's rights.
    void nothingIsStartedWithoutAShell()
    {
        const QString application = QDir::toNativeSeparators(copy("Tavlopro.exe"));
        QVERIFY(!startThroughShell(QString(), application));
        QVERIFY(!startThroughShell(file("explorer.exe"), application));
    }

    void elevatedStartIsInTheFolder()
    {
        const QString place = QDir::toNativeSeparators(folder());
        const QString program = copy("Freshen.exe");
        QVERIFY(startElevated("Freshen.exe", "menu", place).isStarted());
        const QStringList note = noteOf(program);
        QVERIFY2(note.first().endsWith("menu"), qUtf8Printable(note.first()));
        QCOMPARE(note.mid(1), QStringList(QDir(place).canonicalPath()));

        QCOMPARE(startElevated("Missing.exe", "menu", place).code, 2);
        QVERIFY(!startElevated("Freshen.exe", "menu", QDir::toNativeSeparators(place + "/missing")).isStarted());
        // Elsewhere the name makes a file executable.
        writeFile(file("Text.exe"), "no program");
        if (!isWindows())
            QCOMPARE(startElevated("Text.exe", "menu", place).code, 5);
    }

    void processesAreListedByTheirFileNames()
    {
        const QString name = "(" + uniqueName().left(8) + ") b";
        QProcess process;
        process.start(copy(name), {"wait"});
        QVERIFY(process.waitForReadyRead());
        QStringList names = {"before"};
        QVERIFY(listRunningProcesses(names));
        QCOMPARE(log().lines(), QStringList(""));
        QCOMPARE(names.first(), "before");
        QVERIFY2(names.count(name) == 1, qUtf8Printable(names.join(", ")));
        process.closeWriteChannel();
        QVERIFY(process.waitForFinished());
        QVERIFY(!processNames().contains(name));
    }

    /// The system keeps it until its parent asks for its exit code.
    void endedProcessIsNotListed()
    {
        if (isWindows())
            QSKIP("Windows has no ended processes in its list.");
        const QString parent = "P" + uniqueName();
        // The first program, in the background, has no input and ends at once. The second one takes the place of the
        // shell, its parent, and does not ask.
        QProcess process;
        process.start("/bin/sh", {"-c", "\"$0\" wait & exec \"$1\" wait", copy(uniqueName()), copy(parent)});
        QVERIFY(process.waitForReadyRead());
        QTRY_VERIFY(processNames().contains(parent));
        QTRY_VERIFY(!processNames().contains(uniqueName()));
        process.closeWriteChannel();
        QVERIFY(process.waitForFinished());
    }

private:
    /// The path of a copy of this program, \a name in the test's folder.
    QString copy(const QString &name) const
    {
        const QString path = file(name);
        if (!QDir().mkpath(QFileInfo(path).path()) || !QFile::copy(QCoreApplication::applicationFilePath(), path))
            qFatal("Cannot make %s", qUtf8Printable(path));
        return path;
    }
};

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    if (QFileInfo(QCoreApplication::applicationFilePath()).completeBaseName() != "tst_processes")
        return takeNote();
    ProcessesTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_processes.moc"
