#pragma once

/// \file
/// The proxy that the user set in the application's login window.

#include <QNetworkProxy>

class QSettings;

namespace freshen {

/// Reads the proxy from \a store, the application's settings, whose numbers for the kinds of proxies are not those of
/// QNetworkProxy. Without a known kind it is QNetworkProxy::NoProxy with all else empty, so that no proxy of the system
/// is taken instead.
[[nodiscard]] QNetworkProxy readProxy(const QSettings &store);

/// Decides whether a proxy that asks for credentials is given those of the settings: at most once in a row. One that
/// asks again at once has refused them; without an answer the request fails instead of asking for ever.
class CredentialOffers
{
public:
    /// Counts one more question of a proxy. Returns whether it is to be answered.
    [[nodiscard]] bool isToBeAnswered()
    {
        m_wasAnswered = !m_wasAnswered;
        return m_wasAnswered;
    }

private:
    bool m_wasAnswered = false;
};

} // namespace freshen
