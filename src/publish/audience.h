#pragma once

/// \file
/// Those who read an index: the readings of the updater depend on whom it runs for.

#include "versions/ownversion.h"
#include "versions/runningsystem.h"

#include <QString>

#include <optional>

namespace freshen::publish {

/// Users whose updaters read an index alike.
struct Audience
{
    /// The revision of their updater.
    qint32 updater = ownRevision;
    /// Their system, a Windows.
    RunningSystem system;
    /// They take beta versions.
    bool takesBetas = false;
    /// Their test builds count as beta versions.
    bool allowsTestBuilds = false;
};

/// The Windows with the version \a text, "major.minor"; none where the text is no such version.
[[nodiscard]] std::optional<RunningSystem> windowsVersion(const QString &text);

/// The version of \a system, as windowsVersion() reads it.
[[nodiscard]] QString versionOf(const RunningSystem &system);

/// The newest Windows there is, by the version that it reports to programs.
[[nodiscard]] RunningSystem newestWindows();

/// Who reads most: their system and updater meet every limit, and test builds are for them.
[[nodiscard]] Audience mostCapable();

} // namespace freshen::publish
