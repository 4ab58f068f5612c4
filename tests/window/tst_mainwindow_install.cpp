// The installation: the question, the cleaning, the copy, and the road that ends with the new application. The ways in
// which it fails are in tst_mainwindow_installfailure.cpp.

#include "kit/qt/dialogdriver.h"
#include "kit/qt/files.h"
#include "kit/qt/httpserver.h"
#include "kit/qt/installtest.h"
#include "kit/qt/messagecatcher.h"
#include "kit/qt/packagemaker.h"
#include "kit/qt/platform.h"
#include "kit/qt/settings.h"

#include <QDir>
#include <QLabel>
#include <QPushButton>
#include <QTreeWidget>
#include <QtTest>

using namespace freshen;

namespace {

using Files = QMap<QString, QByteArray>;

const QString current = QStringLiteral("Tavlopro.exe");
const QString old = QStringLiteral("Tavlopc.exe");
const QString settings = QStringLiteral("settings.ini");

} // namespace

class MainWindowInstallTest : public InstallTest
{
    Q_OBJECT

private slots:
    void questionIsAsked_data();
    void questionIsAsked();
    void answerDecidesTheCleaning_data();
    void answerDecidesTheCleaning();
    void listedFilesAreKept_data();
    void listedFilesAreKept();
    void hiddenFilesStay();
    void linkedFoldersAreEmptied();
    void lastEntryIsCopied();
    void eitherExecutableIsAnInstallation_data();
    void eitherExecutableIsAnInstallation();
    void batchFileIsExact();
    void handOverIsCleaned();
    void unpackedPackageIsRemoved();
    void logTellsTheInstallation();
    void windowIsDrawnBeforeTheCopy();
    void secondPressDoesNothing();
    void processErrorsAreNamed_data();
    void processErrorsAreNamed();
    void wholeRoad_data();
    void wholeRoad();
};

void MainWindowInstallTest::questionIsAsked_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("label");
    QTest::addColumn<QString>("button");
    QTest::newRow("en") << "We need to clean the old version first. Do you agree to delete all contents in:\n\n%1 "
                        << "Installing update ..."
                        << "Please wait!";
    QTest::newRow("de")
        << "Es wird empfohlen die alte Version komplett zu entfernen. Sind Sie einverstanden den Inhalt "
           "des folgenden Ordners zu löschen?\n\n%1 "
        << "Installiere Update ..."
        << "Bitte warten!";
    QTest::newRow("no catalogue")
        << "We need to clean the old version first. Do you agree to delete all contents in:\n\n%1 "
        << "Installing update..."
        << "Please wait!";
}

void MainWindowInstallTest::questionIsAsked()
{
    QFETCH(QString, text);
    QFETCH(QString, label);
    QFETCH(QString, button);
    const Catalogue catalogue(QString::fromLatin1(QTest::currentDataTag()));
    DialogDriver dialogs;
    TestWindow window;
    unpack(window);
    dialogs.expect([&](QMessageBox &box) {
        QVERIFY(box.parent() == nullptr);
        QCOMPARE(window.label().text(), label);
        QCOMPARE(window.multiButton().text(), button);
        QVERIFY(!window.multiButton().isEnabled());
        // Nothing has been done before the answer.
        QCOMPARE(installed().keys(), QStringList{old});
        QVERIFY(!QFile::exists(batchFile()));
        DialogDriver::click(box, QMessageBox::Ok);
    });
    QVERIFY(quitsAfter([&window] { click(window.multiButton()); }));
    const ShownBox expected = {QMessageBox::Information, QStringLiteral("Tavlopro Update"), text.arg(destination()),
                               QMessageBox::Ok | QMessageBox::No};
    QCOMPARE(dialogs.boxes(), QVector<ShownBox>{expected});
}

void MainWindowInstallTest::answerDecidesTheCleaning_data()
{
    QTest::addColumn<int>("button");
    QTest::addColumn<int>("key");
    QTest::addColumn<bool>("isCleaned");
    QTest::newRow("Ok") << int(QMessageBox::Ok) << 0 << true;
    QTest::newRow("No still copies and relaunches") << int(QMessageBox::No) << 0 << false;
    QTest::newRow("Escape answers No") << 0 << int(Qt::Key_Escape) << false;
}

void MainWindowInstallTest::answerDecidesTheCleaning()
{
    QFETCH(int, button);
    QFETCH(int, key);
    QFETCH(bool, isCleaned);
    install({{old, "old"}, {current, "old"}, {QStringLiteral("data.txt"), "old"}, {QStringLiteral("sub/a"), "old"}});
    DialogDriver dialogs;
    if (key == 0)
        dialogs.expectAndClick(QMessageBox::StandardButton(button));
    else
        dialogs.expectAndPress(Qt::Key(key));
    TestWindow window;
    unpack(window, {{QStringLiteral("Tavlopro/Tavlopro.exe"), "new"}, {QStringLiteral("Tavlopro/sub/b"), "new"}});
    QVERIFY(quitsAfter([&window] { click(window.multiButton()); }));

    Files expected = {{current, "new"}, {QStringLiteral("sub/"), {}}, {QStringLiteral("sub/b"), "new"}};
    if (!isCleaned) {
        expected.insert(old, "old");
        expected.insert(QStringLiteral("data.txt"), "old");
        expected.insert(QStringLiteral("sub/a"), "old");
    }
    QCOMPARE(installed(), expected);
    QTRY_COMPARE(tools->shellArguments(), QStringList{nativeDestination() + QDir::separator() + current});
}

void MainWindowInstallTest::listedFilesAreKept_data()
{
    QTest::addColumn<QVariant>("list");
    QTest::addColumn<QStringList>("kept");
    QTest::newRow("settings.ini is kept, its namesake in a subfolder is not")
        << QVariant(QStringList{settings}) << QStringList{settings};
    QTest::newRow("Settings.ini does not protect settings.ini")
        << QVariant(QStringList{QStringLiteral("Settings.ini")}) << QStringList();
    QTest::newRow("empty list") << QVariant(QStringList()) << QStringList();
    QTest::newRow("missing list") << QVariant() << QStringList();
    QTest::newRow("a folder's name protects nothing") << QVariant(QStringList{QStringLiteral("sub")}) << QStringList();
    QTest::newRow("a path protects nothing")
        << QVariant(QStringList{QStringLiteral("sub/settings.ini")}) << QStringList();
    QTest::newRow("no wildcards") << QVariant(QStringList{QStringLiteral("*.ini")}) << QStringList();
    QTest::newRow("several") << QVariant(QStringList{QStringLiteral("logo.png"), settings})
                             << QStringList{QStringLiteral("logo.png"), settings};
    QTest::newRow("a single text") << QVariant(settings) << QStringList{settings};
}

void MainWindowInstallTest::listedFilesAreKept()
{
    QFETCH(QVariant, list);
    QFETCH(QStringList, kept);
    install({{old, "old"},
             {settings, "old"},
             {QStringLiteral("logo.png"), "old"},
             {QStringLiteral("sub/settings.ini"), "old"},
             {QStringLiteral("sub/deep/logo.png"), "old"}});
    DialogDriver dialogs;
    dialogs.expectAndClick(QMessageBox::Ok);
    TestWindow window;
    unpack(window);
    // After the constructor, which adds to the list; it is read anew.
    clearSettings();
    if (list.isValid())
        writeSetting("Updater/filesToKeep", list);
    QVERIFY(quitsAfter([&window] { click(window.multiButton()); }));
    Files expected = {{current, "new"}};
    for (const QString &file : kept)
        expected.insert(file, "old");
    QCOMPARE(installed(), expected);
}

void MainWindowInstallTest::hiddenFilesStay()
{
    install({{old, "old"},
             {QStringLiteral(".hidden"), "old"},
             {QStringLiteral("sub/.hidden"), "old"},
             {QStringLiteral("sub/shown"), "old"}});
    hideDotted(destination());
    DialogDriver dialogs;
    dialogs.expectAndClick(QMessageBox::Ok);
    TestWindow window;
    unpack(window);
    QVERIFY(quitsAfter([&window] { click(window.multiButton()); }));
    const Files expected = {{current, "new"},
                            {QStringLiteral(".hidden"), "old"},
                            {QStringLiteral("sub/"), {}},
                            {QStringLiteral("sub/.hidden"), "old"}};
    QCOMPARE(installed(), expected);
    QVERIFY(!takeLog().contains(QStringLiteral("\".hidden\"")));
}

void MainWindowInstallTest::linkedFoldersAreEmptied()
{
    if (isWindows())
        QSKIP("There are no links to folders here.");
    const QTemporaryDir elsewhere;
    writeFile(elsewhere.filePath(QStringLiteral("file")), "linked");
    QVERIFY(QFile::link(elsewhere.path(), destination() + QLatin1String("/link")));
    DialogDriver dialogs;
    dialogs.expectAndClick(QMessageBox::Ok);
    TestWindow window;
    unpack(window);
    QVERIFY(quitsAfter([&window] { click(window.multiButton()); }));
    QVERIFY(treeOf(elsewhere.path()).isEmpty());
}

void MainWindowInstallTest::lastEntryIsCopied()
{
    DialogDriver dialogs;
    dialogs.expectAndClick(QMessageBox::Ok);
    TestWindow window;
    // Regardless of case, "b" comes after "A", and "Z" after both.
    unpack(window, {{QStringLiteral("A/Tavlopro.exe"), "first"},
                    {QStringLiteral("Z/Tavlopro.exe"), "last"},
                    {QStringLiteral("b/Tavlopro.exe"), "middle"}});
    QVERIFY(quitsAfter([&window] { click(window.multiButton()); }));
    QCOMPARE(installed().value(current), QByteArray("last"));
    QVERIFY(tools->copyArguments().value(4).endsWith(QDir::toNativeSeparators(QStringLiteral("/out/Z"))));
}

void MainWindowInstallTest::eitherExecutableIsAnInstallation_data()
{
    QTest::addColumn<QString>("before");
    QTest::addColumn<QString>("after");
    QTest::newRow("only Tavlopc.exe passes both tests") << old << old;
    QTest::newRow("only Tavlopro.exe passes both tests") << current << current;
    QTest::newRow("Tavlopro.exe takes over from Tavlopc.exe") << old << current;
}

void MainWindowInstallTest::eitherExecutableIsAnInstallation()
{
    QFETCH(QString, before);
    QFETCH(QString, after);
    install({{before, "old"}});
    DialogDriver dialogs;
    dialogs.expectAndClick(QMessageBox::Ok);
    TestWindow window;
    unpack(window, {{QStringLiteral("Tavlopro/") + after, "new"}});
    QVERIFY(quitsAfter([&window] { click(window.multiButton()); }));
    QCOMPARE(installed(), Files({{after, "new"}}));
    QTRY_COMPARE(tools->shellArguments(), QStringList{nativeDestination() + QDir::separator() + after});
}

void MainWindowInstallTest::batchFileIsExact()
{
    writeFile(batchFile(), QByteArray(1000, 'x'));
    DialogDriver dialogs;
    dialogs.expectAndClick(QMessageBox::Ok);
    TestWindow window;
    unpack(window);
    QVERIFY(quitsAfter([&window] { click(window.multiButton()); }));
    const QString source = QDir::toNativeSeparators(window.parentDir + QLatin1String("/out/Tavlopro"));
    // It is left behind.
    QCOMPARE(QString::fromLocal8Bit(readFile(batchFile())),
             QStringLiteral("xcopy.exe /E /Y /G /K \"%1\" \"%2\"").arg(source, destination()) +
                 QString::fromLatin1(lineEnd()));
    QCOMPARE(tools->copyArguments(), QStringList({QStringLiteral("/E"), QStringLiteral("/Y"), QStringLiteral("/G"),
                                                  QStringLiteral("/K"), source, destination()}));
}

void MainWindowInstallTest::handOverIsCleaned()
{
    DialogDriver dialogs;
    dialogs.expectAndClick(QMessageBox::Ok);
    TestWindow window;
    unpack(window);
    const QString name = QDir(destination()).dirName();
    writeFile(window.pathOf(settings),
              (destination() + QLatin1String("//../") + name + QLatin1Char('/')).toUtf8() + "\na second line\n");
    QVERIFY(quitsAfter([&window] { click(window.multiButton()); }));
    QCOMPARE(tools->copyArguments().value(5), destination());
}

void MainWindowInstallTest::unpackedPackageIsRemoved()
{
    DialogDriver dialogs;
    dialogs.expectAndClick(QMessageBox::No);
    TestWindow window;
    unpack(window,
           {{QStringLiteral("Tavlopro/Tavlopro.exe"), "new"}, {QStringLiteral("Tavlopro/deep/er/file"), "new"}});
    QVERIFY(quitsAfter([&window] { click(window.multiButton()); }));
    QCOMPARE(treeOf(window.parentDir).keys(), QStringList{settings});
}

void MainWindowInstallTest::logTellsTheInstallation()
{
    install({{old, "old"}, {settings, "old"}, {QStringLiteral("sub/file"), "old"}});
    writeSetting("Updater/filesToKeep", QStringList{settings, QStringLiteral("logo.png")});
    DialogDriver dialogs;
    dialogs.expectAndClick(QMessageBox::Ok);
    TestWindow window;
    unpack(window);
    QVERIFY(quitsAfter([&window] { click(window.multiButton()); }));

    const QString out = window.parentDir + QLatin1String("/out");
    const QString pattern = QStringLiteral("destDir \"%1\"\n"
                                           "\"%1\"\n"
                                           "deleteTempDir \"%1\" false\n"
                                           "\"settings.ini\"\n"
                                           "skipping ...\n"
                                           "\"Tavlopc.exe\"\n"
                                           "\"%1/sub\"\n"
                                           "deleteTempDir \"%1/sub\" true\n"
                                           "\"file\"\n"
                                           "\"%1/sub\"\n"
                                           "true\n"
                                           "%2\n"
                                           "true\n"
                                           "\"STD ERROR:\\n\"\n"
                                           "UnknownError \"Unknown error\" 0 NormalExit\n"
                                           "\"%1\"\n"
                                           "4\n"
                                           "(\".\", \"..\", \"settings.ini\", \"Tavlopro.exe\")\n"
                                           "deleteTempDir %5 true\n"
                                           "\"%3/Tavlopro\"\n"
                                           "deleteTempDir \"%3/Tavlopro\" true\n"
                                           "\"Tavlopro.exe\"\n"
                                           "\"%3/Tavlopro\"\n"
                                           "\"%3\"\n"
                                           "startTavlo\n"
                                           "starting %4\n"
                                           "starting %4\n"
                                           "success: true");
    QStringList log = takeLog();
    // On Windows, the interpreter first shows the command.
    constexpr int outputLine = 14;
    const QString output = log.takeAt(outputLine);
    QVERIFY(output.startsWith(QLatin1String("STD OUT:\n \"")));
    QVERIFY(output.endsWith(logged(QStringLiteral("1 File(s) copied") + QString::fromLatin1(lineEnd())).mid(1)));
    const QString command =
        QStringLiteral("\"%1\" \"%2\"")
            .arg(tools->shell(), QDir::toNativeSeparators(destination() + QLatin1String("/Tavlopro.exe")));
    QCOMPARE(log.join(QLatin1Char('\n')),
             pattern.arg(destination(), logged(QLatin1Char('"') + batchFile() + QLatin1Char('"')), out, logged(command),
                         logged(QDir::toNativeSeparators(out))));
}

/// Events are handled once more when all is ready for the copy, which nothing interrupts.
void MainWindowInstallTest::windowIsDrawnBeforeTheCopy()
{
    DialogDriver dialogs;
    dialogs.expectAndClick(QMessageBox::No);
    TestWindow window;
    unpack(window);
    bool isDrawnBefore = false;
    QTimer atEachChance;
    connect(&atEachChance, &QTimer::timeout, &window, [this, &isDrawnBefore] {
        if (QFile::exists(batchFile()) && !tools->isCalled(QStringLiteral("xcopy.exe")))
            isDrawnBefore = true;
    });
    atEachChance.start(0);
    QVERIFY(quitsAfter([&window] { click(window.multiButton()); }));
    QVERIFY(isDrawnBefore);
    QVERIFY(tools->isCalled(QStringLiteral("xcopy.exe")));
}

void MainWindowInstallTest::secondPressDoesNothing()
{
    DialogDriver dialogs;
    TestWindow window;
    unpack(window);
    dialogs.expect([&window](QMessageBox &box) {
        window.multiButton().setEnabled(true);
        window.multiButton().click();
        DialogDriver::click(box, QMessageBox::Ok);
    });
    QVERIFY(quitsAfter([&window] { click(window.multiButton()); }));
    QCOMPARE(dialogs.boxes().size(), 1);
}

void MainWindowInstallTest::processErrorsAreNamed_data()
{
    QTest::addColumn<int>("error");
    QTest::newRow("FailedToStart") << int(QProcess::FailedToStart);
    QTest::newRow("Crashed") << int(QProcess::Crashed);
    QTest::newRow("Timedout") << int(QProcess::Timedout);
    QTest::newRow("ReadError") << int(QProcess::ReadError);
    QTest::newRow("WriteError") << int(QProcess::WriteError);
    QTest::newRow("UnknownError") << int(QProcess::UnknownError);
}

void MainWindowInstallTest::processErrorsAreNamed()
{
    QFETCH(int, error);
    TestWindow window;
    takeLog();
    window.processError(QProcess::ProcessError(error));
    QCOMPARE(takeLog(), QStringList{QString::fromLatin1(QTest::currentDataTag())});
}

void MainWindowInstallTest::wholeRoad_data()
{
    QTest::addColumn<QString>("mode");
    QTest::addColumn<QString>("language");
    QTest::newRow("auto, en") << "auto"
                              << "en";
    QTest::newRow("auto, de") << "auto"
                              << "de";
    QTest::newRow("menu, en") << "menu"
                              << "en";
    QTest::newRow("menu, de") << "menu"
                              << "de";
}

void MainWindowInstallTest::wholeRoad()
{
    QFETCH(QString, mode);
    QFETCH(QString, language);
    const Catalogue catalogue(language);
    install({{old, "old"}, {QStringLiteral("logo.png"), "mine"}, {QStringLiteral("sub/file"), "old"}});
    PackageEntry executable;
    executable.name = "Tavlopro/Tavlopro.exe";
    executable.content = someBytes(20000);
    PackageEntry data;
    data.name = "Tavlopro/data/file";
    data.content = "new";
    HttpServer server;
    server.prepare(versionFileTarget, HttpAnswer::with("26.05.7200|Stable||d|i\n26.05.7100|Stable||d|i\n"));
    server.prepare("/update/Tavlopc/windows/Tavlopc26.05.7200STABLE.zip",
                   HttpAnswer::with(makePackage({executable, data})));
    useServer(server);
    setArguments({mode});

    DialogDriver dialogs;
    dialogs.expectAndClick(QMessageBox::Ok);
    TestWindow window;
    writeFile(window.pathOf(settings), destination().toUtf8());
    window.show();
    if (mode == QLatin1String("menu")) {
        QTRY_COMPARE(window.tree().topLevelItemCount(), 2);
        window.tree().setFocus();
        QTest::keyClick(&window.tree(), Qt::Key_Home);
        QTest::keyClick(&window.tree(), Qt::Key_Return);
    }
    const QString ready = language == QLatin1String("de") ? QStringLiteral("Installieren und Tavlopro neu starten...")
                                                          : QStringLiteral("Install Update and Relaunch Tavlopro...");
    QTRY_COMPARE(window.multiButton().text(), ready);
    QVERIFY(quitsAfter([&window] { QTest::keyClick(&window.multiButton(), Qt::Key_Space); }));

    const Files expected = {{current, executable.content},
                            {QStringLiteral("data/"), {}},
                            {QStringLiteral("data/file"), "new"},
                            {QStringLiteral("logo.png"), "mine"}};
    QCOMPARE(installed(), expected);
    QCOMPARE(treeOf(window.parentDir).keys(), QStringList{settings});
    QTRY_COMPARE(tools->shellArguments(), QStringList{nativeDestination() + QDir::separator() + current});
}

FRESHEN_WINDOW_TEST_MAIN(MainWindowInstallTest)
#include "tst_mainwindow_install.moc"
