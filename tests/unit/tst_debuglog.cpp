#include "app/debuglog.h"
#include "kit/qt/files.h"
#include "kit/qt/platform.h"

#include <QtTest>

#include <cstdio>
#include <thread>
#include <vector>

using namespace freshen;

Q_DECLARE_METATYPE(QtMsgType)

/// Hands messages to the log's handler and looks at what is in the file and on standard error.
class DebugLogTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void levelLetter_data();
    void levelLetter();
    void timeStampIsNow();
    void functionAndLineOfTheContext();
    void messageOfTheLoggingStream();
    void lineBreaksAreWrittenAsTheyAre();
    void textIsUtf8();
    void secondRunAppends();
    void lineIsInTheFileAtOnce();
    void openingIsTriedAgain();
    void linesOfThreadsDoNotMix();
    void linesOfProcessesDoNotMix();
    void standardError();

private:
    /// Path of the log of the running test.
    QString path() const
    {
        return m_folder->filePath(QStringLiteral("debug_update.log"));
    }
    void useFile(const QString &filePath);
    /// The log's lines; each must be complete.
    QStringList lines() const;

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<QFile> m_file;
};

namespace {

const QString stamp = QStringLiteral("\\d{6} \\d\\d:\\d\\d:\\d\\d:\\d{3} ");

void log(const QString &message, QtMsgType type = QtDebugMsg)
{
    writeDebugLog(type, QMessageLogContext(), message);
}

/// The first argument of a process that writes lines for the test; the file's path and the writer's name follow.
const QString writer = QStringLiteral("write-lines");
constexpr int linesOfAWriter = 10000;

/// The line \a number of the writer \a name. Not all are of the same length.
QString lineOf(const QString &name, int number)
{
    return QStringLiteral("%1 %2 %3").arg(name).arg(number).arg(QString(number % 300, QLatin1Char('x')));
}

/// What a writer does: it waits for the word to start, and writes its lines.
int writeLines(const QString &path, const QString &name)
{
    QFile start;
    if (!start.open(stdin, QIODevice::ReadOnly) || start.readLine().trimmed() != "start")
        return 1;
    // On Windows, each character on its own would go to standard error.
    constexpr std::size_t bufferSize = 1 << 16;
    std::setvbuf(stderr, nullptr, _IOFBF, bufferSize);
    QFile file(path);
    setDebugLogFile(&file);
    for (int number = 0; number < linesOfAWriter; ++number)
        log(lineOf(name, number));
    setDebugLogFile(nullptr);
    return 0;
}

bool matches(const QString &line, const QString &afterStamp)
{
    const QString pattern = QRegularExpression::anchoredPattern(stamp + QRegularExpression::escape(afterStamp));
    return QRegularExpression(pattern).match(line).hasMatch();
}

} // namespace

void DebugLogTest::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    useFile(path());
}

void DebugLogTest::cleanup()
{
    setDebugLogFile(nullptr);
    m_file.reset();
    m_folder.reset();
}

void DebugLogTest::useFile(const QString &filePath)
{
    setDebugLogFile(nullptr);
    m_file = std::make_unique<QFile>(filePath);
    setDebugLogFile(m_file.get());
}

QStringList DebugLogTest::lines() const
{
    // Text mode gives the line ends of the system.
    QString text = QString::fromUtf8(readFile(path())).replace(QLatin1String("\r\n"), QLatin1String("\n"));
    if (!text.isEmpty() && !text.endsWith(QLatin1Char('\n')))
        return {QStringLiteral("the last line is not complete")};
    text.chop(1);
    return text.split(QLatin1Char('\n'));
}

void DebugLogTest::levelLetter_data()
{
    QTest::addColumn<QtMsgType>("type");
    QTest::addColumn<QString>("line");
    QTest::newRow("debug") << QtDebugMsg << "[D][:0]  a message";
    QTest::newRow("warning") << QtWarningMsg << "[W][:0]  a message";
    QTest::newRow("critical") << QtCriticalMsg << "[C][:0]  a message";
    QTest::newRow("fatal, which does not end the process here") << QtFatalMsg << "[F][:0]  a message";
    QTest::newRow("info has no letter") << QtInfoMsg << "[?][:0]  a message";
}

/// Without context (no file, no function, line 0) the brackets hold ":0".
void DebugLogTest::levelLetter()
{
    QFETCH(QtMsgType, type);
    QFETCH(QString, line);
    log(QStringLiteral("a message"), type);
    QCOMPARE(lines().size(), 1);
    QVERIFY2(matches(lines().first(), line), qUtf8Printable(lines().first()));
}

void DebugLogTest::timeStampIsNow()
{
    const QString format = QStringLiteral("yyMMdd hh:mm:ss:zzz");
    const QString before = QDateTime::currentDateTime().toString(format);
    log(QStringLiteral("now"));
    const QString after = QDateTime::currentDateTime().toString(format);
    const QString written = lines().first().left(before.size());
    // Digits of the same length compare like the times.
    QVERIFY2(before <= written && written <= after, qUtf8Printable(written));
}

void DebugLogTest::functionAndLineOfTheContext()
{
    writeDebugLog(QtDebugMsg, QMessageLogContext("file.cpp", 42, "void run()", "default"), QStringLiteral("x"));
    QVERIFY2(matches(lines().first(), QStringLiteral("[D][void run():42]  x")), qUtf8Printable(lines().first()));
}

void DebugLogTest::messageOfTheLoggingStream()
{
    const QtMessageHandler before = qInstallMessageHandler(writeDebugLog);
    // As qDebug() does in a release build: without a place in the sources.
    QMessageLogger().debug() << "language code is" << QStringLiteral("de");
    qInstallMessageHandler(before);
    QVERIFY2(matches(lines().first(), QStringLiteral("[D][:0]  language code is \"de\"")),
             qUtf8Printable(lines().first()));
}

void DebugLogTest::lineBreaksAreWrittenAsTheyAre()
{
    log(QStringLiteral("first\nsecond\n  third"));
    log(QStringLiteral("next"));
    const QStringList all = lines();
    QCOMPARE(all.size(), 4);
    QVERIFY(matches(all.at(0), QStringLiteral("[D][:0]  first")));
    QCOMPARE(all.at(1), QStringLiteral("second"));
    QCOMPARE(all.at(2), QStringLiteral("  third"));
    QVERIFY(matches(all.at(3), QStringLiteral("[D][:0]  next")));
}

void DebugLogTest::textIsUtf8()
{
    const WesternCodePage codePage;
    log(QString::fromUtf8("Zürich – 東京"));
    QVERIFY(readFile(path()).contains("  Zürich – 東京"));
}

void DebugLogTest::secondRunAppends()
{
    log(QStringLiteral("first run"));
    useFile(path());
    log(QStringLiteral("second run"));
    const QStringList all = lines();
    QCOMPARE(all.size(), 2);
    QVERIFY(matches(all.at(0), QStringLiteral("[D][:0]  first run")));
    QVERIFY(matches(all.at(1), QStringLiteral("[D][:0]  second run")));
}

void DebugLogTest::lineIsInTheFileAtOnce()
{
    log(QStringLiteral("one"));
    QCOMPARE(lines().size(), 1);
    QVERIFY(m_file->isOpen());
    log(QStringLiteral("two"));
    QCOMPARE(lines().size(), 2);
}

/// A file that cannot be opened is silently left out, and tried again with the next message.
void DebugLogTest::openingIsTriedAgain()
{
    const QString folder = m_folder->filePath(QStringLiteral("missing"));
    useFile(folder + QLatin1String("/debug_update.log"));
    log(QStringLiteral("lost"));
    QVERIFY(!QFile::exists(m_file->fileName()));
    QVERIFY(QDir().mkpath(folder));
    log(QStringLiteral("found"));
    const QString text = QString::fromUtf8(readFile(m_file->fileName())).trimmed();
    QVERIFY2(matches(text, QStringLiteral("[D][:0]  found")), qUtf8Printable(text));
}

void DebugLogTest::linesOfThreadsDoNotMix()
{
    constexpr int threadCount = 4;
    constexpr int lineCount = 200;
    const QString text = QString(300, QLatin1Char('x'));
    std::vector<std::thread> threads;
    for (int i = 0; i < threadCount; ++i) {
        threads.emplace_back([&text] {
            for (int line = 0; line < lineCount; ++line)
                log(text);
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    const QStringList all = lines();
    QCOMPARE(all.size(), threadCount * lineCount);
    for (const QString &line : all)
        QVERIFY2(matches(line, QLatin1String("[D][:0]  ") + text), qUtf8Printable(line));
}

/// Two updaters write to one log.
void DebugLogTest::linesOfProcessesDoNotMix()
{
    const QStringList names = {QStringLiteral("one"), QStringLiteral("two")};
    std::vector<std::unique_ptr<QProcess>> writers;
    for (const QString &name : names) {
        writers.push_back(std::make_unique<QProcess>());
        writers.back()->setStandardErrorFile(QProcess::nullDevice());
        writers.back()->start(QCoreApplication::applicationFilePath(), {writer, path(), name});
    }
    for (const auto &process : writers)
        QVERIFY(process->waitForStarted());
    for (const auto &process : writers) {
        process->write("start\n");
        QVERIFY(process->waitForBytesWritten());
    }
    for (const auto &process : writers) {
        QVERIFY(process->waitForFinished(90000));
        QCOMPARE(process->exitStatus(), QProcess::NormalExit);
        QCOMPARE(process->exitCode(), 0);
    }

    // Each writer's lines are there, whole and in their order, whatever stands between them.
    QMap<QString, int> written;
    for (const QString &line : lines()) {
        const QString name = line.section(QLatin1Char(' '), 4, 4);
        QVERIFY2(matches(line, QLatin1String("[D][:0]  ") + lineOf(name, written[name]++)), qUtf8Printable(line));
    }
    QCOMPARE(written, (QMap<QString, int>{{names.at(0), linesOfAWriter}, {names.at(1), linesOfAWriter}}));
}

/// Last, since standard error goes to a file from here on. It is written to without a log file, too.
void DebugLogTest::standardError()
{
    QTemporaryDir folder;
    folder.setAutoRemove(false);
    const QString errors = folder.filePath(QStringLiteral("stderr"));
    QVERIFY(std::freopen(QFile::encodeName(errors).constData(), "w", stderr) != nullptr);

    log(QString::fromUtf8("without context, ü"));
    setDebugLogFile(nullptr);
    writeDebugLog(QtWarningMsg, QMessageLogContext("file.cpp", 42, "void run()", "default"),
                  QStringLiteral("without a log file"));
    useFile(m_folder->filePath(QStringLiteral("missing/debug_update.log")));
    log(QStringLiteral("log file cannot be opened"));
    std::fflush(stderr);

    QCOMPARE(QString::fromUtf8(readFile(errors)).replace(QLatin1String("\r\n"), QLatin1String("\n")),
             QString::fromUtf8("without context, ü (:0, )\n"
                               "without a log file (file.cpp:42, void run())\n"
                               "log file cannot be opened (:0, )\n"));
    QCOMPARE(lines().size(), 1);
    std::fclose(stderr);
    QVERIFY(QDir(folder.path()).removeRecursively());
}

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.value(1) == writer)
        return writeLines(arguments.value(2), arguments.value(3));
    DebugLogTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_debuglog.moc"
