#include "app/debuglog.h"

#include "app/sharedfile.h"

#include <QDateTime>
#include <QFile>
#include <QMutex>
#include <QScopeGuard>
#include <QTextCodec>
#include <QTextStream>

#include <cstdio>

namespace freshen {

namespace {

QFile *logFile = nullptr;
QBasicMutex logMutex;

QChar levelLetter(QtMsgType type)
{
    switch (type) {
    case QtDebugMsg:
        return QLatin1Char('D');
    case QtWarningMsg:
        return QLatin1Char('W');
    case QtCriticalMsg:
        return QLatin1Char('C');
    case QtFatalMsg:
        return QLatin1Char('F');
    case QtInfoMsg:
        break;
    }
    // Messages of the level "info" have no letter of their own.
    return QLatin1Char('?');
}

/// Release builds carry no file and no function names.
const char *orEmpty(const char *text)
{
    return text != nullptr ? text : "";
}

/// UTF-8, looked up once: that takes a fifth of the time of a line. None at the very end of the process, when Qt has
/// deleted its codecs and static objects still log.
QTextCodec *logCodec()
{
    static QTextCodec *const utf8 = QTextCodec::codecForName("UTF-8");
    return QTextCodec::codecForLocale() != nullptr ? utf8 : nullptr;
}

} // namespace

QString logTime(qint64 time)
{
    constexpr qint64 perSecond = 1000;
    // Many lines fall into one second: only their milliseconds differ. The text is never deleted, since static objects
    // still log when they are destroyed.
    static qint64 formattedSecond = -1;
    static auto *const formatted = new QString;
    const qint64 second = time / perSecond;
    if (second != formattedSecond) {
        *formatted = QDateTime::fromMSecsSinceEpoch(time).toString(QStringLiteral("yyMMdd hh:mm:ss:"));
        formattedSecond = second;
    }
    return *formatted + QString::number(time % perSecond).rightJustified(3, QLatin1Char('0'));
}

void setDebugLogFile(QFile *file)
{
    const QMutexLocker locker(&logMutex);
    logFile = file;
}

void writeDebugLog(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    const QMutexLocker locker(&logMutex);
    const auto line = static_cast<unsigned>(context.line);
    static_cast<void>(std::fprintf(stderr, "%s (%s:%u, %s)\n", message.toUtf8().constData(), orEmpty(context.file),
                                   line, orEmpty(context.function)));

    if (logFile == nullptr)
        return;
    const QString timeStamp = logTime(QDateTime::currentMSecsSinceEpoch());
    if (!logFile->isOpen() && !logFile->open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Text))
        return;
    const bool isAtEnd = beginAppend(*logFile);
    const auto end = qScopeGuard([] { endAppend(*logFile); });
    if (!isAtEnd)
        return;
    // One stream for each message: the line is in the file when the stream is gone.
    QTextStream stream(logFile);
    stream.setCodec(logCodec());
    stream << QStringLiteral("%1 [%2][%3:%4]  %5\n")
                  .arg(timeStamp, levelLetter(type), QString::fromUtf8(orEmpty(context.function)),
                       QString::number(line), message);
}

} // namespace freshen
