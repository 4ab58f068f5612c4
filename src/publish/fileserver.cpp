#include "publish/fileserver.h"

#include <QFile>
#include <QTcpSocket>
#include <QTimer>

#include <algorithm>
#include <utility>

namespace freshen::publish {

namespace {

constexpr int longestHead = 16 * 1024;
constexpr qint64 pieceSize = qint64{256} * 1024;
/// Pieces of a throttled answer, so that its rate looks even.
constexpr qint64 piecesASecond = 20;
constexpr qint64 second = 1000;

/// Sends a file piece by piece, the next when the one before has gone. It belongs to the connection.
class Transmission : public QObject
{
public:
    Transmission(QTcpSocket *connection, const QString &path, const Sending &sending, qint64 size)
        : QObject(connection), m_connection(connection), m_file(path), m_left(size)
    {
        if (sending.throttle) {
            m_pieceSize = std::max<qint64>(1, *sending.throttle / piecesASecond);
            m_pause.setInterval(static_cast<int>(m_pieceSize * second / *sending.throttle));
        }
        m_pause.setSingleShot(true);
        QObject::connect(&m_pause, &QTimer::timeout, this, [this] { sendPiece(); });
        QObject::connect(connection, &QTcpSocket::bytesWritten, this, [this] {
            if (m_left > 0 && m_connection->bytesToWrite() == 0)
                m_pause.start();
        });
        // Of what cannot be read, nothing more comes than the head.
        static_cast<void>(m_file.open(QIODevice::ReadOnly));
    }

private:
    void sendPiece()
    {
        const QByteArray piece = m_file.read(std::min(m_left, m_pieceSize));
        m_left -= piece.size();
        m_connection->write(piece);
        if (m_left == 0 || piece.isEmpty())
            m_connection->disconnectFromHost();
    }

    QTcpSocket *m_connection;
    QFile m_file;
    qint64 m_left;
    qint64 m_pieceSize = publish::pieceSize;
    QTimer m_pause;
};

} // namespace

FileServer::FileServer(QString root, const Sending &sending, Log log)
    : m_root(std::move(root)), m_sending(sending), m_log(std::move(log))
{
    QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [this] { accept(); });
}

bool FileServer::listen(quint16 port)
{
    return m_server.listen(QHostAddress::LocalHost, port);
}

QString FileServer::errorText() const
{
    return m_server.errorString();
}

quint16 FileServer::port() const
{
    return m_server.serverPort();
}

void FileServer::accept()
{
    while (QTcpSocket *connection = m_server.nextPendingConnection()) {
        QObject::connect(connection, &QTcpSocket::readyRead, connection, [this, connection] { read(connection); });
        QObject::connect(connection, &QTcpSocket::disconnected, connection, &QObject::deleteLater);
    }
}

void FileServer::read(QTcpSocket *connection)
{
    const QByteArray request = connection->peek(longestHead);
    if (!request.contains("\r\n\r\n") && request.size() < longestHead)
        return;
    // What follows the first request is not read.
    QObject::disconnect(connection, &QTcpSocket::readyRead, nullptr, nullptr);
    const FileAnswer answer = answerTo(request, m_root);
    m_log(QString::fromLatin1(request.left(request.indexOf("\r\n"))), answer.status);
    send(connection, answer);
}

void FileServer::send(QTcpSocket *connection, const FileAnswer &answer) const
{
    const bool isCut = answer.isPackage && m_sending.cutAt && !answer.isHeadOnly;
    const qint64 size = isCut ? std::min(answer.size, *m_sending.cutAt) : answer.size;
    if (size > 0 && !answer.isHeadOnly)
        new Transmission(connection, answer.file, m_sending, size);
    connection->write(answer.head());
    if (size == 0 || answer.isHeadOnly)
        connection->disconnectFromHost();
}

} // namespace freshen::publish
