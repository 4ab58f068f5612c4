#pragma once

class QProcess;
class QString;

namespace freshen {

/// The two kinds of shell that read a batch file.
enum class BatchShell {
    /// Windows' own.
    CommandInterpreter,
    Posix,
};

/// The shell that startBatch() starts on this system.
[[nodiscard]] BatchShell batchShell();

///@{
/// Length of the longest path of a file, and of a folder that is made, that xcopy.exe takes, in UTF-16 units.
inline constexpr int longestXcopyPath = 254;
inline constexpr int longestXcopyFolder = 247;
///@}

/// Length of the longest path of a file that the copying program of this system takes, in UTF-16 units.
[[nodiscard]] int longestCopyPath();

/// Length of the longest path of a folder that it can make.
[[nodiscard]] int longestCopyFolder();

/// Starts the batch file \a path in \a process, open for reading and writing. Shell and copying program are the
/// system's own, whatever the environment, the current folder or the user's settings name. Whether the batch file could
/// be started is told by the process.
void startBatch(QProcess &process, const QString &path);

} // namespace freshen
