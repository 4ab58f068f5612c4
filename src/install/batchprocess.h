#pragma once

class QProcess;
class QString;

/// The two kinds of shell that read a batch file.
enum class BatchShell {
    /// Windows' own.
    CommandInterpreter,
    Posix,
};

/// The shell that startBatch() starts on this system.
[[nodiscard]] BatchShell batchShell();

/// Starts the batch file whose path \a command holds in double quotes in \a process, open for reading and writing.
/// Whether it could be started is told by the process.
void startBatch(QProcess &process, const QString &command);
