#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QObject>
#include <QPair>
#include <QTcpServer>
#include <QVector>

#include <limits>

class QTcpSocket;

/// One answer of the HttpServer, as it goes over the wire.
struct HttpAnswer
{
    QByteArray body;
    int status = 200;
    QList<QPair<QByteArray, QByteArray>> headers;
    /// Whether the answer announces the length of its body; without it the end of the connection is the end of the
    /// body.
    bool announcesLength = true;
    /// Bytes of the body that are sent at once. -1 sends all. The rest follows with HttpServer::release(), and never
    /// with HttpServer::cut().
    int sentAtOnce = -1;
    /// Not even the status line is sent before HttpServer::release().
    bool isHeld = false;

    /// An answer with \a body.
    [[nodiscard]] static HttpAnswer with(const QByteArray &body);
    /// An answer without a body, of the status \a status and with one more header.
    [[nodiscard]] static HttpAnswer of(int status, const QByteArray &header, const QByteArray &value);
    /// No answer before HttpServer::release(), and then one with \a body.
    [[nodiscard]] static HttpAnswer held(const QByteArray &body = QByteArray());
};

/// One request as it arrived.
struct HttpRequest
{
    /// The first line without its line end.
    QByteArray line;
    /// The values by their names, which are in lower case.
    QHash<QByteArray, QByteArray> headers;

    /// The second word of the first line.
    [[nodiscard]] QByteArray target() const;
};

/// A local HTTP server (RFC 9112) on 127.0.0.1 that gives prepared answers and notes each request. It works in the
/// event loop of the test, takes one request per connection, and answers 404 where nothing is prepared. As the
/// requests' proxy it sees whole addresses as their targets; it answers those itself.
class HttpServer : public QObject
{
public:
    HttpServer();

    [[nodiscard]] quint16 port() const;
    [[nodiscard]] const QVector<HttpRequest> &requests() const
    {
        return m_requests;
    }
    /// The target of each request so far.
    [[nodiscard]] QList<QByteArray> targets() const;
    /// Number of connections that are still open.
    [[nodiscard]] int openConnections() const;

    /// Prepares \a answer for requests of \a target. Several answers for one target are given in turn, the last of them
    /// again and again.
    void prepare(const QByteArray &target, const HttpAnswer &answer);
    /// Sends what has been held back, at most \a size bytes for each connection. A connection ends with its last byte.
    void release(int size = std::numeric_limits<int>::max());
    /// Ends all connections, whatever is still to be sent.
    void cut();

private:
    void accept();
    void read(QTcpSocket *socket);
    void answer(QTcpSocket *socket, const HttpAnswer &answer);
    void send(QTcpSocket *socket, const QByteArray &bytes, int size);
    [[nodiscard]] HttpAnswer next(const QByteArray &target);

    QVector<HttpRequest> m_requests;
    QHash<QByteArray, QList<HttpAnswer>> m_answers;
    QHash<QTcpSocket *, QByteArray> m_received;
    QHash<QTcpSocket *, QByteArray> m_heldBack;
    /// The last member, so that its connections end while the others are still there.
    QTcpServer m_server;
};
