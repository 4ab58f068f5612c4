#pragma once

/// \file
/// A web server for trying: it serves a folder to this machine alone, as slowly and as badly as it is told.

#include "publish/fileanswer.h"

#include <QTcpServer>

#include <functional>
#include <optional>

class QTcpSocket;

namespace freshen::publish {

/// How the server sends.
struct Sending
{
    /// Bytes a second of each answer.
    std::optional<qint64> throttle;
    /// The connection ends after so many bytes of a package.
    std::optional<qint64> cutAt;
};

/// Serves files on the loopback address, one request for each connection, as answerTo() says. It works in the event
/// loop of its thread.
class FileServer
{
public:
    /// Is told the first line of each request, and the status of its answer.
    using Log = std::function<void(const QString &request, int status)>;

    /// Serves what is below \a root once listen() is called.
    FileServer(QString root, const Sending &sending, Log log);

    /// Begins to listen on \a port; 0 is one that the system chooses. False where that fails, for errorText().
    [[nodiscard]] bool listen(quint16 port);
    /// The system's reason why listen() failed.
    [[nodiscard]] QString errorText() const;
    /// The port that it listens on.
    [[nodiscard]] quint16 port() const;

private:
    void accept();
    void read(QTcpSocket *connection);
    void send(QTcpSocket *connection, const FileAnswer &answer) const;

    QString m_root;
    Sending m_sending;
    Log m_log;
    QTcpServer m_server;
};

} // namespace freshen::publish
