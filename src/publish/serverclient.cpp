#include "publish/serverclient.h"

#include "versions/ownversion.h"
#include "versions/updateserver.h"

#include <QEventLoop>
#include <QNetworkProxy>
#include <QSslCertificate>
#include <QSslSocket>

#include <algorithm>

namespace freshen::publish {

namespace {

/// What is kept of a body, to see what it is.
constexpr int beginSize = 512;
/// What the library keeps of a body while this side is busy.
constexpr qint64 bufferSize = qint64{1024} * 1024;
constexpr quint16 httpsPort = 443;

/// The request of an updater whose application has the updater's own version.
QNetworkRequest requestFor(const QString &address)
{
    const QStringList version = QString::fromLatin1(ownVersion).split(QLatin1Char('.'));
    return updateRequest(address, version.at(0), version.at(1));
}

/// Gives what has come to \a sink.
void takeBody(QNetworkReply &reply, ServerAnswer &answer, const BodySink &sink)
{
    // An aborted reply is closed.
    const QByteArray piece = reply.isOpen() ? reply.readAll() : QByteArray();
    answer.received += piece.size();
    answer.begin += piece.left(beginSize - answer.begin.size());
    if (answer.isStopped || piece.isEmpty() || sink(piece))
        return;
    answer.isStopped = true;
    reply.abort();
}

/// Takes what is known at the end of \a reply.
void takeEnd(const QNetworkReply &reply, ServerAnswer &answer)
{
    answer.error = reply.error();
    answer.errorText = reply.errorString();
    answer.isTimedOut = reply.error() == QNetworkReply::OperationCanceledError && !answer.isStopped;
    answer.status = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    answer.cacheControl = reply.rawHeader("Cache-Control");
    answer.contentEncoding = reply.rawHeader("Content-Encoding");
    answer.age = reply.rawHeader("Age");
    answer.announced = announcedLength(reply);
    answer.certificateEnd = reply.sslConfiguration().peerCertificate().expiryDate();
}

/// The name of the protocol that was agreed on, as publishers know it.
QString nameOf(QSsl::SslProtocol protocol)
{
    switch (protocol) {
    case QSsl::TlsV1_3:
        return QStringLiteral("TLS 1.3");
    case QSsl::TlsV1_1:
        return QStringLiteral("TLS 1.1");
    case QSsl::TlsV1_0:
        return QStringLiteral("TLS 1.0");
    default:
        return {};
    }
}

} // namespace

ServerClient::ServerClient(std::chrono::milliseconds patience, const QList<QSslCertificate> &authorities)
    : m_tls(QSslConfiguration::defaultConfiguration()), m_patienceMs(static_cast<int>(patience.count()))
{
    m_manager.setProxy(QNetworkProxy::NoProxy);
    m_tls.setProtocol(QSsl::TlsV1_2);
    if (!authorities.isEmpty())
        m_tls.setCaCertificates(QSslConfiguration::systemCaCertificates() + authorities);
}

ServerAnswer ServerClient::ask(AnswerKind kind, const QString &address, const BodySink &sink)
{
    ServerAnswer answer;
    answer.kind = kind;
    answer.address = address;
    QNetworkRequest request = requestFor(address);
    request.setSslConfiguration(m_tls);
    request.setTransferTimeout(m_patienceMs);
    QNetworkReply *const reply = m_manager.get(request);
    reply->setReadBufferSize(bufferSize);
    QObject::connect(reply, &QNetworkReply::redirected, reply,
                     [&answer](const QUrl &target) { answer.redirects.append(target.toString()); });
    QObject::connect(reply, &QNetworkReply::sslErrors, reply, [&answer](const QList<QSslError> &errors) {
        for (const QSslError &error : errors)
            answer.certificateErrors.append(error.errorString());
    });
    QObject::connect(reply, &QNetworkReply::readyRead, reply, [&] { takeBody(*reply, answer, sink); });
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    loop.exec();
    takeBody(*reply, answer, sink);
    takeEnd(*reply, answer);
    reply->deleteLater();
    if (answer.error == QNetworkReply::SslHandshakeFailedError && answer.certificateErrors.isEmpty())
        answer.otherTls = otherTlsOf(answer);
    return answer;
}

QString ServerClient::otherTlsOf(const ServerAnswer &answer) const
{
    const QUrl address(answer.redirects.isEmpty() ? answer.address : answer.redirects.last());
    QSslSocket socket;
    socket.setProxy(QNetworkProxy::NoProxy);
    socket.setProtocol(QSsl::TlsV1_0OrLater);
    socket.setPeerVerifyMode(QSslSocket::VerifyNone);
    socket.connectToHostEncrypted(address.host(), static_cast<quint16>(address.port(httpsPort)));
    return socket.waitForEncrypted(m_patienceMs) ? nameOf(socket.sessionProtocol()) : QString();
}

} // namespace freshen::publish
