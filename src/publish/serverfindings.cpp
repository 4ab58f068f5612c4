#include "publish/serverfindings.h"

#include <QHostAddress>
#include <QUrl>

#include <algorithm>

namespace freshen::publish {

namespace {

constexpr int ok = 200;
constexpr qint64 minute = 60;
constexpr qint64 day = qint64{24} * 60 * minute;
/// An index that is older reaches users after those who publish have stopped to watch.
constexpr qint64 longestIndexLifetime = 5 * minute;
constexpr qint64 shortestPackageLifetime = day;
/// Leaves time to renew a certificate that is renewed by hand.
constexpr qint64 certificateDays = 14;

/// One kind of finding, for one answer.
struct Rule
{
    bool applies;
    FindingKind kind;
    QString message;
};

Finding findingOf(const Rule &rule, const ServerAnswer &answer)
{
    return {rule.kind, rule.message, answer.address};
}

bool isCutOff(const ServerAnswer &answer)
{
    const bool isShort =
        answer.announced ? answer.received < *answer.announced : answer.error == QNetworkReply::RemoteHostClosedError;
    return answer.status == ok && !answer.isStopped && isShort;
}

bool isWebPage(const ServerAnswer &answer)
{
    const QByteArray begin = answer.begin.trimmed().toLower();
    return begin.startsWith("<!doctype") || begin.startsWith("<html");
}

bool isEncryptedOrLocal(const QUrl &address)
{
    return address.scheme() == QLatin1String("https") || QHostAddress(address.host()).isLoopback();
}

/// The failures, the one that explains the others first.
QList<Rule> failureRules(const ServerAnswer &answer)
{
    const auto failedWith = [&answer](QNetworkReply::NetworkError error) { return answer.error == error; };
    return {
        {failedWith(QNetworkReply::InsecureRedirectError), serverRedirectLessSafe,
         QStringLiteral("It sends updaters on to an address without encryption.")},
        {failedWith(QNetworkReply::TooManyRedirectsError), serverRedirectLoop,
         QStringLiteral("It sends updaters on, again and again: %1.")
             .arg(answer.redirects.value(answer.redirects.size() - 1))},
        {!answer.certificateErrors.isEmpty(), serverCertificate,
         QStringLiteral("The certificate is not trusted: %1").arg(answer.certificateErrors.join(QLatin1Char(' ')))},
        {!answer.otherTls.isEmpty(), serverWithoutTls12,
         QStringLiteral("It speaks %1, but not TLS 1.2: updaters on Windows have no newer one.").arg(answer.otherTls)},
        {failedWith(QNetworkReply::SslHandshakeFailedError), serverTls, answer.errorText},
        {answer.isTimedOut, serverTimeout, QStringLiteral("Nothing more came after %1 bytes.").arg(answer.received)},
        {answer.status != 0 && answer.status != ok, serverStatus,
         QStringLiteral("The status is %1 instead of %2.").arg(answer.status).arg(ok)},
        {isCutOff(answer) && answer.announced, serverCutOff,
         QStringLiteral("%1 of %2 bytes came.").arg(answer.received).arg(answer.announced.value_or(0))},
        {isCutOff(answer), serverCutOff, QStringLiteral("The connection ended after %1 bytes.").arg(answer.received)},
        {!failedWith(QNetworkReply::NoError) && !answer.isStopped, serverFailed, answer.errorText},
        // A package is stopped for other bytes.
        {answer.isStopped && answer.kind == AnswerKind::Index, serverTooLong,
         QStringLiteral("It goes on after %1 bytes.").arg(answer.received)},
        {answer.received == 0, serverEmpty, QStringLiteral("Nothing is in it.")},
        {isWebPage(answer), serverHtml, QStringLiteral("It is a web page, with the status of success.")},
    };
}

QString otherBytes(const ServerAnswer &answer)
{
    const Difference difference = answer.difference.value_or(Difference());
    const QString text = QStringLiteral("It is not the local file, of whose %1 bytes the first %2 are the same.")
                             .arg(difference.localSize)
                             .arg(difference.at);
    return answer.age.isEmpty()
               ? text
               : text + QStringLiteral(" A cache has had it for %1 seconds.").arg(QString::fromLatin1(answer.age));
}

QString noLength(const ServerAnswer &answer)
{
    return answer.contentEncoding.isEmpty()
               ? QStringLiteral("It does not tell its length.")
               : QStringLiteral("It is compressed on its way (%1), so its length is not known.")
                     .arg(QString::fromLatin1(answer.contentEncoding));
}

QList<Rule> propertyRules(const ServerAnswer &answer, const QDateTime &now)
{
    const bool isIndex = answer.kind == AnswerKind::Index;
    const std::optional<qint64> lifetime = cacheLifetime(answer.cacheControl);
    return {
        {!answer.isCompared, serverNotCompared,
         QStringLiteral("It was not compared: there is no local file that can be read.")},
        {answer.difference.has_value(), serverOtherBytes, otherBytes(answer)},
        {!isEncryptedOrLocal(answer.address), serverUnencrypted,
         QStringLiteral("Updaters fetch it without encryption.")},
        {!answer.redirects.isEmpty(), serverRedirects,
         QStringLiteral("It sends updaters on to %1.").arg(answer.redirects.join(QStringLiteral(", then to ")))},
        {!answer.announced, serverNoLength, noLength(answer)},
        {isIndex && !lifetime, serverIndexCached, QStringLiteral("Caches may keep it as long as they like.")},
        {isIndex && lifetime > longestIndexLifetime, serverIndexCached,
         QStringLiteral("Caches may keep it for %1 seconds.").arg(lifetime.value_or(0))},
        {!isIndex && lifetime.value_or(0) < shortestPackageLifetime, serverPackageUncached,
         QStringLiteral("Caches are not told to keep it.")},
        {answer.certificateEnd.isValid() && now.daysTo(answer.certificateEnd) <= certificateDays, serverCertificateEnds,
         QStringLiteral("The certificate ends on %1.").arg(answer.certificateEnd.toUTC().toString(Qt::ISODate))},
    };
}

} // namespace

std::optional<Finding> failureOf(const ServerAnswer &answer)
{
    const QList<Rule> rules = failureRules(answer);
    const auto first = std::find_if(rules.begin(), rules.end(), [](const Rule &rule) { return rule.applies; });
    return first == rules.end() ? std::nullopt : std::optional(findingOf(*first, answer));
}

QList<Finding> propertiesOf(const ServerAnswer &answer, const QDateTime &now)
{
    QList<Finding> findings;
    for (const Rule &rule : propertyRules(answer, now)) {
        if (rule.applies)
            findings.append(findingOf(rule, answer));
    }
    return findings;
}

std::optional<qint64> cacheLifetime(const QByteArray &cacheControl)
{
    std::optional<qint64> lifetime;
    for (const QByteArray &directive : cacheControl.toLower().split(',')) {
        const QList<QByteArray> parts = directive.split('=');
        const QByteArray name = parts.first().trimmed();
        if (name == "no-cache" || name == "no-store")
            return 0;
        if (name == "max-age" || name == "s-maxage")
            lifetime = std::max(lifetime.value_or(0), parts.last().trimmed().replace('"', "").toLongLong());
    }
    return lifetime;
}

} // namespace freshen::publish
