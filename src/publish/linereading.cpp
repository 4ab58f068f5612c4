#include "publish/linereading.h"

#include "download/versionlist.h"
#include "publish/messagelog.h"
#include "publish/offers.h"

namespace freshen::publish {

namespace {

const QString refused = QStringLiteral("refused");

/// How a line that may be installed counts, after \a maxima were raised by it alone.
QString kindOf(const NewestRevisions &maxima)
{
    if (maxima.latestStableFix > maxima.updater)
        return QStringLiteral("stable fix");
    if (maxima.newestStable > maxima.updater)
        return QStringLiteral("stable");
    if (maxima.newestBeta > maxima.updater)
        return QStringLiteral("beta");
    return QStringLiteral("never chosen");
}

QString automaticVerdict(const QString &line, const Audience &audience)
{
    const VersionDescription description = readFor(line, audience);
    return description.versions.isEmpty() ? refused : kindOf(description.maxima);
}

QString manualVerdict(const QString &line, const Audience &audience)
{
    const VersionTable versions = readVersionList(line, audience.updater);
    if (versions.isEmpty())
        return refused;
    return listRows(versions, false).isEmpty() ? QStringLiteral("listed with betas") : QStringLiteral("listed");
}

LineReading logged(QString (*verdictOf)(const QString &, const Audience &), const QString &line,
                   const Audience &audience)
{
    const MessageLog log;
    const QString verdict = verdictOf(line, audience);
    return {verdict, log.messages()};
}

} // namespace

LineReadings readLine(const QString &line, const Audience &audience)
{
    return {logged(automaticVerdict, line, audience), logged(manualVerdict, line, audience)};
}

} // namespace freshen::publish
