#pragma once

/// \file
/// Removing single files and folders, with a word in the log about what cannot be removed.

class QString;

namespace freshen {

/// Removes the file \a path, or the link or shortcut of that name, never what it leads to. A read-only file is made
/// writable first, since Windows removes none. Returns whether it is gone; the log tells why not.
[[nodiscard]] bool removeFile(const QString &path);

/// Removes the empty folder \a path, or the link of that name where the system takes it for a folder; one that is
/// read-only too. Returns whether it is gone; the log tells why not.
[[nodiscard]] bool removeEmptyFolder(const QString &path);

} // namespace freshen
