#pragma once

/// \file
/// How a number of bytes is shown to the user.

#include <QString>

namespace freshen {

/// \a bytes in megabytes (1 MB = 1,048,576 bytes), rounded to one decimal, for example "1.5".
[[nodiscard]] QString megabytes(qint64 bytes);

} // namespace freshen
