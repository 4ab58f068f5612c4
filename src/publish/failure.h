#pragma once

/// \file
/// Why a file or a folder could not be used, as the user is told it.

#include <QDir>
#include <QFileDevice>

namespace freshen::publish {

/// \a reason, which is about the file or folder \a path.
[[nodiscard]] inline QString failureAt(const QString &path, const QString &reason)
{
    return QStringLiteral("%1: %2").arg(QDir::toNativeSeparators(path), reason);
}

/// What the system says of \a file, which failed.
[[nodiscard]] inline QString failureOf(const QFileDevice &file)
{
    return failureAt(file.fileName(), file.errorString());
}

} // namespace freshen::publish
