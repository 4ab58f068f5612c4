#include "publish/serverfailure.h"

#include <array>

namespace freshen::publish {

namespace {

constexpr int ok = 200;

/// A kind of finding, and how it is seen: the message, or an empty text where it is not there.
struct Rule
{
    FindingKind kind;
    QString (*message)(const ServerAnswer &answer);
};

bool isError(const ServerAnswer &answer, QNetworkReply::NetworkError error)
{
    return answer.error == error;
}

QString redirectLessSafe(const ServerAnswer &answer)
{
    return isError(answer, QNetworkReply::InsecureRedirectError)
               ? QStringLiteral("It sends updaters on to an address without encryption.")
               : QString();
}

QString redirectLoop(const ServerAnswer &answer)
{
    return isError(answer, QNetworkReply::TooManyRedirectsError)
               ? QStringLiteral("It sends updaters on, again and again: %1.").arg(answer.redirects.last())
               : QString();
}

QString certificate(const ServerAnswer &answer)
{
    return answer.certificateErrors.isEmpty() ? QString()
                                              : QStringLiteral("The certificate is not trusted: %1")
                                                    .arg(answer.certificateErrors.join(QLatin1Char(' ')));
}

QString withoutTls12(const ServerAnswer &answer)
{
    return answer.otherTls.isEmpty()
               ? QString()
               : QStringLiteral("It speaks %1, but not TLS 1.2: updaters on Windows have no newer one.")
                     .arg(answer.otherTls);
}

QString tls(const ServerAnswer &answer)
{
    return isError(answer, QNetworkReply::SslHandshakeFailedError) ? answer.errorText : QString();
}

QString timeout(const ServerAnswer &answer)
{
    return answer.isTimedOut ? QStringLiteral("Nothing more came after %1 bytes.").arg(answer.received) : QString();
}

QString status(const ServerAnswer &answer)
{
    return answer.status != 0 && answer.status != ok
               ? QStringLiteral("The status is %1 in the place of %2.").arg(answer.status).arg(ok)
               : QString();
}

QString cutOff(const ServerAnswer &answer)
{
    const bool isShort =
        answer.announced ? answer.received < *answer.announced : isError(answer, QNetworkReply::RemoteHostClosedError);
    if (answer.status != ok || answer.isStopped || !isShort)
        return {};
    return answer.announced ? QStringLiteral("%1 of %2 bytes came.").arg(answer.received).arg(*answer.announced)
                            : QStringLiteral("The connection ended after %1 bytes.").arg(answer.received);
}

QString failed(const ServerAnswer &answer)
{
    return isError(answer, QNetworkReply::NoError) || answer.isStopped ? QString() : answer.errorText;
}

QString tooLong(const ServerAnswer &answer)
{
    return answer.isStopped && !answer.difference ? QStringLiteral("It goes on after %1 bytes.").arg(answer.received)
                                                  : QString();
}

QString empty(const ServerAnswer &answer)
{
    return answer.received == 0 ? QStringLiteral("Nothing is in it.") : QString();
}

QString html(const ServerAnswer &answer)
{
    const QByteArray begin = answer.begin.trimmed().toLower();
    return begin.startsWith("<!doctype") || begin.startsWith("<html")
               ? QStringLiteral("It is a web page, with the status of success.")
               : QString();
}

/// The first one says it all.
constexpr std::array failures = {
    Rule{serverRedirectLessSafe, redirectLessSafe},
    Rule{serverRedirectLoop, redirectLoop},
    Rule{serverCertificate, certificate},
    Rule{serverWithoutTls12, withoutTls12},
    Rule{serverTls, tls},
    Rule{serverTimeout, timeout},
    Rule{serverStatus, status},
    Rule{serverCutOff, cutOff},
    Rule{serverFailed, failed},
    Rule{serverTooLong, tooLong},
    Rule{serverEmpty, empty},
    Rule{serverHtml, html},
};

} // namespace

std::optional<Finding> failureOf(const ServerAnswer &answer)
{
    for (const Rule &rule : failures) {
        const QString message = rule.message(answer);
        if (!message.isEmpty())
            return Finding{rule.kind, message, answer.address};
    }
    return std::nullopt;
}

} // namespace freshen::publish
