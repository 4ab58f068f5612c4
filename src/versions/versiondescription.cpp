#include "versions/versiondescription.h"

#include <QCoreApplication>
#include <QDebug>
#include <QOperatingSystemVersion>

#include <algorithm>
#include <tuple>

namespace {

/// A minimum system version, for example 10.0.
struct SystemVersion
{
    int majorVersion = 0;
    int minorVersion = 0;
};

/// Reads "major.minor"; a missing or unreadable number counts as 0.
SystemVersion readSystemVersion(const QString &text)
{
    const QStringList parts = text.split(QLatin1Char('.'));
    return {toNumber(parts.value(0)), toNumber(parts.value(1))};
}

bool isAtLeast(const RunningSystem &system, const SystemVersion &required)
{
    return system.isWindows &&
           std::tie(system.majorVersion, system.minorVersion) >= std::tie(required.majorVersion, required.minorVersion);
}

void raise(qint32 &maximum, qint32 revision)
{
    maximum = std::max(maximum, revision);
}

/// One reading of the file, line by line.
class Reading
{
public:
    Reading(const RunningSystem &system, const std::function<bool()> &testBuildsAllowed)
        : m_system(system), m_testBuildsAllowed(testBuildsAllowed)
    {
    }

    void readLine(const QString &line);
    [[nodiscard]] VersionDescription result() const
    {
        return m_result;
    }

private:
    void accept(const VersionRow &row, qint32 revision);
    void acceptFix(const VersionRow &row, qint32 revision);
    void holdBack(const VersionRow &row, qint32 revision, const SystemVersion &required);
    [[nodiscard]] bool allowsTestBuild(qint32 revision) const;
    [[nodiscard]] QString notice(qint32 revision, const SystemVersion &required) const;

    const RunningSystem &m_system;
    const std::function<bool()> &m_testBuildsAllowed;
    VersionDescription m_result;
};

void Reading::readLine(const QString &line)
{
    const VersionRow row = splitColumns(line);
    if (row.size() < plainColumns || row.size() > systemColumns) {
        warnAboutCount(row);
        return;
    }
    const std::optional<qint32> revision = readRevision(row);
    if (!revision)
        return;
    if (row.size() >= updaterColumns && !allowsThisUpdater(row, *revision))
        return;
    if (row.size() == systemColumns) {
        const SystemVersion required = readSystemVersion(row.at(column::minimumSystem));
        if (!isAtLeast(m_system, required)) {
            holdBack(row, *revision, required);
            return;
        }
    }
    accept(row, *revision);
}

void Reading::accept(const VersionRow &row, qint32 revision)
{
    // Before the type is looked at: a line of unknown type is offered all the same.
    m_result.versions.insert(revision, row);

    const QString &type = row.at(column::type);
    if (type == stableType) {
        raise(m_result.maxima.newestStable, revision);
        acceptFix(row, revision);
    } else if (type == betaType) {
        raise(m_result.maxima.newestBeta, revision);
    } else if (type == testType && row.size() == systemColumns) {
        if (allowsTestBuild(revision))
            raise(m_result.maxima.newestBeta, revision);
    } else {
        warnAboutType(type);
    }
}

void Reading::acceptFix(const VersionRow &row, qint32 revision)
{
    const int reference = toNumber(row.at(column::reference));
    if (reference == 0)
        return;
    raise(m_result.maxima.latestStableFix, revision);
    if (row.size() != plainColumns)
        qDebug() << "latestStableFix" << reference << m_result.maxima.latestStableFix;
}

void Reading::holdBack(const VersionRow &row, qint32 revision, const SystemVersion &required)
{
    VersionMaxima &maxima = m_result.maxima;
    const QString &type = row.at(column::type);
    if (type == stableType) {
        maxima.stableNotice = notice(revision, required);
        raise(maxima.stableHeldBack, revision);
    } else if (type == betaType || type == testType) {
        if (type == betaType || allowsTestBuild(revision)) {
            maxima.betaNotice = notice(revision, required);
            raise(maxima.betaHeldBack, revision);
        }
    } else {
        warnAboutType(type);
    }
    qDebug() << "t0" << maxima.betaHeldBack << maxima.stableHeldBack;
    // The required system is of the running system's type, so both have the same name.
    qDebug() << "WARNING: current os" << m_system.name << "not eligible for" << revision << "- os needs update to"
             << m_system.name << row.at(column::minimumSystem);
}

bool Reading::allowsTestBuild(qint32 revision) const
{
    if (m_testBuildsAllowed())
        return true;
    qDebug() << "WARNING: ignoring test build" << revision;
    return false;
}

QString Reading::notice(qint32 revision, const SystemVersion &required) const
{
    return QCoreApplication::translate("MainWindow",
                                       "To update to newest version (%1) you need to update you operating system to "
                                       "at least (%2 %3.%4)")
        .arg(QString::number(revision), m_system.name, QString::number(required.majorVersion),
             QString::number(required.minorVersion));
}

} // namespace

RunningSystem RunningSystem::current()
{
    const QOperatingSystemVersion system = QOperatingSystemVersion::current();
    return {system.type() == QOperatingSystemVersion::Windows, system.majorVersion(), system.minorVersion(),
            system.name()};
}

VersionDescription readVersionDescription(const QString &text, const RunningSystem &system,
                                          const std::function<bool()> &testBuildsAllowed)
{
    Reading reading(system, testBuildsAllowed);
    for (const QString &line : splitLines(text))
        reading.readLine(line);
    return reading.result();
}
