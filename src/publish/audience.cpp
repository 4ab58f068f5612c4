#include "publish/audience.h"

#include <QRegularExpression>

#include <limits>

namespace freshen::publish {

namespace {

RunningSystem windows(int majorVersion, int minorVersion)
{
    return {true, majorVersion, minorVersion, QStringLiteral("Windows")};
}

} // namespace

std::optional<RunningSystem> windowsVersion(const QString &text)
{
    static const QRegularExpression version(QStringLiteral("^([0-9]{1,3})\\.([0-9]{1,3})$"));
    const QRegularExpressionMatch match = version.match(text);
    if (!match.hasMatch())
        return std::nullopt;
    return windows(match.capturedRef(1).toInt(), match.capturedRef(2).toInt());
}

QString versionOf(const RunningSystem &system)
{
    return QStringLiteral("%1.%2").arg(system.majorVersion).arg(system.minorVersion);
}

RunningSystem newestWindows()
{
    // Windows 11 is one.
    return *windowsVersion(QStringLiteral("10.0"));
}

Audience mostCapable()
{
    constexpr int most = std::numeric_limits<qint32>::max();
    return {most, windows(most, most), true, true};
}

} // namespace freshen::publish
