#include "versions/updateserver.h"

#include "versions/applicationsettings.h"
#include "versions/deployment.h"

#include <QDebug>
#include <QNetworkReply>

namespace freshen {

namespace {

constexpr uint defaultPort = 443;

} // namespace

QString versionFilePath(const QString &versionFolder)
{
    return QStringLiteral("/update/Tavlopc/%1/%2.txt").arg(versionFolder, QLatin1String(platformName));
}

QString packagePath(const QString &packageName)
{
    return QStringLiteral("/update/Tavlopc/%1/%2").arg(QLatin1String(platformName), packageName);
}

UpdateServer readUpdateServer(const QSettings &store)
{
    UpdateServer server;
    server.host = setting(store, key::host, QLatin1String(deployment::updateHost)).toString();
    server.port = setting(store, key::port, defaultPort).toUInt();
    server.portIsSet = store.contains(QLatin1String(key::port));
    server.protocol = setting(store, key::protocol, QStringLiteral("https")).toString();
    server.versionFolder = setting(store, key::versionFolder, QStringLiteral("VERSIONS")).toString();
    return server;
}

QString versionFileAddress(const UpdateServer &server)
{
    return QStringLiteral("%1://%2:%3%4")
        .arg(server.protocol, server.host, QString::number(server.port), versionFilePath(server.versionFolder));
}

QString packageAddress(const UpdateServer &server, const QString &packageName, PortInAddress portRule)
{
    const bool namesPort = portRule == PortInAddress::Always || server.portIsSet;
    const QString port = namesPort ? QStringLiteral(":%1").arg(server.port) : QString();
    return QStringLiteral("%1://%2%3%4").arg(server.protocol, server.host, port, packagePath(packageName));
}

QNetworkRequest updateRequest(const QString &address, const QString &versionMain, const QString &versionMinor)
{
    const QUrl url(address);
    if (!url.isValid())
        qWarning() << "Invalid address" << address << "-" << url.errorString();
    QNetworkRequest request{url};
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
    // The server expects the three pieces without separators.
    const QString agent = QLatin1String("Updater/") + versionMain + versionMinor + QLatin1String(platformName);
    request.setRawHeader("User-Agent", agent.toUtf8());
    return request;
}

std::optional<qint64> announcedLength(const QNetworkReply &reply)
{
    // The library sends a request again when the connection is lost, and lists the values of all answers; the last one
    // is that of the body.
    bool isNumber = false;
    const qint64 length = reply.rawHeader("Content-Length").split(',').constLast().toLongLong(&isNumber);
    return isNumber ? std::make_optional(length) : std::nullopt;
}

std::optional<QString> failureOf(const QNetworkReply &reply)
{
    if (reply.error() != QNetworkReply::NoError)
        return reply.errorString();
    // The library's own words for the same.
    if (reply.bytesAvailable() < announcedLength(reply).value_or(0))
        return QStringLiteral("Connection closed");
    return std::nullopt;
}

} // namespace freshen
