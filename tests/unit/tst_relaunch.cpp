#include "install/relaunch.h"
#include "kit/qt/files.h"
#include "kit/qt/platform.h"

#include <QtTest>

#include <cstring>

using namespace freshen;

/// The shell is a copy of this very program, which notes how it was called.
class RelaunchTest : public QObject
{
    Q_OBJECT

private slots:
    void shell_data();
    void shell();
    void command_data();
    void command();
    void shellGetsTheExecutable_data();
    void shellGetsTheExecutable();
    void nothingStartsWithoutAShell();
    void shellThatDoesNotExist();
};

namespace {

/// The file beside it into which a started copy writes how it was called.
const QString noteFile = "call.txt";

/// What a started copy does.
int takeNote(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    const QString note = QCoreApplication::applicationDirPath() + '/' + noteFile;
    const QString draft = note + ".draft";
    writeFile(draft, callOfThisProcess().toUtf8());
    return QFile::rename(draft, note) ? 0 : 1;
}

/// Puts a copy of this program to \a path.
bool makeProgram(const QString &path)
{
    return QDir().mkpath(QFileInfo(path).path()) && QFile::copy(QCoreApplication::applicationFilePath(), path);
}

} // namespace

void RelaunchTest::shell_data()
{
    QTest::addColumn<QStringList>("environment");
    QTest::addColumn<QString>("program");
    QTest::newRow("in capitals") << QStringList{"PATH=x", "SYSTEMROOT=C:/Windows", "TEMP=y"}
                                 << "C:/Windows/explorer.exe";
    QTest::newRow("in mixed case, as Windows spells it")
        << QStringList{"SystemRoot=C:/WINDOWS"} << "C:/WINDOWS/explorer.exe";
    QTest::newRow("in lower case") << QStringList{"systemroot=C:/Windows"} << "C:/Windows/explorer.exe";
    QTest::newRow("no entry") << QStringList{"PATH=x", "ROOT=C:/Windows"} << QString();
    QTest::newRow("no environment") << QStringList() << QString();
    QTest::newRow("a second entry whose value mentions it")
        << QStringList{"SYSTEMROOT=C:/Windows", "Path=%SystemRoot%/system32"} << QString();
    QTest::newRow("a second entry whose name holds it")
        << QStringList{"SYSTEMROOT=C:/Windows", "MYSYSTEMROOT2=D:/"} << QString();
    QTest::newRow("twice the same") << QStringList{"SYSTEMROOT=C:/Windows", "SYSTEMROOT=C:/Windows"} << QString();
    QTest::newRow("the only entry merely mentions it")
        << QStringList{"Path=C:/systemroot/bin"} << "C:/systemroot/bin/explorer.exe";
    QTest::newRow("the part after the last equals sign") << QStringList{"SYSTEMROOT=C:/a=b"} << "b/explorer.exe";
    QTest::newRow("empty value") << QStringList{"SYSTEMROOT="} << "/explorer.exe";
}

void RelaunchTest::shell()
{
    QFETCH(QStringList, environment);
    QFETCH(QString, program);
    const std::optional<QString> found = shellProgram(environment);
    QCOMPARE(found.has_value(), !program.isNull());
    QCOMPARE(found.value_or(QString()), QDir::toNativeSeparators(program));
}

void RelaunchTest::command_data()
{
    QTest::addColumn<QString>("shell");
    QTest::addColumn<QString>("executable");
    QTest::addColumn<QString>("command");
    QTest::newRow("both") << "C:\\Windows\\explorer.exe"
                          << "C:\\Program Files\\Tavlopro.exe"
                          << R"("C:\Windows\explorer.exe" "C:\Program Files\Tavlopro.exe")";
    QTest::newRow("no executable") << "C:\\Windows\\explorer.exe"
                                   << ""
                                   << R"("C:\Windows\explorer.exe" "")";
    QTest::newRow("no shell") << QString() << "C:\\Tavlopro.exe"
                              << R"("" "C:\Tavlopro.exe")";
    QTest::newRow("neither") << QString() << QString() << R"("" "")";
    QTest::newRow("place holders in the paths") << "C:\\%2\\explorer.exe"
                                                << "C:\\%1.exe"
                                                << R"("C:\%2\explorer.exe" "C:\%1.exe")";
}

void RelaunchTest::command()
{
    QFETCH(QString, shell);
    QFETCH(QString, executable);
    QTEST(relaunchCommand(shell, executable), "command");
}

void RelaunchTest::shellGetsTheExecutable_data()
{
    QTest::addColumn<QString>("executable");
    QTest::newRow("plain") << "Tavlopro.exe";
    QTest::newRow("with blanks and umlauts") << "C:/Prögramme/Tavlo pro/Tavlopro.exe";
    QTest::newRow("no executable: one empty argument") << "";
    // The shell splits what is not quoted at some of these; others mean something to a command interpreter.
    for (const char *folder : {"a,b", "a=b", "a;b", "a&b", "a & b", "%x%", "100 %", "^a", "a!b!", "(x86)", "a'b", "@a",
                               "~a", "a+b", "[a]", "{a}", "`a`", "$a", "ж東"})
        QTest::newRow(folder) << QString("C:/%1/Tavlopro.exe").arg(folder);
}

void RelaunchTest::shellGetsTheExecutable()
{
    QFETCH(QString, executable);
    const QTemporaryDir place;
    const QString program = place.filePath("Win dows/explorer.exe");
    const QString note = place.filePath("Win dows/" + noteFile);
    QVERIFY(makeProgram(program));
    QVERIFY(startThroughShell(QDir::toNativeSeparators(program), executable));
    QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(note), 30000);
    const QString call = QString::fromUtf8(readFile(note));
    if (isWindows()) {
        const QString shell = '"' + QDir::toNativeSeparators(program) + '"';
        QVERIFY2(call.startsWith(shell + ' '), qUtf8Printable(call));
        // However many blanks stand between them.
        QCOMPARE(call.mid(shell.size()).trimmed(), '"' + executable + '"');
    } else {
        QCOMPARE(call, executable + '\n');
    }
}

/// Above all not the application itself, which would run with the updater's rights.
void RelaunchTest::nothingStartsWithoutAShell()
{
    const QTemporaryDir place;
    const QString application = place.filePath("Tavlopro.exe");
    QVERIFY(makeProgram(application));
    QVERIFY(!startThroughShell(QString(), QDir::toNativeSeparators(application)));
    QVERIFY(!startThroughShell(QString(), QString()));

    // Started now, after it, and by when it has taken its note the other one would have taken its own.
    const QString shell = place.filePath("Windows/explorer.exe");
    QVERIFY(makeProgram(shell));
    QVERIFY(startThroughShell(shell, application));
    QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(place.filePath("Windows/" + noteFile)), 30000);
    QTest::qWait(200);
    QVERIFY(!QFile::exists(place.filePath(noteFile)));
}

void RelaunchTest::shellThatDoesNotExist()
{
    const QTemporaryDir place;
    QVERIFY(!startThroughShell(place.filePath("explorer.exe"), place.filePath("Tavlopro.exe")));
}

int main(int argc, char *argv[])
{
    const QString program = QFileInfo(QFile::decodeName(argv[0])).fileName();
    if (program == "explorer.exe" || program == "Tavlopro.exe")
        return takeNote(argc, argv);
    QCoreApplication application(argc, argv);
    RelaunchTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_relaunch.moc"
