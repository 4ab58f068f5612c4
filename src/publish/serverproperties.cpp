#include "publish/serverproperties.h"

#include <QHostAddress>
#include <QUrl>

#include <algorithm>
#include <array>

namespace freshen::publish {

namespace {

constexpr qint64 minute = 60;
constexpr qint64 day = qint64{24} * 60 * minute;
/// An index that is older reaches users after those who publish have stopped to watch.
constexpr qint64 longestIndexLifetime = 5 * minute;
constexpr qint64 shortestPackageLifetime = day;
/// Leaves time to renew a certificate that is renewed by hand.
constexpr qint64 certificateDays = 14;

/// A kind of finding, and how it is seen: its message, or an empty text where it is not there.
struct Rule
{
    FindingKind kind;
    QString (*message)(const ServerAnswer &answer);
};

QString otherBytes(const ServerAnswer &answer)
{
    if (!answer.difference)
        return {};
    const QString text = QStringLiteral("It is not the local file, of whose %1 bytes the first %2 are the same.")
                             .arg(answer.difference->localSize)
                             .arg(answer.difference->at);
    return answer.age.isEmpty()
               ? text
               : text + QStringLiteral(" A cache has had it for %1 seconds.").arg(QString::fromLatin1(answer.age));
}

QString unencrypted(const ServerAnswer &answer)
{
    const QUrl address(answer.address);
    const QHostAddress host(address.host());
    const bool isSafe = address.scheme() == QLatin1String("https") || host.isLoopback();
    return isSafe ? QString() : QStringLiteral("It is asked without encryption.");
}

QString redirects(const ServerAnswer &answer)
{
    return answer.redirects.isEmpty()
               ? QString()
               : QStringLiteral("It sends updaters on to %1.").arg(answer.redirects.join(QStringLiteral(", then to ")));
}

QString noLength(const ServerAnswer &answer)
{
    if (answer.announced)
        return {};
    return answer.contentEncoding.isEmpty()
               ? QStringLiteral("It does not tell its length.")
               : QStringLiteral("It is compressed on its way (%1), so its length is not known.")
                     .arg(QString::fromLatin1(answer.contentEncoding));
}

QString indexCached(const ServerAnswer &answer)
{
    const std::optional<qint64> lifetime = cacheLifetime(answer.cacheControl);
    if (answer.kind != AnswerKind::Index || (lifetime && *lifetime <= longestIndexLifetime))
        return {};
    return lifetime ? QStringLiteral("Caches may keep it for %1 seconds.").arg(*lifetime)
                    : QStringLiteral("Caches may keep it as long as they like.");
}

QString packageUncached(const ServerAnswer &answer)
{
    const bool isKept = cacheLifetime(answer.cacheControl).value_or(0) >= shortestPackageLifetime;
    return answer.kind == AnswerKind::Package && !isKept ? QStringLiteral("Caches are not told to keep it.")
                                                         : QString();
}

constexpr std::array properties = {
    Rule{serverOtherBytes, otherBytes},   Rule{serverUnencrypted, unencrypted},
    Rule{serverRedirects, redirects},     Rule{serverNoLength, noLength},
    Rule{serverIndexCached, indexCached}, Rule{serverPackageUncached, packageUncached},
};

QList<Finding> endOfCertificate(const ServerAnswer &answer, const QDateTime &now)
{
    if (!answer.certificateEnd.isValid() || now.daysTo(answer.certificateEnd) > certificateDays)
        return {};
    return {{serverCertificateEnds,
             QStringLiteral("The certificate ends on %1.").arg(answer.certificateEnd.toUTC().toString(Qt::ISODate)),
             answer.address}};
}

} // namespace

QList<Finding> propertiesOf(const ServerAnswer &answer, const QDateTime &now)
{
    QList<Finding> findings;
    for (const Rule &rule : properties) {
        const QString message = rule.message(answer);
        if (!message.isEmpty())
            findings.append({rule.kind, message, answer.address});
    }
    return findings + endOfCertificate(answer, now);
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
