#include "publish/rootlock.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>

namespace freshen::publish {

namespace {

/// The longest that a process takes from making the lock's file to writing into it.
constexpr qint64 longestStart = 1000;

} // namespace

RootLock::RootLock(const QString &folder) : m_path(QDir(folder).filePath(QLatin1String(lockFileName))), m_file(m_path)
{
    // However long it takes; a lock whose process has ended is no lock in any case.
    m_file.setStaleLockTime(0);
}

bool RootLock::isLeftHalfWritten() const
{
    const QFileInfo file(m_path);
    return file.size() == 0 && file.lastModified().msecsTo(QDateTime::currentDateTime()) > longestStart;
}

QString RootLock::take()
{
    // A process that was killed before it could write its name would hold the lock for ever.
    if (m_file.tryLock(0) || (isTaken() && isLeftHalfWritten() && m_file.removeStaleLockFile() && m_file.tryLock(0)))
        return {};
    const QString shown = QDir::toNativeSeparators(m_path);
    const QString folder = QFileInfo(m_path).path();
    if (!QFileInfo(folder).isDir())
        return QStringLiteral("There is no folder %1.").arg(QDir::toNativeSeparators(folder));
    if (!isTaken())
        return QStringLiteral("%1: The lock cannot be written.").arg(shown);
    qint64 process = 0;
    QString host;
    QString program;
    m_file.getLockInfo(&process, &host, &program);
    return QStringLiteral("%1: %2 (process %3 on %4) is writing to the folder. If it has ended, delete the lock.")
        .arg(shown, program, QString::number(process), host);
}

std::optional<ExitCode> takeOrReport(RootLock &lock, Report &report)
{
    const QString error = lock.take();
    if (error.isEmpty())
        return std::nullopt;
    return report.fail(lock.isTaken() ? ExitCode::LockedOrChanged : ExitCode::FileOrNetwork, error);
}

} // namespace freshen::publish
