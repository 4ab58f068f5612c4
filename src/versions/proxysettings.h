#pragma once

#include <QNetworkProxy>

class QSettings;

/// The proxy that the user set in the application's login window.

/// The kind of proxy behind \a settingsType, the number in the application's settings. The application counts
/// differently from QNetworkProxy; an unknown number means no proxy.
[[nodiscard]] QNetworkProxy::ProxyType proxyType(int settingsType);

/// Reads the proxy from \a store, the application's settings. Without a known type it is QNetworkProxy::NoProxy with
/// all else empty, so that no proxy of the system is taken instead.
[[nodiscard]] QNetworkProxy readProxy(const QSettings &store);
