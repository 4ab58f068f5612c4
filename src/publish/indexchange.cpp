#include "publish/indexchange.h"

#include "publish/audienceoptions.h"
#include "publish/indexcheck.h"
#include "publish/packagedupdater.h"
#include "publish/prospectreport.h"
#include "publish/wholefile.h"

#include <QFileInfo>

#include <algorithm>

namespace freshen::publish {

namespace {

const QString force = QStringLiteral("force");

bool isError(const Finding &finding)
{
    return finding.kind.severity == Severity::Error;
}

} // namespace

QCommandLineOption forceOption()
{
    return {force, QStringLiteral("Go on in spite of errors.")};
}

std::optional<ExitCode> IndexChange::lock()
{
    return m_context.isDryRun ? std::nullopt : takeOrReport(m_lock, m_context.report);
}

std::optional<ExitCode> IndexChange::begin()
{
    if (const std::optional<ExitCode> failure = lock())
        return failure;
    QString error;
    const std::optional<Index> index = readIndex(m_context.root.indexFile(), error);
    if (!index)
        return m_context.report.fail(ExitCode::FileOrNetwork, error);
    m_index = *index;
    return std::nullopt;
}

std::optional<ExitCode> IndexChange::beginNew()
{
    m_isNew = true;
    if (!m_context.isDryRun)
        QDir().mkpath(m_context.root.folder);
    if (const std::optional<ExitCode> failure = lock())
        return failure;
    if (isUnchanged())
        return std::nullopt;
    return m_context.report.fail(ExitCode::Usage, QStringLiteral("There is an index already, so nothing is new."));
}

bool IndexChange::isAcceptable(const QByteArray &bytes, int number)
{
    const QString file = m_context.root.relative(m_context.root.indexFile());
    for (const Finding &finding : checkIndex(parseIndex(bytes), file, {ownRevision, newestWindows()})) {
        if (isError(finding) || finding.line == number)
            m_context.report.add(finding);
    }
    const QList<Finding> &findings = m_context.report.findings();
    return m_context.options.isSet(force) || std::none_of(findings.begin(), findings.end(), isError);
}

ExitCode IndexChange::finish(const QByteArray &bytes, const QList<PackageCopy> &copies)
{
    const QList<Finding> differing = checkCopies(copies, m_context.root);
    m_context.report.add(differing);
    if (!differing.isEmpty())
        return m_context.report.verdict();
    const ExitCode code = m_context.isDryRun ? ExitCode::Clean : write(bytes, copies);
    if (code != ExitCode::Clean)
        return code;
    showDifference(bytes);
    return m_context.report.verdict();
}

ExitCode IndexChange::write(const QByteArray &bytes, const QList<PackageCopy> &copies)
{
    // The packages first: whoever reads the new index finds them.
    QString error = makeCopies(copies, m_context.root, m_context.report);
    if (!error.isEmpty())
        return m_context.report.fail(ExitCode::FileOrNetwork, error);
    if (!isUnchanged())
        return m_context.report.fail(ExitCode::LockedOrChanged,
                                     QStringLiteral("Somebody has changed the index meanwhile. Nothing was changed."));
    error = writeWholeFile(m_context.root.indexFile(), bytes);
    return error.isEmpty() ? ExitCode::Clean : m_context.report.fail(ExitCode::FileOrNetwork, error);
}

bool IndexChange::isUnchanged() const
{
    const QString path = m_context.root.indexFile();
    if (m_isNew)
        return !QFileInfo::exists(path);
    QString error;
    const std::optional<Index> now = readIndex(path, error);
    return now && now->bytes == m_index.bytes;
}

void IndexChange::showDifference(const QByteArray &bytes) const
{
    const QList<Audience> audiences = usualAudiences();
    const PackagedUpdater packagedUpdater = updaterInPackage(m_context.root);
    showChanges(prospectsFor(m_index.text, audiences, packagedUpdater),
                prospectsFor(parseIndex(bytes).text, audiences, packagedUpdater), m_context.report);
}

} // namespace freshen::publish
