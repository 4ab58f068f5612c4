#include "publish/optionvalues.h"

#include <QRegularExpression>

namespace freshen::publish {

bool readNumber(Context &context, const NumberOption &option, std::optional<qint64> &value)
{
    const QString name = QString::fromLatin1(option.name);
    if (!context.options.isSet(name))
        return true;
    bool isNumber = false;
    value = context.options.value(name).toLongLong(&isNumber);
    if (isNumber && *value >= option.least && *value <= option.most)
        return true;
    static_cast<void>(context.report.fail(
        ExitCode::Usage,
        QStringLiteral("--%1 is a number from %2 to %3.").arg(name).arg(option.least).arg(option.most)));
    return false;
}

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
