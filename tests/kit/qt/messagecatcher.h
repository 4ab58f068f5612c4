#pragma once

#include <QDebug>
#include <QMutex>
#include <QStringList>

#include <cstring>
#include <optional>

/// Collects the messages that the program logs, so that a test can compare them word by word.
///
/// It stands in for the message handler as long as it lives; one at a time. Messages of Qt's own categories are passed
/// on to the handler before it.
class MessageCatcher
{
public:
    MessageCatcher()
    {
        if (s_previous != nullptr)
            qFatal("There is another MessageCatcher.");
        clear();
        s_previous = qInstallMessageHandler(collect);
    }
    ~MessageCatcher()
    {
        qInstallMessageHandler(s_previous);
        s_previous = nullptr;
    }
    Q_DISABLE_COPY(MessageCatcher)

    ///@{
    /// The messages so far, in order: all, and those of one level.
    [[nodiscard]] QStringList lines() const
    {
        return select(std::nullopt);
    }
    [[nodiscard]] QStringList debugLines() const
    {
        return select(QtDebugMsg);
    }
    [[nodiscard]] QStringList warnings() const
    {
        return select(QtWarningMsg);
    }
    ///@}
    /// Forgets what was collected.
    void clear()
    {
        const QMutexLocker locker(&s_mutex);
        s_messages.clear();
    }

private:
    static void collect(QtMsgType type, const QMessageLogContext &context, const QString &text)
    {
        if (context.category != nullptr && std::strcmp(context.category, "default") != 0) {
            s_previous(type, context, text);
            return;
        }
        const QMutexLocker locker(&s_mutex);
        s_messages.append({type, text});
    }
    [[nodiscard]] static QStringList select(std::optional<QtMsgType> type)
    {
        const QMutexLocker locker(&s_mutex);
        QStringList lines;
        for (const auto &[messageType, text] : s_messages) {
            if (!type || messageType == *type)
                lines.append(text);
        }
        return lines;
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
