#include "versions/proxysettings.h"

#include "versions/applicationsettings.h"

namespace freshen {

namespace {

QNetworkProxy::ProxyType proxyType(int settingsType)
{
    switch (settingsType) {
    case 1:
        return QNetworkProxy::Socks5Proxy;
    case 2:
        return QNetworkProxy::HttpProxy;
    case 3:
        return QNetworkProxy::HttpCachingProxy;
    case 4:
        return QNetworkProxy::FtpCachingProxy;
    default:
        return QNetworkProxy::NoProxy;
    }
}

} // namespace

QNetworkProxy readProxy(const QSettings &store)
{
    const QNetworkProxy::ProxyType type = proxyType(setting(store, key::proxyType).toInt());
    if (type == QNetworkProxy::NoProxy)
        return QNetworkProxy(QNetworkProxy::NoProxy);
    return QNetworkProxy(type, setting(store, key::proxyHost).toString(),
                         static_cast<quint16>(setting(store, key::proxyPort).toInt()),
                         setting(store, key::proxyUser).toString(), setting(store, key::proxyPassword).toString());
}

} // namespace freshen
