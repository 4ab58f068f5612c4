#pragma once

#include <QByteArrayList>
#include <QHash>
#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>

#include <limits>

/// One answer of the HttpServer, as it goes over the wire.
struct HttpAnswer
{
    QByteArray body;
    int status = 200;
    /// One more header: its name, a colon and its value.
    QByteArray header = {};
    /// HttpServer::release() sends the body.
    bool isHeld = false;

    [[nodiscard]] static HttpAnswer held(const QByteArray &body = "x")
    {
        return {body, 200, {}, true};
    }
};

/// A local HTTP server (RFC 9112) on 127.0.0.1 that gives prepared answers and notes each request. It works in the
/// event loop of the test, takes one request per connection, and answers 404 where nothing is prepared. As the
/// requests' proxy it sees whole addresses as their targets; it answers those itself.
class HttpServer : public QObject
{
public:
    /// The words beside each status. A server's own words may look like rich text.
    static constexpr char reason[] = "As <i>prepared</i>";

    HttpServer()
    {
        connect(&m_server, &QTcpServer::newConnection, this, &HttpServer::accept);
        if (!m_server.listen(QHostAddress::LocalHost))
            qFatal("The test's HTTP server cannot listen: %s", qPrintable(m_server.errorString()));
    }

    [[nodiscard]] quint16 port() const
    {
        return m_server.serverPort();
    }
    /// The requests so far, as they came, up to the empty line.
    [[nodiscard]] const QByteArrayList &requests() const
    {
        return m_requests;
    }
    /// What was asked for, in turn. A request that Qt sends again, as when it gives up a connection, counts once.
    [[nodiscard]] QByteArrayList targets() const
    {
        QByteArrayList result;
        for (const QByteArray &request : m_requests) {
            if (result.isEmpty() || result.last() != targetOf(request))
                result.append(targetOf(request));
        }
        return result;
    }

    /// Prepares \a answer for requests of \a target. Several answers for one target are given in turn, the last of them
    /// again and again.
    void prepare(const QByteArray &target, const HttpAnswer &answer)
    {
        m_answers[target].append(answer);
    }
    /// Sends what has been held back, at most \a size bytes for each connection. A connection ends with its last byte.
    void release(int size = std::numeric_limits<int>::max())
    {
        const QList<QTcpSocket *> sockets = m_heldBack.keys();
        for (QTcpSocket *socket : sockets)
            send(socket, m_heldBack.take(socket), size);
    }

private:
    void accept()
    {
        while (QTcpSocket *socket = m_server.nextPendingConnection()) {
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] { read(socket); });
            connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
                m_heldBack.remove(socket);
                socket->deleteLater();
            });
        }
    }

    static QByteArray targetOf(const QByteArray &request)
    {
        return request.split(' ').value(1);
    }

    void read(QTcpSocket *socket)
    {
        if (!socket->peek(socket->bytesAvailable()).endsWith("\r\n\r\n"))
            return;
        m_requests.append(socket->readAll());

        QList<HttpAnswer> &prepared = m_answers[targetOf(m_requests.last())];
        const HttpAnswer answer = prepared.size() > 1 ? prepared.takeFirst() : prepared.value(0, {{}, 404});
        QByteArrayList head = {"HTTP/1.1 " + QByteArray::number(answer.status) + ' ' + reason, "Connection: close",
                               "Content-Length: " + QByteArray::number(answer.body.size())};
        if (!answer.header.isEmpty())
            head.append(answer.header);
        const QByteArray start = head.join("\r\n") + "\r\n\r\n";
        send(socket, start + answer.body, start.size() + (answer.isHeld ? 0 : answer.body.size()));
    }

    void send(QTcpSocket *socket, const QByteArray &bytes, int size)
    {
        socket->write(bytes.left(size));
        if (size < bytes.size())
            m_heldBack.insert(socket, bytes.mid(size));
        else
            socket->disconnectFromHost();
    }

    QByteArrayList m_requests;
    QHash<QByteArray, QList<HttpAnswer>> m_answers;
    QHash<QTcpSocket *, QByteArray> m_heldBack;
    /// The last member, so that its connections end while the others are still there.
    QTcpServer m_server;
};
