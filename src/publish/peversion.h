#pragma once

/// \file
/// The version that a Windows program carries (Microsoft PE and COFF format; VS_VERSIONINFO of the Windows API),
/// read on any system.

#include <QByteArray>
#include <QString>

class QIODevice;

namespace freshen::publish {

/// The text "FileVersion" in the version resource of \a program, for example 26.06.7205. Empty where there is none: no
/// program for Windows, none with such a resource, or a damaged one.
[[nodiscard]] QString peFileVersion(QIODevice &program);

/// The text \a name in \a resource, the bytes of a version resource. Empty where there is none.
[[nodiscard]] QString versionText(const QByteArray &resource, const QString &name);

} // namespace freshen::publish
