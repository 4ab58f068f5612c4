#pragma once

/// \file
/// The entries of a package as its directory tells them (PKWARE APPNOTE 4.3.12), read as the updater reads them.

#include <QFile>
#include <QList>
#include <QString>

namespace freshen::publish {

/// One entry.
struct PackageEntry
{
    /// As the updater on this system decodes it.
    QString name;
    /// The name is marked as UTF-8 (general purpose flag 11).
    bool isUtf8 = false;
    /// Its bytes need a password.
    bool isEncrypted = false;
    /// A symbolic link, by its Unix mode.
    bool isLink = false;
    /// Method of compression.
    quint16 method = 0;
    /// Those of Unix; none where the archive was made on a system without them.
    QFile::Permissions permissions;
    /// The attributes of MS-DOS.
    quint32 attributes = 0;
    /// Unpacked, in bytes.
    qint64 size = 0;

    /// Whether the entry is a folder, to whom both slashes separate.
    [[nodiscard]] bool isFolder() const
    {
        return name.endsWith(QLatin1Char('/')) || name.endsWith(QLatin1Char('\\'));
    }
};

/// The entries of the package at \a path in the order of its directory, as far as that can be read.
[[nodiscard]] QList<PackageEntry> readEntries(const QString &path);

/// The content of \a entry, of the package at \a path, up to \a most bytes; empty where it cannot be read.
[[nodiscard]] QByteArray readEntry(const QString &path, const PackageEntry &entry, qint64 most);

} // namespace freshen::publish
