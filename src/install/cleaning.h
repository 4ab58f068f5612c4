#pragma once

#include <QString>
#include <QStringList>

/// Removes what lies in the folder \a path, and with \a removeSelf the folder itself. An empty path cleans nothing.
///
/// \a filesToKeep names files that lie directly in the folder and stay: bare names, compared case-sensitively. The list
/// does not hold in subfolders; each of them is removed whatever it contains, and a link to a folder is followed unless
/// it leads back. Hidden files are left alone, so the folders that hold one stay. What cannot be removed is logged and
/// stays.
void cleanFolder(const QString &path, bool removeSelf, const QStringList &filesToKeep);
