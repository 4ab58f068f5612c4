#pragma once

#include <QDebug>
#include <QMutex>
#include <QStringList>

#include <optional>

/// Collects the messages that the program logs, so that a test can compare them word by word. It stands in for the
/// message handler as long as it lives. Messages of Qt's own categories are passed on to the handler before it.
class MessageCatcher
{
public:
    MessageCatcher()
    {
        clear();
        s_previous = qInstallMessageHandler(collect);
    }
    ~MessageCatcher()
    {
        qInstallMessageHandler(s_previous);
    }
    Q_DISABLE_COPY(MessageCatcher)

    /// The messages so far, in order, of one level if \a level is set.
    [[nodiscard]] QStringList lines(std::optional<QtMsgType> level = {}) const
    {
        const QMutexLocker locker(&s_mutex);
        QStringList lines;
        for (const auto &[type, text] : qAsConst(s_messages)) {
            if (type == level.value_or(type))
                lines.append(text);
        }
        return lines;
    }
    /// Forgets what was collected.
    void clear()
    {
        const QMutexLocker locker(&s_mutex);
        s_messages.clear();
    }

private:
    static void collect(QtMsgType type, const QMessageLogContext &context, const QString &text)
    {
        if (qstrcmp(context.category, "default") != 0)
            return s_previous(type, context, text);
        const QMutexLocker locker(&s_mutex);
        s_messages.append({type, text});
    }

    static inline QBasicMutex s_mutex;
    static inline QList<QPair<QtMsgType, QString>> s_messages;
    static inline QtMessageHandler s_previous = nullptr;
};

/// \a text as the log shows a QString: in quotes, with its backslashes and line ends escaped.
[[nodiscard]] inline QString logged(const QString &text)
{
    QString result;
    QDebug(&result).nospace() << text;
    return result;
}
