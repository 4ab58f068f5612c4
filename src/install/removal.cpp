#include "install/removal.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace freshen {

namespace {

/// Lets \a remove try again after \a path, as far as it is read-only, has been made writable. What cannot be removed
/// even so is left with the permissions that it had.
template <typename Remove>
bool removeReadOnly(const QString &path, Remove remove)
{
    const QFileInfo entry(path);
    // The permissions of a link are those of what it leads to. Of a shortcut, too, Qt reads those, but it sets the
    // shortcut's own.
    if (entry.isSymbolicLink() || entry.isJunction() ||
        (!entry.isShortcut() && (entry.permissions() & QFile::WriteOwner) != 0))
        return false;
    const QFile::Permissions permissions = entry.permissions();
    if (!QFile::setPermissions(path, permissions | QFile::WriteOwner | QFile::WriteUser))
        return false;
    if (remove())
        return true;
    // A shortcut that stays is left writable: what it was cannot be told.
    if (!entry.isShortcut())
        QFile::setPermissions(path, permissions);
    return false;
}

void warn(const QString &path, const QString &reason)
{
    qWarning() << "Cannot remove" << path << "-" << reason;
}

} // namespace

bool removeFile(const QString &path)
{
    QFile file(path);
    if (file.remove())
        return true;
    const QString reason = file.errorString();
    if (removeReadOnly(path, [&file] { return file.remove(); }))
        return true;
    warn(path, reason);
    return false;
}

bool removeEmptyFolder(const QString &path)
{
    const auto remove = [&path] { return QDir().rmdir(path); };
    if (remove())
        return true;
    // That was one call of the system's, so the latest reason is its own.
    const QString reason = qt_error_string();
    if (removeReadOnly(path, remove))
        return true;
    warn(path, reason);
    return false;
}

} // namespace freshen
