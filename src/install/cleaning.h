#pragma once

/// \file
/// Cleaning a folder: the old installation, except for the files that are to be kept, or the unpacked package.
///
/// Files to keep are those that lie directly in the folder under one of these bare names, compared case-sensitively.
/// The list does not hold in subfolders; each of them is removed whatever it contains. A link or junction to a folder
/// is followed unless it leads back; a shortcut is a file. Hidden files are left alone (of a shortcut, what it leads to
/// decides), so the folders that hold one stay.

#include <QString>
#include <QStringList>

namespace freshen {

/// Removes what lies in the folder \a path but for the files \a filesToKeep, and with \a removeSelf the folder itself.
/// Read-only files are removed too. What cannot be removed is logged and stays. An empty path cleans nothing.
void cleanFolder(const QString &path, bool removeSelf, const QStringList &filesToKeep);

/// The number of bytes that the files take which cleanFolder() would remove, in whole blocks of \a blockSize bytes.
[[nodiscard]] qint64 cleanableBytes(const QString &path, const QStringList &filesToKeep, qint64 blockSize);

/// The space that \a size bytes take in a file system with blocks of \a blockSize bytes.
[[nodiscard]] qint64 inBlocks(qint64 size, qint64 blockSize);

} // namespace freshen
