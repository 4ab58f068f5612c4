#pragma once

/// \file
/// Keeps a second freshen-publish from writing to the folder that another one works on.

#include "publish/report.h"

#include <QLockFile>
#include <QString>

#include <optional>

namespace freshen::publish {

/// The file in a folder that says who writes to it. Web servers commonly do not serve files with such a name.
inline constexpr char lockFileName[] = ".freshen-publish.lock";

/// Locks a folder until it is destroyed, or the process ends.
class RootLock
{
public:
    /// \a folder is there.
    explicit RootLock(const QString &folder);

    /// Takes the lock, without waiting. Returns why it cannot be taken, or an empty text.
    [[nodiscard]] QString take();
    /// After take() has failed: somebody else has the lock.
    [[nodiscard]] bool isTaken() const
    {
        return m_file.error() == QLockFile::LockFailedError;
    }

private:
    [[nodiscard]] bool isLeftHalfWritten() const;

    QString m_path;
    QLockFile m_file;
};

/// Takes \a lock. Returns how the command ends where it cannot; the report then says why.
[[nodiscard]] std::optional<ExitCode> takeOrReport(RootLock &lock, Report &report);

} // namespace freshen::publish
