#pragma once

#include <QByteArray>
#include <QOperatingSystemVersion>

/// What differs between the systems that the tests run on.

[[nodiscard]] inline bool isWindows()
{
    return QOperatingSystemVersion::currentType() == QOperatingSystemVersion::Windows;
}

/// The line end of a text, in a file and on a standard stream.
[[nodiscard]] inline QByteArray lineEnd()
{
    return isWindows() ? "\r\n" : "\n";
}
