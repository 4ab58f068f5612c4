#pragma once

class QTextCodec;

namespace freshen {

/// The codec of the system's own 8-bit code page, whatever page this process works in. ZIP programs write the names of
/// entries in it where they do not mark them as UTF-8 (PKWARE APPNOTE, appendix D). Lives until the process ends.
[[nodiscard]] QTextCodec *systemCodec();

} // namespace freshen
