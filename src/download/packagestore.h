#pragma once

#include <QString>

class QIODevice;

/// The package as it is kept on disk between download and extraction.

/// Number of bytes of the length that a stored package starts with.
inline constexpr int packageLengthSize = 4;

/// Writes all that \a body still holds to \a path, replacing an older file: first its length as an unsigned 32-bit
/// big-endian number (modulo 2^32), then the bytes. A reader of ZIP archives finds the archive from its end and accepts
/// the four bytes before it. The body is passed on piece by piece, never held here as a whole.
///
/// Returns whether all was read and written; the log tells what was not. What came until then is stored.
bool storePackage(QIODevice &body, const QString &path);
