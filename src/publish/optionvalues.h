#pragma once

/// \file
/// What the values of options mean.

#include "publish/command.h"

#include <optional>

namespace freshen::publish {

/// An option whose value is a whole number.
struct NumberOption
{
    /// Its name, without the hyphens.
    const char *name;
    ///@{
    /// The smallest and the largest value that it may have.
    qint64 least;
    qint64 most;
    ///@}
};

/// Reads \a option of the command into \a value, which stays as it is where the option is not set. False where it is no
/// number in these limits; the report then says so.
[[nodiscard]] bool readNumber(Context &context, const NumberOption &option, std::optional<qint64> &value);

/// The seconds that \a text means, a number with "h" for hours or "d" for days; none where it is no such text.
[[nodiscard]] std::optional<qint64> secondsOf(const QString &text);

} // namespace freshen::publish
