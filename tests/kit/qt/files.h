#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>

/// Writes \a content to \a path, replacing an older file and making missing folders. A file whose name begins with a
/// full stop is hidden on every system.
void writeFile(const QString &path, const QByteArray &content);

/// What the file at \a path holds; a null array where there is none.
[[nodiscard]] QByteArray readFile(const QString &path);

/// Everything below \a folder, hidden entries too, by its path relative to \a folder with forward slashes: the contents
/// of each file, and each folder, with a slash at its end, without contents. A link to a folder is shown as an entry
/// "-> target" and not followed.
[[nodiscard]] QMap<QString, QByteArray> treeOf(const QString &folder);
