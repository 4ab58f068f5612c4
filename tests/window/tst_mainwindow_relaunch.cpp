// The start of the updated application through the desktop shell, and the end of the updater.

#include "kit/qt/files.h"
#include "kit/qt/messagecatcher.h"
#include "kit/qt/platform.h"
#include "kit/qt/systemtools.h"
#include "kit/qt/windowtest.h"

#include <QDir>
#include <QtTest>

using namespace freshen;

namespace {

QString native(const QString &path)
{
    return QDir::toNativeSeparators(path);
}

/// The log line of a start.
QString startingLine(const QString &shell, const QString &executable)
{
    return QStringLiteral("starting ") + logged(QStringLiteral("\"%1\" \"%2\"").arg(shell, executable));
}

} // namespace

class MainWindowRelaunchTest : public WindowTest
{
    Q_OBJECT

protected:
    void prepare() override;
    void tidyUp() override;

private slots:
    void executableIsStartedThroughTheShell_data();
    void executableIsStartedThroughTheShell();
    void logTellsTheStart();
    void handOverIsUsedAsRead();
    void missingExecutableStartsTheShellAlone();
    void mixedCaseOfTheRootIsFound();
    void withoutAShellNothingIsStarted_data();
    void withoutAShellNothingIsStarted();
    void failedStartIsLogged();

private:
    /// Lets the hand-over file of \a window name an installation with \a executables, and starts the application.
    /// Returns whether the updater ended.
    [[nodiscard]] bool relaunch(TestWindow &window, const QStringList &executables = {QStringLiteral("Tavlopro.exe")});

    std::unique_ptr<SystemTools> m_tools;
    std::unique_ptr<QTemporaryDir> m_installation;
};

void MainWindowRelaunchTest::prepare()
{
    setArguments({QStringLiteral("other")});
    m_tools = std::make_unique<SystemTools>();
    m_installation = std::make_unique<QTemporaryDir>();
}

void MainWindowRelaunchTest::tidyUp()
{
    qunsetenv("SystemRoot");
    qunsetenv("ANOTHER");
    m_tools.reset();
}

bool MainWindowRelaunchTest::relaunch(TestWindow &window, const QStringList &executables)
{
    for (const QString &executable : executables)
        writeFile(m_installation->filePath(executable), QByteArray());
    writeFile(window.pathOf(QStringLiteral("settings.ini")), m_installation->path().toUtf8());
    takeLog();
    return quitsAfter([&window] { window.startTavlo(); });
}

void MainWindowRelaunchTest::executableIsStartedThroughTheShell_data()
{
    QTest::addColumn<QStringList>("executables");
    QTest::addColumn<QString>("started");
    const QString current = QStringLiteral("Tavlopro.exe");
    const QString old = QStringLiteral("Tavlopc.exe");
    QTest::newRow("both: Tavlopro.exe") << QStringList{old, current} << current;
    QTest::newRow("only Tavlopro.exe") << QStringList{current} << current;
    QTest::newRow("only Tavlopc.exe") << QStringList{old} << old;
}

void MainWindowRelaunchTest::executableIsStartedThroughTheShell()
{
    QFETCH(QStringList, executables);
    QFETCH(QString, started);
    TestWindow window;
    QVERIFY(relaunch(window, executables));
    QTRY_COMPARE(m_tools->shellArguments(), QStringList{native(m_installation->filePath(started))});
}

void MainWindowRelaunchTest::logTellsTheStart()
{
    TestWindow window;
    QVERIFY(relaunch(window));
    const QString starting =
        startingLine(m_tools->shell(), native(m_installation->filePath(QStringLiteral("Tavlopro.exe"))));
    const QStringList log = takeLog();
    const int start = log.indexOf(QStringLiteral("startTavlo"));
    QCOMPARE(QStringList(log.mid(start, 4)),
             QStringList({QStringLiteral("startTavlo"), starting, starting, QStringLiteral("success: true")}));
}

void MainWindowRelaunchTest::handOverIsUsedAsRead()
{
    TestWindow window;
    writeFile(m_installation->filePath(QStringLiteral("Tavlopro.exe")), QByteArray());
    const QString detour = m_installation->path() + QLatin1String("/../") + QDir(m_installation->path()).dirName();
    writeFile(window.pathOf(QStringLiteral("settings.ini")), detour.toUtf8() + "\nanother line");
    QVERIFY(quitsAfter([&window] { window.startTavlo(); }));
    QTRY_COMPARE(m_tools->shellArguments(), QStringList{native(detour + QLatin1String("/Tavlopro.exe"))});
}

void MainWindowRelaunchTest::missingExecutableStartsTheShellAlone()
{
    TestWindow window;
    QVERIFY(relaunch(window, {}));
    const QStringList log = takeLog();
    QVERIFY(log.contains(QStringLiteral("cant find file to start ") +
                         logged(native(m_installation->filePath(QStringLiteral("Tavlopro.exe")))) + QLatin1Char(' ') +
                         logged(native(m_installation->filePath(QStringLiteral("Tavlopc.exe"))))));
    QVERIFY(log.contains(startingLine(m_tools->shell(), QString())));
    // One argument, an empty one.
    QTRY_COMPARE(m_tools->shellArguments(), QStringList{QString()});
}

void MainWindowRelaunchTest::mixedCaseOfTheRootIsFound()
{
    if (isWindows())
        QSKIP("The case of a variable's name is the same as any other here.");
    const QByteArray root = qgetenv("SYSTEMROOT");
    qunsetenv("SYSTEMROOT");
    qputenv("SystemRoot", root);
    TestWindow window;
    QVERIFY(relaunch(window));
    QTRY_COMPARE(m_tools->shellArguments().size(), 1);
    QVERIFY(!takeLog().contains(QStringLiteral("explorer not found")));
}

void MainWindowRelaunchTest::withoutAShellNothingIsStarted_data()
{
    QTest::addColumn<bool>("hasRoot");
    QTest::addColumn<QByteArray>("another");
    QTest::newRow("no entry") << false << QByteArray();
    QTest::newRow("another entry's value mentions it") << true << QByteArray("%SystemRoot%\\temp");
}

void MainWindowRelaunchTest::withoutAShellNothingIsStarted()
{
    QFETCH(bool, hasRoot);
    QFETCH(QByteArray, another);
    if (!hasRoot)
        qunsetenv("SYSTEMROOT");
    if (!another.isEmpty())
        qputenv("ANOTHER", another);
    // Would note that it was started by itself.
    const QString executable = m_installation->filePath(QStringLiteral("Tavlopro.exe"));
    SystemTools::place(executable);
    TestWindow window;
    writeFile(window.pathOf(QStringLiteral("settings.ini")), m_installation->path().toUtf8());
    takeLog();
    QVERIFY(quitsAfter([&window] { window.startTavlo(); }));

    const QStringList log = takeLog();
    const int start = log.indexOf(QStringLiteral("startTavlo"));
    const QString starting = startingLine(QString(), native(executable));
    QCOMPARE(QStringList(log.mid(start, 5)),
             QStringList({QStringLiteral("startTavlo"), QStringLiteral("explorer not found"), starting, starting,
                          QStringLiteral("success: false")}));
    QTest::qWait(300);
    QVERIFY(!m_tools->isCalled(QStringLiteral("Tavlopro.exe")));
    QVERIFY(m_tools->shellArguments().isEmpty());
}

void MainWindowRelaunchTest::failedStartIsLogged()
{
    m_tools->removeShell();
    TestWindow window;
    QVERIFY(relaunch(window));
    QVERIFY(takeLog().contains(QStringLiteral("success: false")));
}

FRESHEN_WINDOW_TEST_MAIN(MainWindowRelaunchTest)
#include "tst_mainwindow_relaunch.moc"
