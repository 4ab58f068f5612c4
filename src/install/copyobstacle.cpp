#include "install/copyobstacle.h"

#include "install/batchprocess.h"
#include "install/cleaning.h"

#include <QDir>
#include <QDirIterator>

namespace freshen {

namespace {

/// What the copying program goes through below \a folder; hidden files are not copied.
QFileInfoList filesBelow(const QString &folder)
{
    QFileInfoList entries;
    QDirIterator iterator(folder, QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (iterator.hasNext()) {
        iterator.next();
        entries.append(iterator.fileInfo());
    }
    return entries;
}

/// The first path, of those to be read or written, that the copying program cannot take. It works with the folders as
/// they are named to it, steps upwards included.
std::optional<QString> tooLongPath(const QString &source, const QString &destination, const QFileInfoList &entries)
{
    for (const QFileInfo &entry : entries) {
        const QString inside = QLatin1Char('/') + QDir(source).relativeFilePath(entry.absoluteFilePath());
        for (const QString &folder : {source, destination}) {
            const QString path = folder + inside;
            if (path.size() > (entry.isDir() ? longestCopyFolder() : longestCopyPath()))
                return QDir::toNativeSeparators(path);
        }
    }
    return std::nullopt;
}

qint64 neededBytes(const QFileInfoList &entries, qint64 blockSize)
{
    qint64 bytes = 0;
    for (const QFileInfo &entry : entries) {
        // Qt tells the size of what a shortcut leads to; the shortcut itself is small.
        if (entry.isShortcut())
            bytes += blockSize;
        else if (entry.isFile())
            bytes += inBlocks(entry.size(), blockSize);
    }
    return bytes;
}

} // namespace

std::optional<QString> copyObstacle(const QString &source, const QString &destination, const QStringList &filesToKeep,
                                    const std::optional<DiskSpace> &space)
{
    const QFileInfoList entries = filesBelow(source);
    if (const std::optional<QString> path = tooLongPath(source, destination, entries))
        return QStringLiteral("Path too long: %1").arg(*path);
    if (!space)
        return std::nullopt;
    const qint64 needed = neededBytes(entries, space->blockSize);
    const qint64 free = space->available + cleanableBytes(destination, filesToKeep, space->blockSize);
    if (needed <= free)
        return std::nullopt;
    return QStringLiteral("Not enough space in %1: %2 bytes needed, %3 bytes free")
        .arg(QDir::toNativeSeparators(destination), QString::number(needed), QString::number(free));
}

} // namespace freshen
