#pragma once

/// \file
/// What the updater's own code says in its debug log while freshen-publish calls it: the reasons of the findings, in
/// the words that support reads later.

#include <QStringList>
#include <QtGlobal>

namespace freshen::publish {

/// Collects the messages of qDebug() and its like from its construction on, of all threads, until it is destroyed. Only
/// one exists at a time.
class MessageLog
{
public:
    MessageLog();
    ~MessageLog();
    Q_DISABLE_COPY(MessageLog)

    /// All messages so far, without a line break at the end.
    [[nodiscard]] QStringList messages() const;
    /// Those of qWarning() and above.
    [[nodiscard]] QStringList warnings() const;

private:
    QtMessageHandler m_previous;
};

} // namespace freshen::publish
