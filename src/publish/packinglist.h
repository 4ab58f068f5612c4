#pragma once

/// \file
/// What of an application folder goes into a package.

#include "publish/finding.h"

#include <QList>
#include <QString>
#include <QStringList>

namespace freshen::publish {

/// No file is left out by a pattern that was given to leave some out.
inline constexpr FindingKind uselessExclusion{"useless-exclusion", Severity::Warning};

/// A file or folder that is packed.
struct PackedItem
{
    /// Relative to the application folder, with slashes, one at the end of a folder.
    QString name;
    /// Where it is.
    QString path;
    /// In bytes; 0 for a folder.
    qint64 size = 0;
};

/// What is packed, and what is not.
struct PackingList
{
    /// Sorted by name, so that it does not depend on the order in which a disk lists them.
    QList<PackedItem> items;
    /// Names of what the patterns leave out, sorted. Of a folder that is left out only the folder.
    QStringList excluded;
    /// Patterns that leave nothing out.
    QStringList uselessPatterns;
    /// Why the folder cannot be packed; empty where it can.
    QString failure;
};

/// Lists \a folder without what \a patterns leave out. Patterns are wildcards: one with a slash is compared with the
/// relative path, any other with the name alone. Hidden files are packed; links cannot be.
[[nodiscard]] PackingList listFolder(const QString &folder, const QStringList &patterns);

} // namespace freshen::publish
