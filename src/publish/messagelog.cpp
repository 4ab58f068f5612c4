#include "publish/messagelog.h"

#include <QMutex>
#include <QPair>
#include <QVector>

namespace freshen::publish {

namespace {

// A message handler is a plain function, so what it collects cannot belong to an object.
QMutex mutex;
QVector<QPair<QtMsgType, QString>> collected;

void collect(QtMsgType type, const QMessageLogContext & /*context*/, const QString &message)
{
    const QMutexLocker locker(&mutex);
    collected.append({type, message.trimmed()});
}

} // namespace

MessageLog::MessageLog() : m_previous(qInstallMessageHandler(collect))
{
    const QMutexLocker locker(&mutex);
    collected.clear();
}

MessageLog::~MessageLog()
{
    qInstallMessageHandler(m_previous);
}

QStringList MessageLog::messages() const
{
    const QMutexLocker locker(&mutex);
    QStringList texts;
    for (const auto &message : qAsConst(collected))
        texts.append(message.second);
    return texts;
}

QStringList MessageLog::warnings() const
{
    const QMutexLocker locker(&mutex);
    QStringList texts;
    for (const auto &message : qAsConst(collected)) {
        if (message.first != QtDebugMsg && message.first != QtInfoMsg)
            texts.append(message.second);
    }
    return texts;
}

} // namespace freshen::publish
