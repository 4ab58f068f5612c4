#include "kit/qt/foldertest.h"
#include "kit/qt/settings.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDialogButtonBox>
#include <QGroupBox>

#include <cstdlib>

/// The program's own main().
int startUpdater(int argc, char *argv[]);

namespace {

/// Set in the copies of this test that are the program up to where its window is shown.
constexpr char isProgram[] = "FRESHEN_TEST_STARTUP";

/// Lets the program tell on standard output how its window looks, and end, instead of its first step. What a window
/// shows cannot be seen from outside without a display.
void lookAtWindow()
{
    if (!qEnvironmentVariableIsSet(isProgram))
        return;
    QTimer::singleShot(0, qApp, [] {
        const QWidget *window = QApplication::topLevelWidgets().first();
        const bool isFixed = window->windowFlags().testFlag(Qt::MSWindowsFixedSizeDialogHint);
        const bool isSharp = QCoreApplication::testAttribute(Qt::AA_UseHighDpiPixmaps);
        const QDialogButtonBox buttons(QDialogButtonBox::Cancel);
        QTextStream(stdout) << window->findChild<const QGroupBox *>()->title() << ", "
                            << buttons.buttons().first()->text() << ", " << (isFixed ? "fixed size" : "any size")
                            << ", scale " << window->devicePixelRatioF() << (isSharp ? " sharp" : "");
        std::_Exit(EXIT_SUCCESS);
    });
}
Q_COREAPP_STARTUP_FUNCTION(lookAtWindow)

} // namespace

/// Starts the program and ends it when its window is shown; looks at the window and at standard error.
class StartupTest : public FolderTest
{
    Q_OBJECT

private slots:
    void init()
    {
        requirePrivateHome();
        FolderTest::init();
        for (const char *variable : {"LC_ALL", "LANGUAGE"})
            qunsetenv(variable);
        for (const char *variable : {"XDG_DATA_HOME", "XDG_RUNTIME_DIR"})
            qputenv(variable, folder().toUtf8());
        qputenv("QT_QPA_PLATFORM", "offscreen");
        // So that the language need not be installed.
        qputenv("LC_CTYPE", "C.UTF-8");
        qputenv("LANG", "en_US.UTF-8");
        qputenv(isProgram, "1");
    }

    /// Before there is a log file, standard error is all there is.
    void logFolderIsMadeOnce()
    {
        start({"menu"});
        const QString openingLog = "Debug-logging to: " + logged(logFolder() + "/debug_update.log");
        QCOMPARE(QStringList(m_errors.mid(0, 2)), (QStringList{"Creating path: " + logged(logFolder()), openingLog}));
        start({"menu"});
        QCOMPARE(m_errors.value(0), openingLog);
    }

    void foldersForPluginsInTheEnvironmentAreIgnored()
    {
        for (const char *variable : {"QT_PLUGIN_PATH", "QT_QPA_PLATFORM_PLUGIN_PATH"})
            qputenv(variable, folder().toUtf8());
        start({"menu"});
        const QString libraries = m_errors.filter("libraryPaths:").value(0);
        QVERIFY2(libraries.contains(logged(QCoreApplication::applicationDirPath())), qUtf8Printable(libraries));
        QVERIFY2(!libraries.contains(logged(folder())), qUtf8Printable(libraries));
    }

    void logFolderThatCannotBeMadeIsReported()
    {
        writeFile(file("Q.U.I.N.T.A."), "in the way");
        start({"menu"});
        QCOMPARE(m_errors.value(1), "ERROR: Could not create path " + logged(logFolder()));
    }

    void windowIsShown_data()
    {
        const Table<QByteArray, QByteArray, QStringList, QString> table;
        const QString english = "Versions, Cancel, ";
        const QString german = "Versionen, Abbrechen, ";
        const QString usual = "any size, scale 1 sharp";
        table.row("German of another country", "de_AT", "96", {"menu"}, german + usual);
        table.row("no texts in that language", "fr_FR", "96", {"menu"}, german + usual);
        table.row("one and a half times the density", "en_US", "144", {"menu"}, english + "any size, scale 1.5 sharp");
        table.row("auto", "en_US", "96", {"auto"}, english + "fixed size, scale 1 sharp");
        table.row("auto and more", "en_US", "96", {"auto", "x"}, english + usual);
        table.row("Auto", "en_US", "96", {"Auto"}, english + usual);
    }
    void windowIsShown()
    {
        const auto [language, dotsPerInch, arguments, window] =
            Table<QByteArray, QByteArray, QStringList, QString>::current();
        qputenv("LANG", language + ".UTF-8");
        qputenv("QT_FONT_DPI", dotsPerInch);
        start(arguments);
        QCOMPARE(m_window, window);
        const bool isMissing = m_errors.join('\n').contains("ERROR: cannot load translation resource for \"fr\"");
        QCOMPARE(isMissing, language == "fr_FR");
    }

private:
    QString logFolder() const
    {
        return file("Q.U.I.N.T.A./Tavlo3 Updater");
    }

    void start(const QStringList &arguments)
    {
        QProcess program;
        program.start(QCoreApplication::applicationFilePath(), arguments);
        QVERIFY(program.waitForFinished());
        m_errors = QString::fromUtf8(program.readAllStandardError()).split('\n');
        QVERIFY2(program.exitCode() == 0, qUtf8Printable(m_errors.join('\n')));
        m_window = QString::fromUtf8(program.readAllStandardOutput());
    }

    QStringList m_errors;
    QString m_window;
};

int main(int argc, char *argv[])
{
    if (qEnvironmentVariableIsSet(isProgram))
        return startUpdater(argc, argv);
    QCoreApplication application(argc, argv);
    StartupTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_startup.moc"
