#include "publish/indexchange.h"

#include "publish/audienceoptions.h"
#include "publish/indexcheck.h"
#include "publish/indexedit.h"
#include "publish/packagedupdater.h"
#include "publish/packagefiles.h"
#include "publish/preview.h"
#include "publish/wholefile.h"

#include <QFileInfo>

namespace freshen::publish {

namespace {

const QString force = QStringLiteral("force");

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
    if (!index && !QFileInfo::exists(m_context.root.indexFile()))
        error += QStringLiteral(". The first package is added with \"add --new\".");
    if (!index)
        return m_context.report.fail(ExitCode::FileOrNetwork, error);
    m_index = *index;
    return std::nullopt;
}

std::optional<ExitCode> IndexChange::beginWith(QList<IndexLine> &lines)
{
    if (const std::optional<ExitCode> failure = begin())
        return failure;
    const QString argument = m_context.arguments.first();
    bool isNumber = false;
    const qint32 revision = argument.toInt(&isNumber);
    if (!isNumber)
        return m_context.report.fail(ExitCode::Usage, QStringLiteral("\"%1\" is no revision.").arg(argument));
    lines = linesWith(m_index, revision);
    if (!lines.isEmpty())
        return std::nullopt;
    return m_context.report.fail(ExitCode::NothingToDo, QStringLiteral("No line has the revision %1.").arg(revision));
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
    return m_context.report.fail(ExitCode::Usage, QStringLiteral("There is an index already: leave out --new."));
}

void IndexChange::check(const QByteArray &bytes, int number)
{
    const QString file = m_context.root.relative(m_context.root.indexFile());
    for (const Finding &finding : checkIndex(parseIndex(bytes), file, {ownRevision, newestWindows()})) {
        if (finding.isError() || finding.line == number)
            m_context.report.add(finding);
    }
}

bool IndexChange::isAcceptable() const
{
    return m_context.options.isSet(force) || m_context.report.verdict() == ExitCode::Clean;
}

ExitCode IndexChange::finish(const QByteArray &bytes, const QList<PackageCopy> &copies)
{
    const QList<Finding> differing = checkCopies(copies, m_context.root, m_context.report);
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
    // Before the index: killed in between, a package is kept for longer than it need be.
    restartAges(m_context.root, m_index, parseIndex(bytes));
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
    showChanges(previewsFor(m_index.text, audiences, packagedUpdater),
                previewsFor(parseIndex(bytes).text, audiences, packagedUpdater), m_context.report);
}

} // namespace freshen::publish
