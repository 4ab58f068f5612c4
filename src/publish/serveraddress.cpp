#include "publish/serveraddress.h"

#include <QUrl>

namespace freshen::publish {

namespace {

constexpr int httpPort = 80;
constexpr int httpsPort = 443;

} // namespace

std::optional<UpdateServer> serverAt(const QString &address, const QString &versionFolder)
{
    const QUrl url(address, QUrl::StrictMode);
    const bool isHttps = url.scheme() == QLatin1String("https");
    const bool isKnown = isHttps || url.scheme() == QLatin1String("http");
    const bool hasPath = !url.path().isEmpty() && url.path() != QLatin1String("/");
    QUrl alone;
    alone.setScheme(url.scheme());
    alone.setHost(url.host());
    if (!isKnown || url.host().isEmpty() || hasPath || url.adjusted(QUrl::RemovePort | QUrl::RemovePath) != alone)
        return std::nullopt;
    UpdateServer server;
    server.protocol = url.scheme();
    server.host = alone.authority();
    server.port = static_cast<uint>(url.port(isHttps ? httpsPort : httpPort));
    server.portIsSet = url.port() != -1;
    server.versionFolder = versionFolder;
    return server;
}

} // namespace freshen::publish
