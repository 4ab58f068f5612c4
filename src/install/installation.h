#pragma once

#include <QString>

/// The installation that is to be replaced, as the relocated updater finds it.

/// The hand-over file in \a parentDir: the relocating updater leaves it there for its copy.
[[nodiscard]] QString handOverFile(const QString &parentDir);

/// The first line of the hand-over file in \a parentDir (UTF-8): the installation folder. Empty where the file is
/// empty or, which is logged, cannot be read.
[[nodiscard]] QString readHandOver(const QString &parentDir);

/// The entry of \a unpackedFolder that holds the new files: the name that comes last when the folder's entries are
/// sorted without regard to case. A package has exactly one folder at its top. Empty where the folder is missing or
/// empty.
[[nodiscard]] QString packageFolder(const QString &unpackedFolder);

/// The paths of the application's executable under its present and its older name.
struct Executables
{
    QString current;
    QString old;

    /// In \a folder, in native separators; neither needs to exist.
    [[nodiscard]] static Executables in(const QString &folder);

    /// The one that exists, the present name first; empty if there is none.
    [[nodiscard]] QString existing() const;
};
