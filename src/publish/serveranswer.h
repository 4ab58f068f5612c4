#pragma once

/// \file
/// One answer of a live server, as an updater gets it.

#include <QByteArray>
#include <QDateTime>
#include <QNetworkReply>
#include <QString>
#include <QStringList>

#include <optional>

namespace freshen::publish {

/// What was asked for.
enum class AnswerKind { Index, Package };

/// How an answer is unlike the local file.
struct Difference
{
    /// So many bytes at the begin are the same.
    qint64 at = 0;
    /// Size of the local file.
    qint64 localSize = 0;
};

/// One answer, from all that it took to get it.
struct ServerAnswer
{
    /// Which file it is.
    AnswerKind kind = AnswerKind::Index;
    /// What was asked for.
    QString address;
    /// Where it was sent on to, one after the other.
    QStringList redirects;

    ///@{
    /// How the transfer ended, and the library's words for it.
    QNetworkReply::NetworkError error = QNetworkReply::NoError;
    QString errorText;
    ///@}
    /// Nothing came for longer than was waited.
    bool isTimedOut = false;
    /// The transfer was ended here: what had come was wrong, or too long.
    bool isStopped = false;
    /// Why the certificate is not trusted.
    QStringList certificateErrors;
    /// When the certificate ends to be valid; invalid where there is none.
    QDateTime certificateEnd;
    /// The version of TLS that the server speaks where it does not speak that of all updaters; empty where none is
    /// known.
    QString otherTls;

    /// Status code (RFC 9110, 15); 0 where none came.
    int status = 0;
    ///@{
    /// Header of that name; empty where there is none.
    QByteArray cacheControl;
    QByteArray contentEncoding;
    QByteArray age;
    ///@}
    /// Length of the body as it is announced, if it is.
    std::optional<qint64> announced;
    /// Length of the body as it came.
    qint64 received = 0;
    /// The first bytes of the body.
    QByteArray begin;
    /// Whether the body was compared with the local file, which could be read then.
    bool isCompared = false;
    /// Unset where the body is the local file's, or was not compared.
    std::optional<Difference> difference;
};

} // namespace freshen::publish
