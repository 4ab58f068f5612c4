#include "kit/qt/foldertest.h"
#include "kit/qt/settings.h"
#include "kit/qt/table.h"

/// Starts the program, up to where its window is shown: its log, its standard error, its window.
class StartupTest : public FolderTest
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        requirePrivateHome();
        for (const char *variable : {"LC_ALL", "LANGUAGE"})
            qunsetenv(variable);
        qputenv("QT_QPA_PLATFORM", "offscreen");
        // So that the language need not be installed.
        qputenv("LC_CTYPE", "C.UTF-8");
    }
    void init()
    {
        FolderTest::init();
        for (const char *variable : {"XDG_DATA_HOME", "XDG_RUNTIME_DIR", "QT_PLUGIN_PATH"})
            qputenv(variable, folder().toUtf8());
        qputenv("LANG", "en_US.UTF-8");
    }

    void startIsLogged()
    {
        start({"menu", "more"});
        // Before there is a log file, standard error is all there is.
        const QString openingLog = "Debug-logging to: " + logged(logFolder() + "/debug_update.log");
        QCOMPARE(QStringList(m_errors.mid(0, 2)), (QStringList{"Creating path: " + logged(logFolder()), openingLog}));
        QVERIFY(m_errors.value(2).startsWith("language code is \"en\" ("));
        const QString programFolder = logged(QFileInfo(FRESHEN_STARTUP_PROBE).path());
        QStringList lines = logLines();
        const QString libraries = lines.takeAt(2);
        QCOMPARE(lines, (QStringList{"language code is \"en\"", "applicationDirPath:  " + programFolder,
                                     "debugPath:           " + logged(logFolder() + "/debug_update.log"),
                                     "arguments:           (" + logged(FRESHEN_STARTUP_PROBE) + ", \"menu\", \"more\")",
                                     "no proxy is used."}));
        QVERIFY2(libraries.startsWith("libraryPaths:        (\""), qUtf8Printable(libraries));
        QVERIFY2(libraries.contains(programFolder), qUtf8Printable(libraries));
        // Not even where the environment names it.
        QVERIFY2(!libraries.contains(logged(folder())), qUtf8Printable(libraries));

        // Now the folder is there.
        start({"menu"});
        QCOMPARE(m_errors.value(0), openingLog);
    }

    void logFolderThatCannotBeMadeIsTold()
    {
        writeFile(file("Q.U.I.N.T.A."), "in the way");
        start({"menu"});
        QCOMPARE(m_errors.value(1), "ERROR: Could not create path " + logged(logFolder()));
    }

    void languageDecidesTheTexts_data()
    {
        const Table<QString, QStringList> table;
        table.row("en_US", "Versions, Cancel", {});
        table.row("de_AT", "Versionen, Abbrechen", {});
        table.row("fr_FR", "Versionen, Abbrechen", {"ERROR: cannot load translation resource for \"fr\""});
    }
    void languageDecidesTheTexts()
    {
        const auto [texts, errors] = Table<QString, QStringList>::current();
        qputenv("LANG", QByteArray(QTest::currentDataTag()) + ".UTF-8");
        start({"menu"});
        QCOMPARE(m_window.value("texts"), texts);
        QCOMPARE(logLines().filter("ERROR"), errors);
    }

    void fixedSizeIsForAutoAlone_data()
    {
        const Table<QStringList, QString> table;
        table.row("auto", {"auto"}, "1");
        table.row("auto and more", {"auto", "x"}, "0");
        table.row("more and auto", {"x", "auto"}, "0");
        table.row("menu", {"menu"}, "0");
        table.row("Auto", {"Auto"}, "0");
    }
    void fixedSizeIsForAutoAlone()
    {
        const auto [arguments, isFixed] = Table<QStringList, QString>::current();
        start(arguments);
        QCOMPARE(m_window.value("fixed size"), isFixed);
    }

    void scaleIsNotRounded()
    {
        // Half as much again as usual.
        qputenv("QT_FONT_DPI", "144");
        start({"menu"});
        qunsetenv("QT_FONT_DPI");
        QCOMPARE(m_window.value("scale"), "1.5");
        QCOMPARE(m_window.value("sharp pictures"), "1");
    }

private:
    QString logFolder() const
    {
        return file("Q.U.I.N.T.A./Tavlo3 Updater");
    }

    /// Runs the program, which ends when its window is shown.
    void start(const QStringList &arguments)
    {
        QProcess program;
        program.start(FRESHEN_STARTUP_PROBE, arguments);
        QVERIFY(program.waitForFinished());
        m_errors = QString::fromUtf8(program.readAllStandardError()).split('\n');
        QVERIFY2(program.exitCode() == 0, qUtf8Printable(m_errors.join('\n')));
        for (const QString &line : QString::fromUtf8(program.readAllStandardOutput()).split('\n'))
            m_window.insert(line.section(": ", 0, 0), line.section(": ", 1));
    }

    /// The lines of the debug log, without the head that each must have.
    QStringList logLines() const
    {
        static const QRegularExpression head(R"(^\d{6} [\d:]{12} \[[DW]\]\[[^]]*\]  )");
        QStringList lines;
        for (const QString &line : QString::fromUtf8(readFile(logFolder() + "/debug_update.log")).split('\n')) {
            // Said by the platform without a display.
            if (!line.isEmpty() && !line.endsWith("This plugin does not support propagateSizeHints()"))
                lines += head.match(line).hasMatch() ? QString(line).remove(head) : "no head: " + line;
        }
        return lines;
    }

    QStringList m_errors;
    QMap<QString, QString> m_window;
};

QTEST_GUILESS_MAIN(StartupTest)
#include "tst_startup.moc"
