#include "download/progress.h"

namespace freshen {

QString megabytes(qint64 bytes)
{
    constexpr double perKilo = 1.0 / 1024;
    return QStringLiteral("%1").arg(static_cast<double>(bytes) * perKilo * perKilo, 0, 'f', 1);
}

} // namespace freshen
