#include "install/runningprocesses.h"
#include "kit/qt/messagecatcher.h"
#include "kit/qt/platform.h"

#include <QtTest>

#include <cstdio>
#include <cstring>

using namespace freshen;

/// Runs copies of this very program under other names and looks for them in the list.
class RunningProcessesTest : public QObject
{
    Q_OBJECT

private slots:
    void ownProcessIsListed();
    void appendsToTheList();
    void logsOneEmptyLine();
    void processesByTheirFileName_data();
    void processesByTheirFileName();
    void duplicatesAreKept();
    void endedProcessIsNotListed();

private:
    /// A process of the program \a name, a copy of this one, which runs until its input is closed.
    using Process = std::unique_ptr<QProcess>;
    Process run(const QString &name);
    static void end(const Process &process);
};

namespace {

/// Names of all running processes.
QStringList processNames()
{
    const MessageCatcher catcher;
    QStringList names;
    if (!listRunningProcesses(names))
        return {"the list could not be read"};
    return names;
}

/// A name that no other process has, with room for one more character in what every system can tell.
QString uniqueName()
{
    return QString("T%1.exe").arg(QCoreApplication::applicationPid() % 100000000);
}

/// What the started copy does.
int waitForEndOfInput()
{
    std::puts("running");
    std::fflush(stdout);
    while (std::getchar() != EOF)
        ;
    return 0;
}

} // namespace

RunningProcessesTest::Process RunningProcessesTest::run(const QString &name)
{
    // The process's folder goes with it.
    auto process = std::make_unique<QProcess>();
    auto *folder = new QTemporaryDir;
    connect(process.get(), &QObject::destroyed, [folder] { delete folder; });
    const QString program = folder->filePath(name);
    if (!QFile::copy(QCoreApplication::applicationFilePath(), program))
        return nullptr;
    process->start(program, {"wait"});
    if (!process->waitForReadyRead(30000))
        return nullptr;
    return process;
}

void RunningProcessesTest::end(const Process &process)
{
    process->closeWriteChannel();
    process->waitForFinished(30000);
    QCOMPARE(process->exitCode(), 0);
}

void RunningProcessesTest::ownProcessIsListed()
{
    const QString own = QFileInfo(QCoreApplication::applicationFilePath()).fileName();
    const QStringList names = processNames();
    // Some systems tell no more than 15 characters of a name.
    const bool isListed = std::any_of(names.begin(), names.end(), [&own](const QString &name) {
        return name == own || (name.size() == 15 && own.startsWith(name));
    });
    QVERIFY2(isListed, qUtf8Printable(names.join(", ")));
}

void RunningProcessesTest::appendsToTheList()
{
    const MessageCatcher catcher;
    QStringList names = {"before"};
    QVERIFY(listRunningProcesses(names));
    QCOMPARE(names.first(), "before");
    QVERIFY(names.size() > 1);
    QVERIFY(!names.contains(QString()));
}

void RunningProcessesTest::logsOneEmptyLine()
{
    QStringList names;
    QCOMPARE(messagesOf([&names] { listRunningProcesses(names); }), QStringList{""});
}

void RunningProcessesTest::processesByTheirFileName_data()
{
    QTest::addColumn<QString>("name");
    const QString name = uniqueName();
    QTest::newRow("as it is spelled") << name;
    QTest::newRow("in capitals") << name.toUpper();
    QTest::newRow("with a blank") << "a " + name;
    QTest::newRow("with brackets") << "(" + name.left(8) + ") b";
}

void RunningProcessesTest::processesByTheirFileName()
{
    QFETCH(QString, name);
    QVERIFY(!processNames().contains(name));
    const Process process = run(name);
    QVERIFY(process);
    const QStringList during = processNames();
    end(process);
    const QStringList after = processNames();
    QVERIFY2(during.contains(name), qUtf8Printable(during.join(", ")));
    QVERIFY(!after.contains(name));
    // The same name in other letters is another name.
    QVERIFY(!during.contains(name.isUpper() ? name.toLower() : name.toUpper()));
}

void RunningProcessesTest::duplicatesAreKept()
{
    const QString name = uniqueName();
    const Process first = run(name);
    const Process second = run(name);
    QVERIFY(first && second);
    const QStringList names = processNames();
    end(first);
    end(second);
    QCOMPARE(names.count(name), 2);
}

/// It only waits for its parent to notice.
void RunningProcessesTest::endedProcessIsNotListed()
{
    if (isWindows())
        QSKIP("Ended processes leave nothing here.");
    const QTemporaryDir folder;
    const QString ended = folder.filePath(uniqueName());
    const QString parent = folder.filePath("parent");
    for (const QString &program : {ended, parent})
        QVERIFY(QFile::copy(QCoreApplication::applicationFilePath(), program));
    // In the background, the first has no input and ends at once; the second takes the place of the shell, which knew
    // of it.
    QProcess process;
    process.start("/bin/sh", {"-c", "\"$0\" wait & exec \"$1\" wait", ended, parent});
    QVERIFY(process.waitForReadyRead(30000));
    QTRY_VERIFY(processNames().contains("parent"));
    QTRY_VERIFY(!processNames().contains(uniqueName()));
    process.closeWriteChannel();
    QVERIFY(process.waitForFinished(30000));
}

int main(int argc, char *argv[])
{
    if (argc == 2 && std::strcmp(argv[1], "wait") == 0)
        return waitForEndOfInput();
    QCoreApplication application(argc, argv);
    RunningProcessesTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_runningprocesses.moc"
