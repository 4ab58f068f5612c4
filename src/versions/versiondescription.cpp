#include "versions/versiondescription.h"

#include <QCoreApplication>
#include <QDebug>

#include <algorithm>
#include <tuple>

namespace freshen {

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
class DescriptionParser
{
public:
    DescriptionParser(const RunningSystem &system, const std::function<bool()> &testBuildsAllowed, qint32 updater)
        : m_system(system), m_testBuildsAllowed(testBuildsAllowed), m_result{{}, {updater}}
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
    void recordUnsupported(const VersionRow &row, qint32 revision, const SystemVersion &required);
    [[nodiscard]] bool allowsTestBuild(qint32 revision) const;
    [[nodiscard]] QString notice(qint32 revision, const SystemVersion &required) const;

    const RunningSystem &m_system;
    const std::function<bool()> &m_testBuildsAllowed;
    VersionDescription m_result;
};

void DescriptionParser::readLine(const QString &line)
{
    const VersionRow row = splitColumns(line);
    if (row.size() < plainColumns || row.size() > systemColumns) {
        warnAboutCount(row);
        return;
    }
    const std::optional<qint32> revision = readRevision(row);
    if (!revision)
        return;
    if (row.size() >= updaterColumns && !allowsUpdater(row, *revision, m_result.maxima.updater))
        return;
    if (row.size() == systemColumns) {
        const SystemVersion required = readSystemVersion(row.at(column::minimumSystem));
        if (!isAtLeast(m_system, required)) {
            recordUnsupported(row, *revision, required);
            return;
        }
    }
    accept(row, *revision);
}

void DescriptionParser::accept(const VersionRow &row, qint32 revision)
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

void DescriptionParser::acceptFix(const VersionRow &row, qint32 revision)
{
    const int reference = toNumber(row.at(column::reference));
    if (reference == 0)
        return;
    raise(m_result.maxima.latestStableFix, revision);
    if (row.size() != plainColumns)
        qDebug() << "latestStableFix" << reference << m_result.maxima.latestStableFix;
}

void DescriptionParser::recordUnsupported(const VersionRow &row, qint32 revision, const SystemVersion &required)
{
    NewestRevisions &maxima = m_result.maxima;
    const QString &type = row.at(column::type);
    if (type == stableType) {
        maxima.stableNotice = notice(revision, required);
        raise(maxima.newestUnsupportedStable, revision);
    } else if (type == betaType || type == testType) {
        if (type == betaType || allowsTestBuild(revision)) {
            maxima.betaNotice = notice(revision, required);
            raise(maxima.newestUnsupportedBeta, revision);
        }
    } else {
        warnAboutType(type);
    }
    // Support knows the line by its first word, whatever that once stood for.
    qDebug() << "t0" << maxima.newestUnsupportedBeta << maxima.newestUnsupportedStable;
    // The required system is of the running system's type, so both have the same name.
    qDebug() << "WARNING: current os" << m_system.name << "not eligible for" << revision << "- os needs update to"
             << m_system.name << row.at(column::minimumSystem);
}

bool DescriptionParser::allowsTestBuild(qint32 revision) const
{
    if (m_testBuildsAllowed())
        return true;
    qDebug() << "WARNING: ignoring test build" << revision;
    return false;
}

QString DescriptionParser::notice(qint32 revision, const SystemVersion &required) const
{
    return QCoreApplication::translate("MainWindow",
                                       "To update to newest version (%1) you need to update you operating system to "
                                       "at least (%2 %3.%4)")
        .arg(QString::number(revision), m_system.name, QString::number(required.majorVersion),
             QString::number(required.minorVersion));
}

} // namespace

VersionDescription readVersionDescription(const QString &text, const RunningSystem &system,
                                          const std::function<bool()> &testBuildsAllowed, qint32 updater)
{
    DescriptionParser parser(system, testBuildsAllowed, updater);
    for (const QString &line : splitLines(text))
        parser.readLine(line);
    return parser.result();
}

} // namespace freshen
