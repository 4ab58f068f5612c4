#pragma once

/// \file
/// The installation that is to be replaced, as the relocated updater finds it.

#include <QString>

#include <optional>

namespace freshen {

/// The hand-over file in \a parentDir: the relocating updater leaves it there for its copy.
[[nodiscard]] QString handOverFile(const QString &parentDir);

/// The first line of the hand-over file in \a parentDir (UTF-8): the installation folder. Empty where the file is
/// empty or, which is logged, cannot be read.
[[nodiscard]] QString readHandOver(const QString &parentDir);

/// The entry of \a unpackedFolder that holds the new files: the name that comes last when the folder's entries are
/// sorted without regard to case. A package has exactly one folder at its top. Nothing where the folder is missing or
/// empty.
[[nodiscard]] std::optional<QString> packageFolder(const QString &unpackedFolder);

/// The paths of the application's executable under its present and its older name.
struct Executables
{
    /// Under the present name.
    QString current;
    /// Under the older name.
    QString old;

    /// In \a folder, in native separators; neither needs to exist.
    [[nodiscard]] static Executables in(const QString &folder);

    /// The one that exists, the present name first; nothing if there is none.
    [[nodiscard]] std::optional<QString> existing() const;
};

} // namespace freshen
