#pragma once

#include <QString>

#include <optional>

namespace freshen::publish {

/// The seconds that \a text means, a number with "h" for hours or "d" for days; none where it is no such text.
[[nodiscard]] std::optional<qint64> secondsOf(const QString &text);

} // namespace freshen::publish
