#pragma once

/// \file
/// How the updater leaves the installation that it replaces: it copies itself into a temporary folder, and writes a
/// hand-over file that tells the copy where it came from.

#include "app/elevatedstart.h"

#include <QString>

namespace freshen {

/// File name of the updater's executable.
inline constexpr char updaterFileName[] = "Freshen.exe";

/// The folders and files of one relocation, in native separators.
struct RelocationPaths
{
    /// The folder that the updater runs from.
    QString source;
    /// The folder that the copy will run from.
    QString temporary;
    /// The hand-over file, beside the temporary folder.
    QString handOver;
};

/// The paths for an updater in \a applicationFolder whose local data goes to \a localDataFolder.
[[nodiscard]] RelocationPaths relocationPaths(const QString &applicationFolder, const QString &localDataFolder);

/// Writes the absolute path of the source folder (UTF-8, no line end) to a new hand-over file. Returns whether it was
/// written; the log tells why not.
[[nodiscard]] bool writeHandOver(const RelocationPaths &paths);

/// Removes the folder \a path with all that it holds, hidden entries too. What a link leads to is left alone, even
/// where the path itself is one. Returns whether the folder is gone; stops at the first entry that cannot be removed,
/// and logs it. A folder that does not exist counts as removed.
[[nodiscard]] bool removeFolder(const QString &path);

/// Copies the updater's executable, the plug-ins that it needs and all libraries beside it into the temporary folder. A
/// copy that fails is logged and does not stop the others; without the executable the start fails, and its result
/// tells.
void copyUpdater(const RelocationPaths &paths);

/// Logs the reason that \a result, a failed start of the copy, names; nothing where it names no known one.
void logStartFailure(StartResult result, const RelocationPaths &paths);

} // namespace freshen
