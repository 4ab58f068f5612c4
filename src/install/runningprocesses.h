#pragma once

#include <QStringList>

namespace freshen {

/// Appends to \a names the executable's file name of every running process, in the system's order, duplicates kept.
/// Returns whether the list could be begun; on failure a warning goes to standard output and \a names stays as it was.
bool listRunningProcesses(QStringList &names);

} // namespace freshen
