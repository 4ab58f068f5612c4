#pragma once

/// \file
/// The folder that a web server serves at "/", as the updater addresses what lies in it.

#include <QDir>
#include <QString>
#include <QStringList>

namespace freshen::publish {

/// Where the index and the packages lie below a server's document root. The folders on the server and in the local copy
/// are the same.
struct DocumentRoot
{
    /// The folder that is served.
    QString folder;
    /// The folder of the index, "VERSIONS" unless the application's settings name another.
    QString versionFolder;

    /// Path of the index, the version description file.
    [[nodiscard]] QString indexFile() const;
    /// Path of the folder that holds the packages of all indexes.
    [[nodiscard]] QString packageFolder() const;
    /// Path of the package \a name.
    [[nodiscard]] QString packageFile(const QString &name) const;
    /// Paths of the indexes of all version folders, sorted.
    [[nodiscard]] QStringList allIndexFiles() const;
    /// \a path as it is addressed on the server, without a leading slash.
    [[nodiscard]] QString relative(const QString &path) const;
};

} // namespace freshen::publish
