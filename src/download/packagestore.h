#pragma once

/// \file
/// The package as it is kept on disk between download and extraction.

#include <QString>

class QIODevice;

namespace freshen {

/// Number of bytes of the length that a stored package starts with.
inline constexpr int packageLengthSize = 4;

/// Writes all \a size bytes at \a data to \a file. Returns false where it takes no more; \a file knows why. A full disk
/// takes a part without a word; only what is written next is refused with the system's reason.
[[nodiscard]] bool writeAll(QIODevice &file, const char *data, qint64 size);

/// Writes all that \a body still holds to \a path, replacing an older file: first its length as an unsigned 32-bit
/// big-endian number (modulo 2^32), then the bytes. A reader of ZIP archives finds the archive from its end and accepts
/// the four bytes before it. The body is passed on chunk by chunk, never held here as a whole.
///
/// Returns whether all was read and written; the log tells what was not. What came until then is stored.
[[nodiscard]] bool storePackage(QIODevice &body, const QString &path);

} // namespace freshen
