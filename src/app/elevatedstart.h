#pragma once

class QString;

/// Results of startElevated() that name a known reason.
namespace startresult {
inline constexpr int fileNotFound = 2;
inline constexpr int pathNotFound = 3;
inline constexpr int accessDenied = 5;
/// Only a result greater than this one is a success.
inline constexpr int lastFailure = 32;
} // namespace startresult

/// Asks the system to start the program \a file with raised rights and the argument \a argument. \a file is a bare name
/// in \a workingFolder. The started program may take the foreground.
///
/// Returns the system's answer (see ShellExecute): a value greater than startresult::lastFailure if the program was
/// started, otherwise the reason; a user who refuses the system's question for consent gives such a reason too.
[[nodiscard]] int startElevated(const QString &file, const QString &argument, const QString &workingFolder);
