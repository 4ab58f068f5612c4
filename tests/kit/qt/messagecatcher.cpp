#include "kit/qt/messagecatcher.h"

#include <QDebug>
#include <QList>
#include <QMutex>
#include <QPair>

#include <cstring>

namespace {

QBasicMutex mutex;
QList<QPair<QtMsgType, QString>> messages;
QtMessageHandler previousHandler = nullptr;
bool isCatching = false;

void collect(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (context.category != nullptr && std::strcmp(context.category, "default") != 0) {
        previousHandler(type, context, message);
        return;
    }
    const QMutexLocker locker(&mutex);
    messages.append({type, message});
}

QStringList select(bool all, QtMsgType type)
{
    const QMutexLocker locker(&mutex);
    QStringList lines;
    for (const auto &message : messages) {
        if (all || message.first == type)
            lines.append(message.second);
    }
    return lines;
}

} // namespace

MessageCatcher::MessageCatcher()
{
    if (isCatching)
        qFatal("There is another MessageCatcher.");
    isCatching = true;
    messages.clear();
    previousHandler = qInstallMessageHandler(collect);
}

MessageCatcher::~MessageCatcher()
{
    qInstallMessageHandler(previousHandler);
    isCatching = false;
}

QStringList MessageCatcher::lines() const
{
    return select(true, QtDebugMsg);
}

QStringList MessageCatcher::debugLines() const
{
    return select(false, QtDebugMsg);
}

QStringList MessageCatcher::warnings() const
{
    return select(false, QtWarningMsg);
}

void MessageCatcher::clear()
{
    const QMutexLocker locker(&mutex);
    messages.clear();
}

QString logged(const QString &text)
{
    QString result;
    QDebug(&result).nospace() << text;
    return result;
}
