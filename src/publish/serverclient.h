#pragma once

/// \file
/// Asks a live server as an updater does.

#include "publish/serveranswer.h"

#include <QNetworkAccessManager>
#include <QSslConfiguration>

#include <chrono>
#include <functional>

namespace freshen::publish {

/// Takes the next piece of a body; false ends the transfer.
using BodySink = std::function<bool(const QByteArray &piece)>;

/// Asks with the updater's own requests and with the version of TLS that all updaters have.
class ServerClient
{
public:
    /// \a patience: how long it waits while nothing comes. \a authorities are trusted besides those of the system.
    ServerClient(std::chrono::milliseconds patience, const QList<QSslCertificate> &authorities);

    /// Asks for \a address and gives the body to \a sink piece by piece. Returns when all of it has come, or no more
    /// will.
    [[nodiscard]] ServerAnswer ask(AnswerKind kind, const QString &address, const BodySink &sink);

private:
    [[nodiscard]] QString otherTlsOf(const ServerAnswer &answer) const;

    QNetworkAccessManager m_manager;
    QSslConfiguration m_tls;
    int m_patienceMs;
};

} // namespace freshen::publish
