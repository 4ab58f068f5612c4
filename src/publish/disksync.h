#pragma once

/// \file
/// Makes what was written outlive a failure of the machine.

#include <QString>

class QFileDevice;

namespace freshen::publish {

/// Waits until what was written to \a file, and flushed, is on the disk. False where it cannot be put there.
[[nodiscard]] bool syncFile(const QFileDevice &file);

/// Waits until the names in \a folder are on the disk, as far as the system lets a program wait for it.
void syncFolder(const QString &folder);

} // namespace freshen::publish
