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
    /// More is announced than comes, and Qt takes it for whole: with two lengths, as it lists them itself when it sends
    /// a request again, it reads to the end of the connection.
    [[nodiscard]] static HttpAnswer cutOff(const QByteArray &body)
    {
        return {body, 200, "Content-Length: 9999"};
    }
};

/// A local HTTP server (RFC 9112) that gives prepared answers and notes each request. It takes one request per
/// connection, and answers 404 where nothing is prepared. Requests to it as a proxy have whole addresses as targets.
class HttpServer : public QTcpServer
{
public:
    /// The words beside each status. A server's own words may look like rich text.
    static constexpr char reason[] = "As <i>prepared</i>";

    HttpServer()
    {
        connect(this, &QTcpServer::newConnection, this, [this] {
            QTcpSocket *socket = nextPendingConnection();
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] { read(*socket); });
            connect(socket, &QTcpSocket::disconnected, socket, &QTcpSocket::deleteLater);
        });
        if (!listen(QHostAddress::LocalHost))
            qFatal("The test's HTTP server cannot listen: %s", qPrintable(errorString()));
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

    /// Prepares \a answer for requests of \a target.
    void prepare(const QByteArray &target, const HttpAnswer &answer)
    {
        m_answers.insert(target, answer);
    }
    /// Sends what has been held back, at most \a size bytes for each connection. A connection ends with its last byte.
    void release(int size = std::numeric_limits<int>::max())
    {
        for (QTcpSocket *socket : findChildren<QTcpSocket *>()) {
            const QByteArray heldBack = socket->property(heldBackProperty).toByteArray();
            if (!heldBack.isEmpty())
                send(*socket, heldBack, size);
        }
    }

private:
    static constexpr char heldBackProperty[] = "heldBack";

    static QByteArray targetOf(const QByteArray &request)
    {
        return request.split(' ').value(1);
    }

    void read(QTcpSocket &socket)
    {
        if (!socket.peek(socket.bytesAvailable()).endsWith("\r\n\r\n"))
            return;
        m_requests.append(socket.readAll());

        const HttpAnswer answer = m_answers.value(targetOf(m_requests.last()), {{}, 404});
        QByteArrayList head = {"HTTP/1.1 " + QByteArray::number(answer.status) + ' ' + reason, "Connection: close",
                               "Content-Length: " + QByteArray::number(answer.body.size())};
        if (!answer.header.isEmpty())
            head.append(answer.header);
        const QByteArray start = head.join("\r\n") + "\r\n\r\n";
        send(socket, start + answer.body, start.size() + (answer.isHeld ? 0 : answer.body.size()));
    }

    static void send(QTcpSocket &socket, const QByteArray &bytes, int size)
    {
        socket.write(bytes.left(size));
        socket.setProperty(heldBackProperty, bytes.mid(size));
        if (size >= bytes.size())
            socket.disconnectFromHost();
    }

    QByteArrayList m_requests;
    QHash<QByteArray, HttpAnswer> m_answers;
};
