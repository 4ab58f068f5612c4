#pragma once

/// \file
/// The index: the version description file, as bytes and as the lines that updaters see in it.

#include "versions/versionline.h"

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

#include <optional>

namespace freshen::publish {

/// One line of an index.
struct IndexLine
{
    /// Counted from 1, empty lines included.
    int number = 0;
    /// The line as updaters decode it, without the line feed.
    QString text;
    /// Its columns; any number of them.
    VersionRow row;
    /// The key of the line; none where no updater on any system can read the line.
    std::optional<qint32> revision;
};

/// An index.
struct Index
{
    /// The whole file.
    QByteArray bytes;
    /// The text that updaters read: what comes before a zero byte.
    QString text;
    /// The lines of the text that are not empty.
    QList<IndexLine> lines;
};

/// Whether \a type is one that updaters know.
[[nodiscard]] bool isReleaseType(const QString &type);

/// The revision of \a line, which stands alone in a file, where it is read by an updater that meets every limit.
[[nodiscard]] std::optional<qint32> revisionOf(const QString &line);

/// Takes the bytes of an index apart.
[[nodiscard]] Index parseIndex(const QByteArray &bytes);

/// Reads the index at \a path; on failure \a error says why.
[[nodiscard]] std::optional<Index> readIndex(const QString &path, QString &error);

/// Which updaters ask for a package under a name.
enum class NameKind {
    Plain,
    /// Where the application's settings ask for extended names.
    Extended,
    /// The same on Windows XP.
    ExtendedXp,
};

/// The names of the files of the package of \a line; none where it has no revision.
[[nodiscard]] QMap<NameKind, QString> packageNames(const IndexLine &line);

/// The names of all packages that updaters may ask for because of \a index, sorted, each once.
[[nodiscard]] QStringList listedPackages(const Index &index);

} // namespace freshen::publish
