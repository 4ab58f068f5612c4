#pragma once

#include <QStringList>
#include <QtGlobal>

/// Collects the messages that the program logs, so that a test can compare them word by word.
///
/// It stands in for the message handler as long as it lives; one at a time. Messages of Qt's own categories are passed
/// on to the handler before it.
class MessageCatcher
{
public:
    MessageCatcher();
    ~MessageCatcher();
    Q_DISABLE_COPY(MessageCatcher)

    /// All messages so far, in order.
    [[nodiscard]] QStringList lines() const;
    /// Those of the level debug.
    [[nodiscard]] QStringList debugLines() const;
    /// Those of the level warning.
    [[nodiscard]] QStringList warnings() const;
    /// Forgets what was collected.
    void clear();
};

/// \a text as the log shows a QString: in quotes, with its backslashes and line ends escaped.
[[nodiscard]] QString logged(const QString &text);

/// Runs \a action and returns all messages that it logged.
template <typename Action>
QStringList messagesOf(const Action &action)
{
    const MessageCatcher catcher;
    action();
    return catcher.lines();
}
