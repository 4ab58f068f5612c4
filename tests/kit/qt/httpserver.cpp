#include "kit/qt/httpserver.h"

#include <QHostAddress>
#include <QTcpSocket>

QByteArray HttpRequest::target() const
{
    return line.split(' ').value(1);
}

HttpAnswer HttpAnswer::with(const QByteArray &body)
{
    HttpAnswer answer;
    answer.body = body;
    return answer;
}

HttpAnswer HttpAnswer::of(int status, const QByteArray &header, const QByteArray &value)
{
    HttpAnswer answer;
    answer.status = status;
    answer.headers.append(qMakePair(header, value));
    return answer;
}

HttpAnswer HttpAnswer::held(const QByteArray &body)
{
    HttpAnswer answer = with(body);
    answer.isHeld = true;
    return answer;
}

HttpServer::HttpServer()
{
    connect(&m_server, &QTcpServer::newConnection, this, &HttpServer::accept);
    if (!m_server.listen(QHostAddress::LocalHost))
        qFatal("The test's HTTP server cannot listen: %s", qPrintable(m_server.errorString()));
}

quint16 HttpServer::port() const
{
    return m_server.serverPort();
}

QList<QByteArray> HttpServer::targets() const
{
    QList<QByteArray> result;
    for (const HttpRequest &request : m_requests)
        result.append(request.target());
    return result;
}

int HttpServer::openConnections() const
{
    return m_server.findChildren<QTcpSocket *>().size();
}

void HttpServer::prepare(const QByteArray &target, const HttpAnswer &answer)
{
    m_answers[target].append(answer);
}

void HttpServer::release(int size)
{
    const QList<QTcpSocket *> sockets = m_heldBack.keys();
    for (QTcpSocket *socket : sockets)
        send(socket, m_heldBack.take(socket), size);
}

void HttpServer::cut()
{
    m_heldBack.clear();
    for (QTcpSocket *socket : m_server.findChildren<QTcpSocket *>())
        socket->disconnectFromHost();
}

void HttpServer::accept()
{
    while (QTcpSocket *socket = m_server.nextPendingConnection()) {
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { read(socket); });
        connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
            m_received.remove(socket);
            m_heldBack.remove(socket);
            socket->deleteLater();
        });
    }
}

void HttpServer::read(QTcpSocket *socket)
{
    QByteArray &received = m_received[socket];
    received += socket->readAll();
    if (!received.contains("\r\n\r\n"))
        return;

    QList<QByteArray> lines = received.left(received.indexOf("\r\n\r\n")).split('\n');
    received.clear();
    HttpRequest request;
    request.line = lines.takeFirst().trimmed();
    for (const QByteArray &line : lines) {
        const int colon = line.indexOf(':');
        request.headers.insert(line.left(colon).trimmed().toLower(), line.mid(colon + 1).trimmed());
    }
    m_requests.append(request);

    answer(socket, next(request.target()));
}

void HttpServer::answer(QTcpSocket *socket, const HttpAnswer &answer)
{
    QByteArray bytes = "HTTP/1.1 " + QByteArray::number(answer.status) + " Answer\r\nConnection: close\r\n";
    if (answer.announcesLength)
        bytes += "Content-Length: " + QByteArray::number(answer.body.size()) + "\r\n";
    for (const auto &header : answer.headers)
        bytes += header.first + ": " + header.second + "\r\n";
    bytes += "\r\n";
    int atOnce = 0;
    if (!answer.isHeld)
        atOnce = bytes.size() + (answer.sentAtOnce < 0 ? answer.body.size() : answer.sentAtOnce);
    send(socket, bytes + answer.body, atOnce);
}

void HttpServer::send(QTcpSocket *socket, const QByteArray &bytes, int size)
{
    socket->write(bytes.left(size));
    if (size < bytes.size())
        m_heldBack.insert(socket, bytes.mid(size));
    else
        socket->disconnectFromHost();
}

HttpAnswer HttpServer::next(const QByteArray &target)
{
    const auto found = m_answers.find(target);
    if (found == m_answers.end()) {
        HttpAnswer missing;
        missing.status = 404;
        return missing;
    }
    return found->size() > 1 ? found->takeFirst() : found->first();
}
