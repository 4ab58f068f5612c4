// The started program, seen from outside: its log, its files, its requests, its end.

#include "kit/qt/files.h"
#include "kit/qt/httpserver.h"
#include "kit/qt/settings.h"
#include "versions/deployment.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

using namespace freshen;

namespace {

constexpr int longEnough = 10000;

/// Where a program that is built with sanitizers writes what they find; its own standard error is for its messages.
const QString sanitizerReport = QStringLiteral("sanitizer");

const QByteArray versionFile = "/update/Tavlopc/VERSIONS/windows.txt";

/// A copy of a program in an installation folder and a home of its own, and one start of it after the other.
class Program
{
public:
    explicit Program(const QString &original = QStringLiteral(FRESHEN_PROGRAM),
                     const QString &name = QStringLiteral("Freshen.exe"));
    ~Program();
    Q_DISABLE_COPY(Program)

    void start(const QStringList &arguments, const QString &language = QStringLiteral("en_US"));
    /// Ends the program as the user's session does.
    void end();
    /// The exit code of the program that ends by itself; -1 where it does not.
    [[nodiscard]] int exitCode();
    [[nodiscard]] bool isRunning() const
    {
        return m_process.state() == QProcess::Running;
    }

    /// The lines of the debug log. Those without the head that each line must have are marked.
    [[nodiscard]] QStringList log() const;
    [[nodiscard]] QByteArray standardOutput()
    {
        return m_process.readAllStandardOutput();
    }
    /// The lines on standard error so far.
    [[nodiscard]] QStringList standardError();

    void useServer(const HttpServer &server);
    [[nodiscard]] QString pathOf(const QString &name) const
    {
        return m_folder.filePath(name);
    }
    [[nodiscard]] QString path() const
    {
        return m_path;
    }
    [[nodiscard]] QString logFolder() const
    {
        return pathOf(QStringLiteral("data/Q.U.I.N.T.A./Tavlo3 Updater"));
    }

private:
    QTemporaryDir m_folder;
    QString m_path;
    QString m_errors;
    QProcess m_process;
};

Program::Program(const QString &original, const QString &name)
{
    m_path = pathOf(QStringLiteral("an installation/") + name);
    QDir(m_folder.path()).mkpath(QStringLiteral("an installation"));
    if (!QFile::copy(original, m_path))
        qFatal("Cannot copy %s", qPrintable(original));
    QDir(m_folder.path()).mkdir(QStringLiteral("runtime"));
    QFile::setPermissions(pathOf(QStringLiteral("runtime")), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

Program::~Program()
{
    end();
    const QDir folder(m_folder.path());
    for (const QString &report : folder.entryList({sanitizerReport + QLatin1String(".*")}))
        QFAIL(readFile(folder.filePath(report)).constData());
}

void Program::start(const QStringList &arguments, const QString &language)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("HOME"), m_folder.path());
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), pathOf(QStringLiteral("config")));
    environment.insert(QStringLiteral("XDG_DATA_HOME"), pathOf(QStringLiteral("data")));
    environment.insert(QStringLiteral("XDG_CACHE_HOME"), pathOf(QStringLiteral("cache")));
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), pathOf(QStringLiteral("runtime")));
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    environment.remove(QStringLiteral("LC_ALL"));
    environment.remove(QStringLiteral("LANGUAGE"));
    environment.insert(QStringLiteral("LANG"), language + QLatin1String(".UTF-8"));
    // So that the language need not be installed.
    environment.insert(QStringLiteral("LC_CTYPE"), QStringLiteral("C.UTF-8"));
    environment.insert(QStringLiteral("ASAN_OPTIONS"), QStringLiteral("log_path='%1'").arg(pathOf(sanitizerReport)));
    m_process.setProcessEnvironment(environment);
    m_process.start(m_path, arguments);
    QVERIFY(m_process.waitForStarted());
}

void Program::end()
{
    if (!isRunning())
        return;
    m_process.terminate();
    if (!m_process.waitForFinished(longEnough))
        m_process.kill();
    m_process.waitForFinished(longEnough);
}

int Program::exitCode()
{
    const bool hasEnded = m_process.state() == QProcess::NotRunning || m_process.waitForFinished(longEnough);
    return hasEnded && m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
}

QStringList Program::log() const
{
    // Without debug information, the program knows no function names and no line numbers.
    static const QRegularExpression head(QStringLiteral("^\\d{6} \\d\\d:\\d\\d:\\d\\d:\\d{3} \\[[DW]\\]\\[:0\\]  "));
    QStringList lines =
        QString::fromUtf8(readFile(logFolder() + QLatin1String("/debug_update.log"))).split(QLatin1Char('\n'));
    lines.removeLast();
    for (QString &line : lines)
        line = head.match(line).hasMatch() ? line.remove(head) : QLatin1String("no head: ") + line;
    // Said by the platform without a display.
    lines.removeAll(QStringLiteral("This plugin does not support propagateSizeHints()"));
    return lines;
}

QStringList Program::standardError()
{
    m_errors += QString::fromUtf8(m_process.readAllStandardError());
    return m_errors.split(QLatin1Char('\n'));
}

void Program::useServer(const HttpServer &server)
{
    // As the program itself will open it.
    QSettings store(pathOf(QStringLiteral("config/Q.U.I.N.T.A./Tavlo3.conf")), QSettings::IniFormat);
    store.setValue(QStringLiteral("proto2"), QStringLiteral("http"));
    store.setValue(QStringLiteral("host2"), QStringLiteral("127.0.0.1"));
    store.setValue(QStringLiteral("port2"), server.port());
    store.setValue(QStringLiteral("version_main"), QStringLiteral("26"));
    store.setValue(QStringLiteral("version_minor"), QStringLiteral("05"));
    store.sync();
}

bool hasChecked(const Program &program)
{
    return !program.log().filter(QRegularExpression(QStringLiteral("^Get: "))).isEmpty();
}

} // namespace

class StartupTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void logStandsInItsOrder();
    void firstMessagesGoToStandardErrorOnly();
    void languageDecidesTheCatalogue_data();
    void languageDecidesTheCatalogue();
    void twoRunsAppend();
    void unknownArgumentDoesNothing_data();
    void unknownArgumentDoesNothing();
    void modesSendTheRequest_data();
    void modesSendTheRequest();
    void automaticModeGoesOnToThePackage_data();
    void automaticModeGoesOnToThePackage();
    void fixedSizeHintIsForAutoAlone_data();
    void fixedSizeHintIsForAutoAlone();
    void scaleIsNotRounded();
    void namesAreSet();
    void noArgumentRelocates();
    void logFolderThatCannotBeMadeIsIgnored();
};

void StartupTest::initTestCase()
{
    requirePrivateHome();
}

void StartupTest::logStandsInItsOrder()
{
    Program program;
    const QString foreign = program.pathOf(QStringLiteral("runtime"));
    qputenv("QT_PLUGIN_PATH", foreign.toUtf8());
    program.start({QStringLiteral("unknown"), QStringLiteral("more")});
    qunsetenv("QT_PLUGIN_PATH");
    QTRY_VERIFY_WITH_TIMEOUT(hasChecked(program), longEnough);
    QStringList log = program.log();
    const QString folder = QFileInfo(program.path()).path();
    // The system's own folders come before the program's, which the library knows from the start as well.
    QVERIFY2(log.value(2).contains(QStringLiteral("\"%1\"").arg(folder)), qPrintable(log.value(2)));
    QVERIFY(log.value(2).startsWith(QLatin1String("libraryPaths:        (\"")));
    QVERIFY2(!log.value(2).contains(foreign), qPrintable(log.value(2)));
    log.removeAt(2);
    const QStringList expected = {
        QStringLiteral("language code is \"en\""),
        QStringLiteral("applicationDirPath:  \"%1\"").arg(folder),
        QStringLiteral("debugPath:           \"%1/debug_update.log\"").arg(program.logFolder()),
        QStringLiteral("arguments:           (\"%1\", \"unknown\", \"more\")").arg(program.path()),
        QStringLiteral("no proxy is used."),
        QStringLiteral("checking ..."),
        QString(),
        QStringLiteral("Get: \"https://%1:443/update/Tavlopc/VERSIONS/windows.txt\"")
            .arg(QLatin1String(deployment::updateHost)),
    };
    QCOMPARE(log, expected);
}

void StartupTest::firstMessagesGoToStandardErrorOnly()
{
    Program program;
    program.start({QStringLiteral("unknown")});
    QTRY_VERIFY_WITH_TIMEOUT(hasChecked(program), longEnough);
    QStringList expected = {QStringLiteral("Creating path: \"%1\"").arg(program.logFolder()),
                            QStringLiteral("Debug-logging to: \"%1/debug_update.log\"").arg(program.logFolder()),
                            QStringLiteral("language code is \"en\" (:0, )")};
    QCOMPARE(QStringList(program.standardError().mid(0, 3)), expected);
    QVERIFY(program.log().filter(QStringLiteral("Debug-logging")).isEmpty());

    // The second time the folder is there.
    program.end();
    const int before = program.standardError().size() - 1;
    const int logged = program.log().size();
    program.start({QStringLiteral("unknown")});
    QTRY_VERIFY_WITH_TIMEOUT(program.log().size() >= 2 * logged, longEnough);
    expected.removeFirst();
    QCOMPARE(QStringList(program.standardError().mid(before, 2)), expected);
}

void StartupTest::languageDecidesTheCatalogue_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<QStringList>("logStart");
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("en_US is English") << "en_US" << QStringList{QStringLiteral("language code is \"en\"")}
                                      << QByteArray("group: Versions\nbutton: Cancel\n");
    QTest::newRow("de_DE is German") << "de_DE" << QStringList{QStringLiteral("language code is \"de\"")}
                                     << QByteArray("group: Versionen\nbutton: Abbrechen\n");
    QTest::newRow("de_AT is German") << "de_AT" << QStringList{QStringLiteral("language code is \"de\"")}
                                     << QByteArray("group: Versionen\nbutton: Abbrechen\n");
    QTest::newRow("fr_FR falls back to German")
        << "fr_FR"
        << QStringList{QStringLiteral("language code is \"fr\""),
                       QStringLiteral("ERROR: cannot load translation resource for \"fr\"")}
        << QByteArray("group: Versionen\nbutton: Abbrechen\n");
}

void StartupTest::languageDecidesTheCatalogue()
{
    QFETCH(QString, language);
    QFETCH(QStringList, logStart);
    QFETCH(QByteArray, text);
    {
        Program program;
        program.start({QStringLiteral("unknown")}, language);
        QTRY_VERIFY_WITH_TIMEOUT(hasChecked(program), longEnough);
        QStringList log = program.log();
        QCOMPARE(QStringList(log.mid(0, logStart.size())), logStart);
        QVERIFY(log.value(logStart.size()).startsWith(QLatin1String("applicationDirPath:")));
    }
    Program probe(QStringLiteral(FRESHEN_STARTUP_PROBE));
    probe.start({QStringLiteral("unknown")}, language);
    QCOMPARE(probe.exitCode(), 0);
    const QByteArray output = probe.standardOutput();
    QVERIFY2(output.contains(text), output.constData());
    QVERIFY2(output.contains("title: Tavlopro Updater - Version 96\n"), output.constData());
}

void StartupTest::twoRunsAppend()
{
    Program program;
    program.start({QStringLiteral("unknown")});
    QTRY_VERIFY_WITH_TIMEOUT(hasChecked(program), longEnough);
    program.end();
    const QStringList first = program.log();
    program.start({QStringLiteral("unknown")});
    QTRY_COMPARE_WITH_TIMEOUT(program.log().size(), 2 * first.size(), longEnough);
    QCOMPARE(program.log(), first + first);
}

void StartupTest::unknownArgumentDoesNothing_data()
{
    QTest::addColumn<QString>("argument");
    QTest::newRow("unknown") << "unknown";
    QTest::newRow("AUTO") << "AUTO";
    QTest::newRow("Menu") << "Menu";
    QTest::newRow("-auto") << "-auto";
}

void StartupTest::unknownArgumentDoesNothing()
{
    QFETCH(QString, argument);
    HttpServer server;
    Program program;
    program.useServer(server);
    program.start({argument});
    QTRY_VERIFY_WITH_TIMEOUT(hasChecked(program), longEnough);
    QTest::qWait(500);
    QVERIFY(program.isRunning());
    QVERIFY(server.requests().isEmpty());
    QVERIFY(program.log().last().startsWith(QLatin1String("Get: ")));
    // Nothing was relocated either.
    QCOMPARE(treeOf(program.logFolder()).keys(), QStringList{QStringLiteral("debug_update.log")});
}

void StartupTest::modesSendTheRequest_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("auto") << QStringList{QStringLiteral("auto")};
    QTest::newRow("auto x") << QStringList{QStringLiteral("auto"), QStringLiteral("x")};
    QTest::newRow("menu") << QStringList{QStringLiteral("menu")};
    QTest::newRow("menu x") << QStringList{QStringLiteral("menu"), QStringLiteral("x")};
}

void StartupTest::modesSendTheRequest()
{
    QFETCH(QStringList, arguments);
    HttpServer server;
    server.prepare(versionFile, HttpAnswer::held());
    Program program;
    program.useServer(server);
    program.start(arguments);
    QTRY_COMPARE_WITH_TIMEOUT(server.requests().size(), 1, longEnough);
    QCOMPARE(server.requests().first().line, "GET " + versionFile + " HTTP/1.1");
    QCOMPARE(server.requests().first().headers.value("user-agent"), QByteArray("Updater/2605windows"));
    QVERIFY(program.isRunning());
}

void StartupTest::automaticModeGoesOnToThePackage_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("auto") << QStringList{QStringLiteral("auto")};
    QTest::newRow("auto x") << QStringList{QStringLiteral("auto"), QStringLiteral("x")};
}

void StartupTest::automaticModeGoesOnToThePackage()
{
    QFETCH(QStringList, arguments);
    HttpServer server;
    server.prepare(versionFile, HttpAnswer::with("26.05.7200|Stable||d|i\n"));
    const QByteArray package = "/update/Tavlopc/windows/Tavlopc26.05.7200STABLE.zip";
    server.prepare(package, HttpAnswer::held());
    Program program;
    program.useServer(server);
    program.start(arguments);
    QTRY_COMPARE_WITH_TIMEOUT(server.requests().size(), 2, longEnough);
    QCOMPARE(server.targets(), QList<QByteArray>({versionFile, package}));
}

void StartupTest::fixedSizeHintIsForAutoAlone_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("hint");
    const QString automatic = QStringLiteral("auto");
    const QString more = QStringLiteral("x");
    QTest::newRow("auto") << QStringList{automatic} << QByteArray("true");
    QTest::newRow("auto x") << QStringList{automatic, more} << QByteArray("false");
    QTest::newRow("x auto") << QStringList{more, automatic} << QByteArray("false");
    QTest::newRow("menu") << QStringList{QStringLiteral("menu")} << QByteArray("false");
    QTest::newRow("Auto") << QStringList{QStringLiteral("Auto")} << QByteArray("false");
}

void StartupTest::fixedSizeHintIsForAutoAlone()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, hint);
    HttpServer server;
    server.prepare(versionFile, HttpAnswer::held());
    Program probe(QStringLiteral(FRESHEN_STARTUP_PROBE));
    probe.useServer(server);
    probe.start(arguments);
    QCOMPARE(probe.exitCode(), 0);
    const QByteArray output = probe.standardOutput();
    QVERIFY2(output.contains("fixed size hint: " + hint + '\n'), output.constData());
}

void StartupTest::scaleIsNotRounded()
{
    // Half as much again as usual.
    qputenv("QT_FONT_DPI", "144");
    Program probe(QStringLiteral(FRESHEN_STARTUP_PROBE));
    probe.start({QStringLiteral("unknown")});
    qunsetenv("QT_FONT_DPI");
    QCOMPARE(probe.exitCode(), 0);
    const QByteArray output = probe.standardOutput();
    QVERIFY2(output.contains("scale: 1.5\nsharp pictures: true\n"), output.constData());
}

void StartupTest::namesAreSet()
{
    Program probe(QStringLiteral(FRESHEN_STARTUP_PROBE));
    probe.start({QStringLiteral("unknown")});
    QCOMPARE(probe.exitCode(), 0);
    const QByteArray output = probe.standardOutput();
    QVERIFY2(output.contains("organization: Q.U.I.N.T.A.\n"), output.constData());
    QVERIFY2(output.contains("application: Tavlo3 Updater\n"), output.constData());
}

void StartupTest::noArgumentRelocates()
{
    // The program under another name, so that the copy that it starts is one that notes its start and ends.
    Program program(QStringLiteral(FRESHEN_PROGRAM), QStringLiteral("Started.exe"));
    const QByteArray copy = "#!/bin/sh\nprintf '%s\\n' \"$PWD\" \"$@\" > noting && mv noting started\n";
    const QString folder = QFileInfo(program.path()).path();
    writeFile(folder + QLatin1String("/Freshen.exe"), copy);
    QFile::setPermissions(folder + QLatin1String("/Freshen.exe"), QFile::ReadOwner | QFile::ExeOwner);
    writeFile(folder + QLatin1String("/library.dll"), "library");
    writeFile(folder + QLatin1String("/platforms/qwindows.dll"), "plug-in");
    HttpServer server;
    program.useServer(server);
    program.start({});
    QCOMPARE(program.exitCode(), 0);

    const QString temporary = program.logFolder() + QLatin1String("/freshen");
    QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(temporary + QLatin1String("/started")), longEnough);
    const QMap<QString, QByteArray> expected = {{QStringLiteral("Freshen.exe"), copy},
                                                {QStringLiteral("imageformats/"), {}},
                                                {QStringLiteral("library.dll"), "library"},
                                                {QStringLiteral("platforms/"), {}},
                                                {QStringLiteral("platforms/qwindows.dll"), "plug-in"},
                                                {QStringLiteral("started"), temporary.toUtf8() + "\nmenu\n"},
                                                {QStringLiteral("styles/"), {}}};
    QCOMPARE(treeOf(temporary), expected);
    QCOMPARE(readFile(program.logFolder() + QLatin1String("/settings.ini")), folder.toUtf8());
    QVERIFY(server.requests().isEmpty());
    QCOMPARE(program.log().last(), QStringLiteral("42"));
}

void StartupTest::logFolderThatCannotBeMadeIsIgnored()
{
    Program program;
    // A file lies in the way.
    writeFile(program.pathOf(QStringLiteral("data")), "in the way");
    program.start({});
    // Without the folder there is no relocation either, and the updater ends.
    QCOMPARE(program.exitCode(), 0);
    const QStringList errors = program.standardError();
    QCOMPARE(errors.value(0), QStringLiteral("Creating path: \"%1\"").arg(program.logFolder()));
    QCOMPARE(errors.value(1), QStringLiteral("ERROR: Could not create path \"%1\"").arg(program.logFolder()));
    QCOMPARE(errors.value(2), QStringLiteral("Debug-logging to: \"%1/debug_update.log\"").arg(program.logFolder()));
    QVERIFY(errors.contains(QStringLiteral("Error creating path: \"%1/freshen\" (:0, )").arg(program.logFolder())));
    QCOMPARE(readFile(program.pathOf(QStringLiteral("data"))), QByteArray("in the way"));
}

QTEST_GUILESS_MAIN(StartupTest)
#include "tst_startup.moc"
