#pragma once

/// \file
/// What Windows makes of the names in a package, known on every system.

#include <QString>
#include <QStringList>

namespace freshen::publish {

/// The folders and the file that \a name, the name of an entry, leads through on Windows: both slashes separate, steps
/// to the same folder count for nothing, and blanks and full stops at the end of a name are dropped.
[[nodiscard]] QStringList windowsSteps(const QString &name);

/// \a steps as one text that is equal for names that are equal to Windows, which makes no difference between capital
/// and small letters.
[[nodiscard]] QString windowsKey(const QStringList &steps);

/// Why Windows has no file or folder \a name, as a half sentence; empty where it has.
[[nodiscard]] QString windowsObjection(const QString &name);

} // namespace freshen::publish
