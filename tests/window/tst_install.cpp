// The installation of the unpacked package, and the start of the new application.

#include "kit/qt/installtest.h"
#include "kit/qt/platform.h"

#include <QDir>

using namespace freshen;

/// Changes something before the installation.
using Fault = std::function<void()>;

namespace {

const QString current = "Tavlopro.exe";
const QString old = "Tavlopc.exe";

QString native(const QString &path)
{
    return QDir::toNativeSeparators(path);
}

} // namespace

class MainWindowInstallTest : public InstallTest
{
    Q_OBJECT

    /// \a texts of the program with names for the folders and programs of the test, forward slashes, and apostrophes
    /// for quotation marks.
    QStringList readable(QStringList texts) const
    {
        texts.replaceInStrings("\\\\", "/").replaceInStrings("\\\"", "'").replaceInStrings("\"", "'");
        texts.replaceInStrings(m_window->parentDir, "<parent>").replaceInStrings(destination(), "<installation>");
        texts.replaceInStrings(toolFile("Windows/explorer.exe"), "<shell>");
        return texts.replaceInStrings(batchFile(), "<batch file>");
    }

private slots:
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
            DialogDriver::click(box, QMessageBox::Ok);
        });
        QVERIFY(installs());
        const QString question =
            "Information: *Tavlopro Update [Ok|No] *We need to clean the old version first. Do you "
            "agree to delete all contents in:\n\n%1 ";
        QCOMPARE(m_dialogs->boxes(), QStringList{question.arg(destination())});
    }

    void answerDecidesTheCleaning_data()
    {
        const auto clicking = [](QMessageBox::StandardButton button) {
            return [button](QMessageBox &box) { DialogDriver::click(box, button); };
        };
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
        QFile::remove(m_window->pathOf("out/Tavlopro/" + current));
        writeFile(m_window->pathOf("out/Tavlopro/" + after), "new");
        writeFile(m_window->pathOf("out/Tavlopro/sub/file"), "new");
        // The settings count as they are now.
        writeSetting("Updater/filesToKeep", QStringList{"keep.ini"});
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
        writeFile(m_window->pathOf("settings.ini"), detour.toUtf8() + "\na second line");
        m_dialogs->expectAndClick(QMessageBox::Ok);
        QVERIFY(installs());
        const QString source = native(m_window->parentDir + "/out/Tavlopro");
        QCOMPARE(callOf("xcopy.exe"), (QStringList{"/E", "/Y", "/G", "/K", source, destination()}));
        QCOMPARE(callOf("explorer.exe"), QStringList{native(detour + '/' + current)});
    }

    void logTellsTheInstallation()
    {
        install({{old, "old"}, {"logo.png", "old"}, {"sub/file", "old"}});
        m_dialogs->expectAndClick(QMessageBox::Ok);
        QVERIFY(installs());
        QStringList log = readable(takeLog());
        // On Windows, the interpreter shows the command.
        QVERIFY(log.takeAt(14).startsWith("STD OUT:\n '"));
        const QStringList expected = {
            "destDir '<installation>'",
            "'<installation>'",
            "deleteTempDir '<installation>' false",
            "'logo.png'",
            "skipping ...",
            "'Tavlopc.exe'",
            "'<installation>/sub'",
            "deleteTempDir '<installation>/sub' true",
            "'file'",
            "'<installation>/sub'",
            "true",
            "''<batch file>''",
            "true",
            "'STD ERROR:\\n'",
            "UnknownError 'Unknown error' 0 NormalExit",
            "'<installation>'",
            "4",
            "('.', '..', 'logo.png', 'Tavlopro.exe')",
            "deleteTempDir '<parent>/out' true",
            "'<parent>/out/Tavlopro'",
            "deleteTempDir '<parent>/out/Tavlopro' true",
            "'Tavlopro.exe'",
            "'<parent>/out/Tavlopro'",
            "'<parent>/out'",
            "startTavlo",
            "starting ''<shell>' '<installation>/Tavlopro.exe''",
            "starting ''<shell>' '<installation>/Tavlopro.exe''",
            "success: true",
        };
        QCOMPARE(log, expected);
    }

    /// Events are handled once more when all is ready for the copy, which nothing interrupts.
    void windowIsDrawnBeforeTheCopy()
    {
        m_dialogs->expectAndClick(QMessageBox::No);
        bool isDrawn = false;
        QTimer atEachChance;
        connect(&atEachChance, &QTimer::timeout, this,
                [&] { isDrawn = isDrawn || (QFile::exists(batchFile()) && callOf("xcopy.exe").isEmpty()); });
        atEachChance.start(0);
        QVERIFY(installs());
        QVERIFY(isDrawn);
        QVERIFY(!callOf("xcopy.exe").isEmpty());
    }

    void failureEndsTheInstallation_data()
    {
        const QString wrong = "*The destination path seems wrong. Aborting!";
        const QString failed = "*Couldn't copy updated files. Aborting!\n\nError:\n";
        const QString noRoom = "Not enough space in <installation>: 3 bytes needed, 2 bytes free";
        const QString noExecutable = "Testpath: '<installation>/Tavlopc.exe' '<installation>/Tavlopro.exe'";

        // Those with the label of the start end it before the question.
        const QString start = "*Installing update...";
        const Table<bool, QString, QString, QString, Fault> table;
        table.row("no application", false, start, wrong, noExecutable, [this] { install({{"other.exe", ""}}); });
        table.row("no hand-over file", false, start, wrong, "Testpath: '/Tavlopc.exe' '/Tavlopro.exe'",
                  [this] { QFile::remove(m_window->pathOf("settings.ini")); });
        table.row("no folder \"out\"", false, start, failed + "STD ERROR:\n<parent>/out/",
                  "No unpacked package in '<parent>/out/'",
                  [this] { QDir(m_window->pathOf("out")).removeRecursively(); });
        table.row("no room", false, start, failed + noRoom, "Copy not begun: '" + noRoom + "'", [this] {
            install({{old, ""}, {"logo.png", "x"}});
            diskSpace = DiskSpace{2, 1};
        });
        table.row("exit code", true, "Error copying update!\n\n4", "", "Error copying",
                  [] { qputenv("FRESHEN_TEST_COPY", "fail"); });
        table.row("batch file that cannot be written", true, "Error copying update!\n\n0", "", "Error copying",
                  [] { QDir().mkpath(batchFile()); });
        table.row("no executable in the copy", true, start, failed + "STD ERROR:\nodd" + lineEnd(), noExecutable,
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
            m_dialogs->expectAndClick(QMessageBox::Ok);
        if (!box.isEmpty())
            m_dialogs->expectAndClick(QMessageBox::Ok);
        click(m_window->multiButton);

        QCOMPARE(m_window->label.text(), label);
        QCOMPARE(m_window->label.toolTip(), m_window->label.text());
        if (!box.isEmpty()) {
            const QStringList shown = readable({QDir::fromNativeSeparators(m_dialogs->boxes().last())});
            QCOMPARE(shown, QStringList{"Information: *Tavlopro Update [Ok] " + box});
        }
        const QStringList warned = warnings();
        const QStringList log = readable(takeLog() + warned);
        QVERIFY2(log.contains(message), qUtf8Printable(log.join('\n')));
        QVERIFY(!log.contains("startTavlo"));
        QCOMPARE(treeOf(m_window->parentDir), unpackedBefore);
        QCOMPARE(installed(), installedAfter);
        // The window stays, its button without an effect.
        QVERIFY(!m_window->multiButton.isEnabled());
        m_window->multiButton.setEnabled(true);
        click(m_window->multiButton);
        QVERIFY(takeLog().isEmpty());
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
