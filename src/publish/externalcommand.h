#pragma once

/// \file
/// Runs the commands that publishers name in options, for example one that signs programs.

#include <QString>

namespace freshen::publish {

/// Runs \a command in \a folder and waits for its end. The command is a program and its arguments, separated by blanks;
/// double quotes keep blanks together. No shell reads it, so it means the same on every system. What it writes to its
/// standard output goes to standard error. Returns why it failed, or an empty text where it ended with 0.
[[nodiscard]] QString runExternalCommand(const QString &command, const QString &folder);

} // namespace freshen::publish
