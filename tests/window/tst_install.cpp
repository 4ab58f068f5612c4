// The installation of the unpacked package, and the start of the new application. The two programs of Windows that the
// updater starts are copies of the program systemtool: xcopy.exe is found in the system's folder, or natively through
// PATH, and explorer.exe through SYSTEMROOT.

#include "install/systemfolder.h"
#include "kit/qt/windowtest.h"

#include <QDir>

using namespace freshen;

using Files = QMap<QString, QByteArray>;

/// Changes something before the installation.
using Fault = std::function<void()>;

namespace {

const QString current = "Tavlopro.exe";
const QString old = "Tavlopc.exe";

QString native(const QString &path)
{
    return QDir::toNativeSeparators(path);
}

/// Beside the program.
QString batchFile()
{
    return QCoreApplication::applicationDirPath() + "/copyBatch.bat";
}

} // namespace

// Takes the place of the program's when it is linked.
QString freshen::systemFolder()
{
    // Natively the command interpreter has to be there.
    return isWindows() ? qEnvironmentVariable("FRESHEN_TEST_TOOLS") : QString("/bin");
}

/// Presses the button of a window that offers the installation of an unpacked package over an old application.
class MainWindowInstallTest : public WindowTest
{
    Q_OBJECT

    const QByteArray m_path = qgetenv("PATH");
    const QString m_systemRoot = qEnvironmentVariable("SYSTEMROOT");
    std::optional<TestWindow> m_window;

    QString destination() const
    {
        return file("old installation");
    }
    /// Lays out \a files in the installation, and nothing else.
    void install(const Files &files) const
    {
        QDir(destination()).removeRecursively();
        QDir().mkpath(destination());
        for (auto it = files.constBegin(); it != files.constEnd(); ++it)
            writeFile(destination() + '/' + it.key(), it.value());
    }
    Files installed() const
    {
        return treeOf(destination());
    }
    /// Presses the button of the window. Returns whether the updater ended and the shell was started.
    bool installs()
    {
        return quitsAfter([this] { m_window->multiButton.click(); }) &&
               QTest::qWaitFor([this] { return !callOf("explorer.exe").isEmpty(); }, 30000);
    }
    /// The arguments that the stand-in \a name was called with; empty while it was not.
    QStringList callOf(const QString &name) const
    {
        const QByteArray lines = readFile(file("tools/" + name + ".called"));
        return QString::fromLocal8Bit(lines).split('\n').mid(0, lines.count('\n'));
    }
    /// \a texts of the program with names for the folders and programs of the test, forward slashes, and apostrophes
    /// for quotation marks.
    QStringList readable(QStringList texts) const
    {
        texts.replaceInStrings("\\\\", "/").replaceInStrings("\\\"", "'").replaceInStrings("\"", "'");
        texts.replaceInStrings(m_window->parentDir, "<parent>").replaceInStrings(destination(), "<installation>");
        return texts.replaceInStrings(file("tools/Windows/explorer.exe"), "<shell>");
    }

private slots:
    void init()
    {
        WindowTest::init();
        QFile::remove(batchFile());
        QDir().rmdir(batchFile());
        install({{old, "old"}});
        m_window.emplace();
        writeFile(m_window->parentDir + "/out/Tavlopro/Tavlopro.exe", "new");
        writeFile(m_window->parentDir + "/settings.ini", destination().toUtf8());
        m_window->precheckTrigger.stop();
        m_window->pages.setCurrentIndex(1);
        connect(&m_window->multiButton, SIGNAL(clicked()), &*m_window, SLOT(installUpdate()));
        m_window->show();
        log().clear();

        // It lies beside the folders of the test programs.
        const QString standIn = QCoreApplication::applicationDirPath() + "/../../" FRESHEN_SYSTEM_TOOL;
        QDir().mkpath(file("tools/Windows"));
        for (const char *name : {"tools/xcopy.exe", "tools/Windows/explorer.exe"})
            QFile::copy(standIn, file(name));
        if (isWindows()) {
            for (const QString own : {"cmd.exe", "chcp.com"})
                QFile::copy(m_systemRoot + "/system32/" + own, file("tools/" + own));
        }
        const QByteArray tools = QFile::encodeName(native(file("tools")));
        qputenv("FRESHEN_TEST_TOOLS", tools);
        qputenv("PATH", tools + (isWindows() ? ';' : ':') + m_path);
        qputenv("SYSTEMROOT", tools + "/Windows");
        qputenv("FRESHEN_TEST_COPY", "copy");
    }
    void cleanup()
    {
        m_window.reset();
        // A shell that nobody has waited for may be about to note its call there.
        static_cast<void>(QTest::qWaitFor([this] { return QDir(folder()).removeRecursively(); }));
        WindowTest::cleanup();
    }

    void nothingIsDoneBeforeTheAnswer()
    {
        m_dialogs->expect([this](QMessageBox &box) {
            QVERIFY(box.parent() == nullptr);
            QCOMPARE(m_window->label.text(), "*Installing update...");
            QCOMPARE(m_window->multiButton.text(), "*Please wait!");
            QVERIFY(!m_window->multiButton.isEnabled());
            // Another press would bring another box.
            m_window->multiButton.setEnabled(true);
            m_window->multiButton.click();
            QCOMPARE(installed().keys(), QStringList{old});
            QVERIFY(!QFile::exists(batchFile()));
            DialogDriver::clicking(QMessageBox::Ok)(box);
        });
        QVERIFY(installs());
        const QString question =
            "Information: *Tavlopro Update [Ok|No] *We need to clean the old version first. Do you "
            "agree to delete all contents in:\n\n%1 ";
        QCOMPARE(m_dialogs->boxes(), QStringList{question.arg(destination())});
    }

    void answerDecidesTheCleaning_data()
    {
        const auto clicking = DialogDriver::clicking;
        const auto escaping = [](QMessageBox &box) { QTest::keyClick(&box, Qt::Key_Escape); };
        const Table<DialogDriver::Answer, QString, QString, bool, QString> table;
        table.row("Ok", clicking(QMessageBox::Ok), current, old, true, old);
        table.row("No, both executables then", clicking(QMessageBox::No), old, current, false, current);
        table.row("Escape", escaping, old, old, false, old);
    }
    void answerDecidesTheCleaning()
    {
        const auto [answer, before, after, isCleaned, started] =
            Table<DialogDriver::Answer, QString, QString, bool, QString>::current();
        const Files oldFiles = {{before, "old"}, {"keep.ini", "old"}, {"data.txt", "old"}, {"sub/keep.ini", "old"}};
        install(oldFiles);
        QFile::remove(m_window->parentDir + "/out/Tavlopro/" + current);
        writeFile(m_window->parentDir + "/out/Tavlopro/" + after, "new");
        writeFile(m_window->parentDir + "/out/Tavlopro/sub/file", "new");
        // The settings count as they are now.
        writeSettings({{"Updater/filesToKeep", QStringList{"keep.ini"}}});
        m_dialogs->expect(answer);
        QVERIFY(installs());

        Files expected = isCleaned ? Files{{"keep.ini", "old"}} : oldFiles;
        expected.insert(after, "new");
        expected.insert("sub/", {});
        expected.insert("sub/file", "new");
        QCOMPARE(installed(), expected);
        QCOMPARE(treeOf(m_window->parentDir).keys(), QStringList{"settings.ini"});
        QCOMPARE(callOf("explorer.exe"), QStringList{native(destination() + '/' + started)});
    }

    void handOverIsCleanedForTheCopyAndUsedAsReadForTheStart()
    {
        const QString detour = destination() + "/../" + QDir(destination()).dirName();
        writeFile(m_window->parentDir + "/settings.ini", detour.toUtf8() + "\na second line");
        m_dialogs->expect(QMessageBox::Ok);
        QVERIFY(installs());
        const QString source = native(m_window->parentDir + "/out/Tavlopro");
        QCOMPARE(callOf("xcopy.exe"), (QStringList{"/E", "/Y", "/G", "/K", source, destination()}));
        QCOMPARE(callOf("explorer.exe"), QStringList{native(detour + '/' + current)});
    }

    /// No events are handled during the copy.
    void windowIsDrawnBeforeTheCopy()
    {
        m_dialogs->expect(QMessageBox::No);
        bool isDrawn = false;
        QTimer idleTimer;
        connect(&idleTimer, &QTimer::timeout, this,
                [&] { isDrawn = isDrawn || (QFile::exists(batchFile()) && callOf("xcopy.exe").isEmpty()); });
        idleTimer.start(0);
        QVERIFY(installs());
        QVERIFY(isDrawn);
        QVERIFY(!callOf("xcopy.exe").isEmpty());
    }

    void failureEndsTheInstallation_data()
    {
        const QString wrong = "*The destination path seems wrong. Aborting!";
        const QString failed = "*Couldn't copy updated files. Aborting!\n\nError:\nSTD ERROR:\n";
        const QString noExecutable = "Testpath: '<installation>/Tavlopc.exe' '<installation>/Tavlopro.exe'";

        // Those with this label end the installation before the question.
        const QString start = "*Installing update...";
        const Table<bool, QString, QString, QString, Fault> table;
        table.row("no application", false, start, wrong, noExecutable, [this] { install({{"other.exe", ""}}); });
        table.row("no folder \"out\"", false, start, failed + "<parent>/out/", "No unpacked package in '<parent>/out/'",
                  [this] { QDir(m_window->parentDir + "/out").removeRecursively(); });
        table.row("exit code", true, "Error copying update!\n\n4", "", "Error copying",
                  [] { qputenv("FRESHEN_TEST_COPY", "fail"); });
        table.row("batch file that cannot be written", true, "Error copying update!\n\n0", "", "Error copying",
                  [] { QDir().mkpath(batchFile()); });
        table.row("no executable in the copy", true, start, failed + "odd" + lineEnd(), noExecutable,
                  [] { qputenv("FRESHEN_TEST_COPY", "complain"); });
    }
    void failureEndsTheInstallation()
    {
        const auto [isCleaned, label, box, message, fault] = Table<bool, QString, QString, QString, Fault>::current();
        install({{old, "old"}, {"logo.png", "kept"}});
        fault();
        const Files unpackedBefore = treeOf(m_window->parentDir);
        const Files installedAfter = isCleaned ? Files{{"logo.png", "kept"}} : installed();
        if (isCleaned)
            m_dialogs->expect(QMessageBox::Ok);
        if (!box.isEmpty())
            m_dialogs->expect(QMessageBox::Ok);
        m_window->multiButton.click();

        QCOMPARE(m_window->label.text(), label);
        QCOMPARE(m_window->label.toolTip(), m_window->label.text());
        if (!box.isEmpty()) {
            const QStringList shown = readable({QDir::fromNativeSeparators(m_dialogs->boxes().last())});
            QCOMPARE(shown, QStringList{"Information: *Tavlopro Update [Ok] " + box});
        }
        const QStringList lines = readable(log().lines());
        QVERIFY2(lines.contains(message), qUtf8Printable(lines.join('\n')));
        QVERIFY(!lines.contains("startTavlo"));
        QCOMPARE(treeOf(m_window->parentDir), unpackedBefore);
        QCOMPARE(installed(), installedAfter);
        // The window stays, its button without an effect.
        QVERIFY(!m_window->multiButton.isEnabled());
        m_window->multiButton.setEnabled(true);
        log().clear();
        m_window->multiButton.click();
        QVERIFY(log().lines().isEmpty());
        QVERIFY(m_window->isVisible());
    }

    void startThatCannotWorkIsLoggedAndEndsTheUpdater_data()
    {
        const Table<QStringList, Fault> table;
        table.row("no executable: the shell alone",
                  {"startTavlo", "cant find file to start '<installation>/Tavlopro.exe' '<installation>/Tavlopc.exe'",
                   "starting ''<shell>' '''", "starting ''<shell>' '''", "success: true"},
                  [this] { install({}); });
        table.row("no shell: nothing",
                  {"startTavlo", "explorer not found", "starting ''' '<installation>/Tavlopc.exe''",
                   "starting ''' '<installation>/Tavlopc.exe''", "success: false"},
                  [] { qunsetenv("SYSTEMROOT"); });
    }
    void startThatCannotWorkIsLoggedAndEndsTheUpdater()
    {
        const auto [lines, fault] = Table<QStringList, Fault>::current();
        fault();
        QVERIFY(quitsAfter([this] { m_window->startTavlo(); }));
        const QStringList log = readable(takeLog());
        QCOMPARE(log, lines);
        if (log.last() == "success: true")
            QTRY_COMPARE(callOf("explorer.exe"), QStringList{QString()});
    }
};

FRESHEN_WINDOW_TEST_MAIN(MainWindowInstallTest)
#include "tst_install.moc"
