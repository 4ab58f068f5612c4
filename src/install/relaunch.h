#pragma once

/// \file
/// The start of the updated application. The desktop shell starts it, not the updater, so that it does not inherit the
/// updater's elevated privileges.

#include <QString>
#include <QStringList>

#include <optional>

namespace freshen {

/// Path of the desktop shell's program, found through the one entry of \a environment (name=value texts) that contains
/// "SYSTEMROOT" in any case. Nothing where there is none or more than one, since the right one cannot be told then.
[[nodiscard]] std::optional<QString> shellProgram(const QStringList &environment);

/// The command that lets \a shell start \a executable, both in double quotes.
[[nodiscard]] QString relaunchCommand(const QString &shell, const QString &executable);

/// Starts \a shell with \a executable as its one argument, quoted as in relaunchCommand(), detached. Returns whether it
/// was started; never without a shell.
[[nodiscard]] bool startThroughShell(const QString &shell, const QString &executable);

} // namespace freshen
