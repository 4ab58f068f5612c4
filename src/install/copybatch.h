#pragma once

/// \file
/// The copy of the new files into the installation. Windows' own xcopy.exe does it, since it knows the file attributes
/// of the system; a batch file of one line starts it.

#include "install/batchprocess.h"

#include <QProcess>
#include <QString>

#include <chrono>

namespace freshen {

/// Where the batch file lies.
struct CopyBatch
{
    /// The batch file's path.
    QString path;
    /// The path in double quotes, as the log shows it.
    QString command;

    /// The batch file in \a folder, in native separators.
    [[nodiscard]] static CopyBatch in(const QString &folder);
};

/// The one line that copies the contents of \a source into \a destination, with subfolders, empty ones too, overwriting
/// without asking, also encrypted files, keeping the attributes. What \a shell would read as something else in the name
/// of a folder is written so that the copy is given the name as it is.
[[nodiscard]] QString copyCommand(const QString &source, const QString &destination, BatchShell shell);

/// Writes \a line to the batch file at \a path, in the process's 8-bit code page, which startBatch() has it read in
/// too, replacing an older one. A character outside that code page cannot be written faithfully; UTF-8, which Windows
/// 10 knows from version 1903 on, holds all. Returns whether the file holds the whole line; the log tells why not.
[[nodiscard]] bool writeBatchFile(const QString &path, const QString &line);

/// Heads what a copy wrote to its standard error, in the log and for the user.
inline constexpr char standardErrorHeading[] = "STD ERROR:\n";

/// How a copy ended.
struct CopyResult
{
    /// The batch ended within the time allowed, without a crash and with exit code 0.
    bool succeeded = false;
    /// What the interpreter ended with; 0 where it did not end in time or was never started, and what Qt tells where it
    /// crashed or could not be started.
    int exitCode = 0;
    /// What the copy wrote to its standard error, read in the process's 8-bit code page and under standardErrorHeading.
    QString errorText;
};

/// How long runCopyBatch() waits.
struct CopyLimits
{
    /// For the start of the interpreter. One that starts later is waited for all the same, as part of the copy.
    std::chrono::milliseconds start = std::chrono::minutes(1);
    /// For the end of the copy, which is ended then.
    std::chrono::milliseconds copy = std::chrono::minutes(1);
};

/// Runs the batch file of \a batch and waits for it within \a limits; the calling thread does nothing else meanwhile.
/// Each step is logged.
[[nodiscard]] CopyResult runCopyBatch(const CopyBatch &batch, const CopyLimits &limits = {});

/// Name of the enumerator \a error, for the log.
[[nodiscard]] const char *errorName(QProcess::ProcessError error);

} // namespace freshen
