#include "publish/age.h"

#include <QRegularExpression>

namespace freshen::publish {

std::optional<qint64> secondsOf(const QString &text)
{
    constexpr qint64 hour = 3600;
    constexpr qint64 day = 24 * hour;
    static const QRegularExpression time(QStringLiteral("^([0-9]{1,5})([hd])$"));
    const QRegularExpressionMatch match = time.match(text);
    if (!match.hasMatch())
        return std::nullopt;
    return match.capturedRef(1).toLongLong() * (match.capturedRef(2) == QLatin1Char('d') ? day : hour);
}

} // namespace freshen::publish
