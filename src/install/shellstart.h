#pragma once

class QString;

namespace freshen {

/// Starts the program \a shell, detached, with \a executable as its one argument; on Windows in double quotes, whatever
/// it holds. Returns whether it was started.
[[nodiscard]] bool startShell(const QString &shell, const QString &executable);

} // namespace freshen
