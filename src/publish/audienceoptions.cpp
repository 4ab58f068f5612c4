#include "publish/audienceoptions.h"

namespace freshen::publish {

namespace {

const QString updaterOption = QStringLiteral("updater");
const QString windowsOption = QStringLiteral("windows");
const QString betaOption = QStringLiteral("beta");
const QString testOption = QStringLiteral("test");

/// The oldest Windows that the updater runs on, and the newest.
const QStringList usualWindows = {QStringLiteral("6.1"), versionOf(newestWindows())};

/// The values of an option that may be repeated and has several values with commas between them.
QStringList valuesOf(const QCommandLineParser &options, const QString &name)
{
    return options.values(name).join(QLatin1Char(',')).split(QLatin1Char(','), Qt::SkipEmptyParts);
}

std::optional<QList<qint32>> readUpdaters(const QStringList &texts)
{
    QList<qint32> updaters;
    for (const QString &text : texts) {
        bool isNumber = false;
        updaters.append(text.toInt(&isNumber));
        if (!isNumber)
            return std::nullopt;
    }
    return updaters.isEmpty() ? QList<qint32>{ownRevision} : updaters;
}

std::optional<QList<RunningSystem>> readSystems(const QStringList &texts)
{
    QList<RunningSystem> systems;
    for (const QString &text : texts.isEmpty() ? usualWindows : texts) {
        const std::optional<RunningSystem> system = windowsVersion(text);
        if (!system)
            return std::nullopt;
        systems.append(*system);
    }
    return systems;
}

/// Each of \a updaters on each of \a systems.
QList<Audience> combine(const QList<qint32> &updaters, const QList<RunningSystem> &systems, bool onlyBetas,
                        bool allowsTestBuilds)
{
    QList<Audience> audiences;
    for (const qint32 updater : updaters) {
        for (const RunningSystem &system : systems) {
            if (!onlyBetas)
                audiences.append({updater, system, false, allowsTestBuilds});
            audiences.append({updater, system, true, allowsTestBuilds});
        }
    }
    return audiences;
}

} // namespace

QList<QCommandLineOption> audienceOptions()
{
    return {
        {updaterOption, QStringLiteral("Revisions of updaters, with commas; %1 by default.").arg(ownRevision),
         QStringLiteral("R,...")},
        {windowsOption,
         QStringLiteral("Versions of Windows, with commas; %1 by default.").arg(usualWindows.join(QLatin1Char(','))),
         QStringLiteral("VERSION,...")},
        {betaOption, QStringLiteral("Only those who take beta versions.")},
        {testOption, QStringLiteral("Those whose test builds count as beta versions.")},
    };
}

std::optional<QList<Audience>> readAudiences(const QCommandLineParser &options, QString &error)
{
    const auto updaters = readUpdaters(valuesOf(options, updaterOption));
    const auto systems = readSystems(valuesOf(options, windowsOption));
    if (updaters && systems)
        return combine(*updaters, *systems, options.isSet(betaOption), options.isSet(testOption));
    error = updaters ? QStringLiteral("--windows takes versions such as 10.0.")
                     : QStringLiteral("--updater takes revisions, which are whole numbers.");
    return std::nullopt;
}

QList<Audience> usualAudiences()
{
    return combine({ownRevision}, *readSystems({}), false, false);
}

} // namespace freshen::publish
