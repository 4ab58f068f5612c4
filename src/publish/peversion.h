#pragma once

/// \file
/// The version that a Windows program carries (VS_VERSIONINFO of the Windows API), read on any system.

#include <QByteArray>
#include <QString>

namespace freshen::publish {

/// The text "FileVersion" in the version resource of \a program, for example 26.06.7205. Empty where there is none: no
/// program for Windows, none with such a resource, or a damaged one.
[[nodiscard]] QString peFileVersion(const QByteArray &program);

} // namespace freshen::publish
