#pragma once

class QTextCodec;

namespace freshen {

/// The codec of the system's own 8-bit code page, whatever page this process works in. Names of entries that are not
/// marked as UTF-8 (PKWARE APPNOTE 4.4.4, bit 11) are read in it, as programs on such a system write them; the format
/// itself knows only code page 437 for them. Lives until the process ends.
[[nodiscard]] QTextCodec *systemCodec();

} // namespace freshen
