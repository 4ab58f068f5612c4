// The ways in which the installation fails: what the user sees, and what survives.

#include "kit/qt/dialogdriver.h"
#include "kit/qt/files.h"
#include "kit/qt/installtest.h"
#include "kit/qt/messagecatcher.h"
#include "kit/qt/platform.h"
#include "kit/qt/settings.h"

#include <QDir>
#include <QLabel>
#include <QPushButton>
#include <QStorageInfo>
#include <QtTest>

using namespace freshen;

namespace {

const QString current = QStringLiteral("Tavlopro.exe");
const QString old = QStringLiteral("Tavlopc.exe");

} // namespace

class MainWindowInstallFailureTest : public InstallTest
{
    Q_OBJECT

private slots:
    void wrongDestinationIsReported_data();
    void wrongDestinationIsReported();
    void destinationIsLookedForBeforeAnythingElse_data();
    void destinationIsLookedForBeforeAnythingElse();
    void missingPackageIsReportedBeforeTheCleaning_data();
    void missingPackageIsReportedBeforeTheCleaning();
    void lackOfSpaceIsReportedBeforeTheQuestion_data();
    void lackOfSpaceIsReportedBeforeTheQuestion();
    void batchFileThatCannotBeWrittenIsAFailedCopy_data();
    void batchFileThatCannotBeWrittenIsAFailedCopy();
    void failedCopyIsShown_data();
    void failedCopyIsShown();
    void failedCopyIsLogged();
    void copyWithoutAnExecutableIsReported_data();
    void copyWithoutAnExecutableIsReported();
    void unremovableFileStays();

private:
    /// Presses the button of \a window in an event loop that nobody ends.
    void installInVain(TestWindow &window);
    /// Whether the run ended where it has to: the window open, its button without a role.
    [[nodiscard]] static bool isStuck(TestWindow &window);
};

void MainWindowInstallFailureTest::installInVain(TestWindow &window)
{
    constexpr int longEnough = 300;
    QVERIFY(!quitsAfter([&window] { click(window.multiButton()); }, longEnough));
}

bool MainWindowInstallFailureTest::isStuck(TestWindow &window)
{
    return window.isVisible() && !window.multiButton().isEnabled() &&
           !disconnect(&window.multiButton(), SIGNAL(clicked()), &window, SLOT(installUpdate()));
}

void MainWindowInstallFailureTest::wrongDestinationIsReported_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("en") << "The destination path seems wrong. Aborting!";
    QTest::newRow("de") << "Fehler im Zielpfad der Installation. Abbruch!";
}

void MainWindowInstallFailureTest::wrongDestinationIsReported()
{
    QFETCH(QString, text);
    const Catalogue catalogue(QString::fromLatin1(QTest::currentDataTag()));
    install({{QStringLiteral("other.exe"), "kept"}});
    DialogDriver dialogs;
    dialogs.expectAndClick(QMessageBox::Ok);
    TestWindow window;
    unpack(window);
    installInVain(window);
    const ShownBox expected = {QMessageBox::Information, QStringLiteral("Tavlopro Update"), text, QMessageBox::Ok};
    QCOMPARE(dialogs.boxes(), QVector<ShownBox>{expected});
    const QStringList log = {QStringLiteral("destDir \"%1\"").arg(destination()),
                             QStringLiteral("\"%1\"").arg(destination()), testpaths(destination())};
    QCOMPARE(takeLog(), log);
    // Nothing deleted, nothing copied.
    QCOMPARE(installed().keys(), QStringList{QStringLiteral("other.exe")});
    QVERIFY(tools->copyArguments().isEmpty());
    QVERIFY(QFile::exists(window.pathOf(QStringLiteral("out/Tavlopro/Tavlopro.exe"))));
    QVERIFY(isStuck(window));
}

void MainWindowInstallFailureTest::destinationIsLookedForBeforeAnythingElse_data()
{
    QTest::addColumn<QByteArray>("handOver");
    QTest::addColumn<QString>("destination");
    QTest::newRow("missing hand-over file") << QByteArray() << "";
    QTest::newRow("empty hand-over file") << QByteArray("") << "";
    QTest::newRow("empty first line") << QByteArray("\n/tmp\n") << "";
    QTest::newRow("folder that does not exist") << QByteArray("/no/such/folder") << "/no/such/folder";
}

void MainWindowInstallFailureTest::destinationIsLookedForBeforeAnythingElse()
{
    QFETCH(QByteArray, handOver);
    QFETCH(QString, destination);
    DialogDriver dialogs;
    dialogs.expectAndPress(Qt::Key_Return);
    TestWindow window;
    unpack(window, {});
    const QString file = window.pathOf(QStringLiteral("settings.ini"));
    if (handOver.isNull())
        QFile::remove(file);
    else
        writeFile(file, handOver);
    installInVain(window);
    QCOMPARE(dialogs.boxes().value(0).text, QStringLiteral("The destination path seems wrong. Aborting!"));
    QCOMPARE(takeLog().last(), testpaths(destination));
    QVERIFY(isStuck(window));
}

void MainWindowInstallFailureTest::missingPackageIsReportedBeforeTheCleaning_data()
{
    QTest::addColumn<bool>("hasFolder");
    QTest::newRow("out is missing") << false;
    QTest::newRow("out is empty") << true;
}

void MainWindowInstallFailureTest::missingPackageIsReportedBeforeTheCleaning()
{
    QFETCH(bool, hasFolder);
    DialogDriver dialogs;
    dialogs.expectAndClick(QMessageBox::Ok);
    TestWindow window;
    unpack(window, {});
    if (hasFolder)
        QVERIFY(QDir(window.parentDir).mkdir(QStringLiteral("out")));
    installInVain(window);
    QCOMPARE(dialogs.boxes().size(), 1);
    const ShownBox &box = dialogs.boxes().first();
    QCOMPARE(box.icon, QMessageBox::Information);
    QCOMPARE(box.title, QStringLiteral("Tavlopro Update"));
    QVERIFY(box.text.startsWith(QLatin1String("Couldn't copy updated files. Aborting!\n\nError:\nSTD ERROR:\n")));
    const QString out = QDir::toNativeSeparators(window.parentDir + QLatin1String("/out/"));
    QVERIFY(warnings().contains(QLatin1String("No unpacked package in ") + logged(out)));
    QCOMPARE(installed().keys(), QStringList{old});
    QVERIFY(tools->copyArguments().isEmpty());
    QVERIFY(isStuck(window));
}

void MainWindowInstallFailureTest::lackOfSpaceIsReportedBeforeTheQuestion_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("en") << "Couldn't copy updated files. Aborting!\n\nError:\n";
    QTest::newRow("de") << "Fehler beim Kopieren der aktualisierten Dateien. Abbruch!\n\nFehler:\n";
}

void MainWindowInstallFailureTest::lackOfSpaceIsReportedBeforeTheQuestion()
{
    QFETCH(QString, text);
    const Catalogue catalogue(QString::fromLatin1(QTest::currentDataTag()));
    DialogDriver dialogs;
    dialogs.expectAndClick(QMessageBox::Ok);
    TestWindow window;
    unpack(window);
    // Larger than the whole disk, but taking no space on it.
    QFile huge(window.pathOf(QStringLiteral("out/Tavlopro/huge")));
    QVERIFY(huge.open(QIODevice::WriteOnly));
    QVERIFY2(huge.resize(QStorageInfo(destination()).bytesTotal()), qPrintable(huge.errorString()));
    huge.close();
    installInVain(window);
    QCOMPARE(dialogs.boxes().size(), 1);
    const ShownBox &box = dialogs.boxes().first();
    QCOMPARE(box.icon, QMessageBox::Information);
    QCOMPARE(box.title, QStringLiteral("Tavlopro Update"));
    QCOMPARE(box.buttons, QMessageBox::Ok);
    QVERIFY2(box.text.startsWith(text + QLatin1String("Not enough space in ") + nativeDestination()),
             qUtf8Printable(box.text));
    const QString reason = box.text.mid(text.size());
    QVERIFY(warnings().contains(QLatin1String("Copy not begun: ") + logged(reason)));
    // Nothing deleted, nothing copied.
    QCOMPARE(installed().keys(), QStringList{old});
    QVERIFY(!QFile::exists(batchFile()));
    QVERIFY(tools->copyArguments().isEmpty());
    QVERIFY(huge.exists());
    QVERIFY(isStuck(window));
}

void MainWindowInstallFailureTest::batchFileThatCannotBeWrittenIsAFailedCopy_data()
{
    QTest::addColumn<int>("answer");
    QTest::newRow("cleaned") << int(QMessageBox::Ok);
    QTest::newRow("not cleaned") << int(QMessageBox::No);
}

void MainWindowInstallFailureTest::batchFileThatCannotBeWrittenIsAFailedCopy()
{
    QFETCH(int, answer);
    // A shell may take a folder for a batch file without lines, which goes well.
    QVERIFY(QDir().mkpath(batchFile()));
    DialogDriver dialogs;
    dialogs.expectAndClick(QMessageBox::StandardButton(answer));
    TestWindow window;
    unpack(window);
    installInVain(window);
    QCOMPARE(window.label().text(), QStringLiteral("Error copying update!\n\n0"));
    QCOMPARE(warnings().filter(QLatin1String("Cannot write ") + logged(batchFile())).size(), 1);
    const QStringList log = takeLog();
    QCOMPARE(log.last(), QStringLiteral("Error copying"));
    QVERIFY(!log.contains(logged(QLatin1Char('"') + batchFile() + QLatin1Char('"'))));
    QVERIFY(tools->copyArguments().isEmpty());
    QVERIFY(tools->shellArguments().isEmpty());
    QCOMPARE(dialogs.boxes().size(), 1);
    QVERIFY(QFile::exists(window.pathOf(QStringLiteral("out/Tavlopro/Tavlopro.exe"))));
    QCOMPARE(installed().keys(), answer == QMessageBox::Ok ? QStringList() : QStringList{old});
    QVERIFY(isStuck(window));
}

void MainWindowInstallFailureTest::failedCopyIsShown_data()
{
    QTest::addColumn<QByteArray>("plan");
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("label");
    // In English in every language.
    QTest::newRow("exit code 1") << QByteArray("exit 1\n") << "en"
                                 << "Error copying update!\n\n1";
    QTest::newRow("exit code 4") << QByteArray("exit 4\n") << "de"
                                 << "Error copying update!\n\n4";
    if (isWindows())
        return;
    // The tool's parent is the command interpreter.
    QTest::newRow("crashed") << QByteArray("run kill -9 $(cut -d ' ' -f 4 /proc/$PPID/stat)\n") << "en"
                             << "Error copying update!\n\n9";
}

void MainWindowInstallFailureTest::failedCopyIsShown()
{
    QFETCH(QByteArray, plan);
    QFETCH(QString, language);
    const Catalogue catalogue(language);
    tools->setCopyPlan(plan);
    install({{old, "old"}, {QStringLiteral("logo.png"), "kept"}});
    DialogDriver dialogs;
    dialogs.expectAndClick(QMessageBox::Ok);
    TestWindow window;
    unpack(window);
    installInVain(window);
    QTEST(window.label().text(), "label");
    QCOMPARE(window.label().toolTip(), window.label().text());
    // No further box, no relaunch; the unpacked package stays, and of the installation what the cleaning left.
    QCOMPARE(dialogs.boxes().size(), 1);
    QVERIFY(tools->shellArguments().isEmpty());
    QVERIFY(QFile::exists(window.pathOf(QStringLiteral("out/Tavlopro/Tavlopro.exe"))));
    QCOMPARE(installed().keys(), QStringList{QStringLiteral("logo.png")});
    QVERIFY(isStuck(window));
}

void MainWindowInstallFailureTest::failedCopyIsLogged()
{
    tools->setCopyPlan("print some\ncomplain no room\nexit 5\n");
    DialogDriver dialogs;
    dialogs.expectAndClick(QMessageBox::No);
    TestWindow window;
    unpack(window);
    installInVain(window);
    const QStringList expected = {
        QStringLiteral("destDir \"%1\"").arg(destination()),
        QStringLiteral("\"%1\"").arg(destination()),
        QStringLiteral("true"),
        logged(QLatin1Char('"') + batchFile() + QLatin1Char('"')),
        QStringLiteral("true"),
        logged(QStringLiteral("STD ERROR:\nno room") + QString::fromLatin1(lineEnd())),
        QStringLiteral("UnknownError \"Unknown error\" 5 NormalExit"),
        QStringLiteral("Error copying"),
    };
    QStringList log = takeLog();
    // On Windows, the interpreter first shows the command.
    const QString output = log.takeAt(6);
    QVERIFY(output.startsWith(QLatin1String("STD OUT:\n \"")));
    QVERIFY(output.endsWith(logged(QStringLiteral("some") + QString::fromLatin1(lineEnd())).mid(1)));
    QCOMPARE(log, expected);
}

void MainWindowInstallFailureTest::copyWithoutAnExecutableIsReported_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("en") << "Couldn't copy updated files. Aborting!\n\nError:\nSTD ERROR:\nodd";
    QTest::newRow("de") << "Fehler beim Kopieren der aktualisierten Dateien. Abbruch!\n\nFehler:\nSTD ERROR:\nodd";
}

void MainWindowInstallFailureTest::copyWithoutAnExecutableIsReported()
{
    QFETCH(QString, text);
    const Catalogue catalogue(QString::fromLatin1(QTest::currentDataTag()));
    tools->setCopyPlan("complain odd\n");
    DialogDriver dialogs;
    dialogs.expectAndClick(QMessageBox::Ok);
    dialogs.expectAndClick(QMessageBox::Ok);
    TestWindow window;
    unpack(window);
    installInVain(window);
    const ShownBox expected = {QMessageBox::Information, QStringLiteral("Tavlopro Update"),
                               text + QString::fromLatin1(lineEnd()), QMessageBox::Ok};
    QCOMPARE(dialogs.boxes().value(1), expected);
    QCOMPARE(takeLog().last(), testpaths(destination()));
    QVERIFY(QFile::exists(window.pathOf(QStringLiteral("out/Tavlopro/Tavlopro.exe"))));
    QVERIFY(tools->shellArguments().isEmpty());
    QVERIFY(isStuck(window));
}

void MainWindowInstallFailureTest::unremovableFileStays()
{
    const QString locked = destination() + QLatin1String("/locked");
    writeFile(locked + QLatin1String("/file"), "stays");
    QVERIFY(QFile::setPermissions(locked, QFile::ReadOwner | QFile::ExeOwner));
    QFile probe(locked + QLatin1String("/probe"));
    const bool isLocked = !probe.open(QIODevice::WriteOnly);
    if (!isLocked) {
        probe.remove();
        QSKIP("This user may write into every folder");
    }
    DialogDriver dialogs;
    dialogs.expectAndClick(QMessageBox::Ok);
    TestWindow window;
    unpack(window);
    QVERIFY(quitsAfter([&window] { click(window.multiButton()); }));
    QFile::setPermissions(locked, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QCOMPARE(installed().keys(), QStringList({current, QStringLiteral("locked/"), QStringLiteral("locked/file")}));
    QTRY_COMPARE(tools->shellArguments().size(), 1);
}

FRESHEN_WINDOW_TEST_MAIN(MainWindowInstallFailureTest)
#include "tst_mainwindow_installfailure.moc"
