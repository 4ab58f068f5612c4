#include "app/debuglog.h"
#include "kit/qt/foldertest.h"

#include <cstdio>
#include <thread>

using namespace freshen;

namespace {

void say(const QString &message)
{
    writeDebugLog(QtDebugMsg, QMessageLogContext(), message);
}

/// Has standard error go to \a path, and not character by character, as on Windows by itself.
void redirectErrors(const QString &path)
{
    if (std::freopen(QFile::encodeName(path).constData(), "w", stderr) == nullptr)
        qFatal("Cannot write %s", qUtf8Printable(path));
    std::setvbuf(stderr, nullptr, _IOFBF, BUFSIZ);
}

constexpr int linesOfOne = 500;

/// Not all lines are of the same length.
QString lineOf(const QString &writer, int number)
{
    return QString("%1 %2 %3").arg(writer).arg(number).arg(QString(number % 300, 'x'));
}

void sayLines(const QString &writer)
{
    for (int number = 0; number < linesOfOne; ++number)
        say(lineOf(writer, number));
}

/// Logs when it is destroyed: for a static object that is after Qt has deleted its codecs.
struct LastLine
{
    QString text;

    ~LastLine()
    {
        if (!text.isEmpty())
            say(text);
    }
} lastLine;

/// What this program does with the path of a log as its argument.
int writeLinesTo(const QString &path)
{
    redirectErrors(QProcess::nullDevice());
    setDebugLogFile(new QFile(path));
    sayLines("child");
    lastLine.text = lineOf("child", linesOfOne);
    return 0;
}

} // namespace

/// Hands messages to the log's handler and looks at what is in the file and on standard error.
class DebugLogTest : public FolderTest
{
    Q_OBJECT

private slots:
    void init()
    {
        FolderTest::init();
        redirectErrors(file("errors"));
        useFile("debug_update.log");
    }
    void cleanup()
    {
        setDebugLogFile(nullptr);
        m_file.reset();
        redirectErrors(QProcess::nullDevice());
        FolderTest::cleanup();
    }

    void levelsAndContext()
    {
        const Restorer codePage = useWesternCodePage();
        const QString message = "Zürich – 東京\n  in two lines";
        const QDateTime before = QDateTime::currentDateTime();
        // A fatal message ends no process here.
        for (const QtMsgType type : {QtDebugMsg, QtWarningMsg, QtCriticalMsg, QtFatalMsg, QtInfoMsg})
            writeDebugLog(type, QMessageLogContext(), message);
        writeDebugLog(QtDebugMsg, QMessageLogContext("file.cpp", 42, "void run()", "default"), message);
        const QDateTime after = QDateTime::currentDateTime();

        QString expected;
        for (const QString place : {"[D][:0]", "[W][:0]", "[C][:0]", "[F][:0]", "[?][:0]", "[D][void run():42]"})
            expected += place + "  " + message + '\n';
        QCOMPARE(written(), expected);
        QCOMPARE(errors(), QString(message + " (:0, )\n").repeated(5) + message + " (file.cpp:42, void run())\n");
        const QString stamp = "20" + textOf(m_file->fileName()).left(19);
        const QDateTime time = QDateTime::fromString(stamp, "yyyyMMdd hh:mm:ss:zzz");
        QVERIFY2(before <= time && time <= after, qUtf8Printable(stamp));
    }

    void timesToTheMillisecond()
    {
        const auto begin = Q_INT64_C(1741338307000);
        for (const qint64 time : {begin, begin + 42, begin + 999, begin + 1000, begin + 86400042, begin}) {
            const QDateTime expected = QDateTime::fromMSecsSinceEpoch(time);
            QCOMPARE(logTime(time), expected.toString("yyMMdd hh:mm:ss:zzz"));
        }
    }

    void linesAreAppendedAtOnce()
    {
        say("one");
        QVERIFY(readFile(m_file->fileName()).endsWith("one" + lineEnd()));
        useFile("debug_update.log");
        say("of the next run");
        QCOMPARE(written(), "[D][:0]  one\n[D][:0]  of the next run\n");
    }

    void fileThatCannotBeOpenedIsTriedAgain()
    {
        useFile("missing/debug_update.log");
        say("lost");
        QVERIFY(QDir(folder()).mkdir("missing"));
        say("found");
        setDebugLogFile(nullptr);
        say("without a file");
        QCOMPARE(written(), "[D][:0]  found\n");
        QCOMPARE(errors(), "lost (:0, )\nfound (:0, )\nwithout a file (:0, )\n");
    }

    /// Two updaters write to one log.
    void linesOfProcessesAndThreadsDoNotMix()
    {
        QProcess child;
        child.start(QCoreApplication::applicationFilePath(), {m_file->fileName()});
        std::thread thread(sayLines, "thread");
        // This one writes as long as the other process does.
        int lines = 0;
        for (; child.state() != QProcess::NotRunning; child.waitForFinished(0))
            say(lineOf("process", lines++));
        thread.join();
        QCOMPARE(child.exitCode(), 0);
        // The lines of each are there, whole and in their order, whatever stands between them.
        QMap<QString, int> count;
        for (const QString &line : written().split('\n', Qt::SkipEmptyParts)) {
            const QString writer = line.section(' ', 2, 2);
            QCOMPARE(line, "[D][:0]  " + lineOf(writer, count[writer]++));
        }
        QCOMPARE(count, (QMap<QString, int>{{"child", linesOfOne + 1}, {"process", lines}, {"thread", linesOfOne}}));
    }

private:
    void useFile(const QString &name)
    {
        setDebugLogFile(nullptr);
        m_file = std::make_unique<QFile>(file(name));
        setDebugLogFile(m_file.get());
    }

    /// Text mode gives the line ends of the system.
    static QString textOf(const QString &path)
    {
        return QString::fromUtf8(readFile(path)).replace("\r\n", "\n");
    }
    /// The log without its time stamps.
    QString written() const
    {
        static const QRegularExpression stamp(R"((^|(?<=\n))\d{6} \d\d:\d\d:\d\d:\d{3} )");
        return textOf(m_file->fileName()).remove(stamp);
    }
    QString errors() const
    {
        std::fflush(stderr);
        return textOf(file("errors"));
    }

    std::unique_ptr<QFile> m_file;
};

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    const QString log = QCoreApplication::arguments().value(1);
    if (log.endsWith(".log"))
        return writeLinesTo(log);
    DebugLogTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_debuglog.moc"
