#pragma once

/// \file
/// What the two readings of the updater make of one line.

#include "publish/audience.h"

#include <QStringList>

namespace freshen::publish {

/// What one reading makes of a line.
struct LineReading
{
    /// In a few words, for example "stable fix", "listed" or "refused".
    QString verdict;
    /// What the updater's log says of the line.
    QStringList log;
};

/// Both readings of a line that stands alone in a file.
struct LineReadings
{
    ///@{
    /// What the mode makes of it.
    LineReading automatic;
    LineReading manual;
    ///@}
};

/// What the updater of \a audience makes of \a line.
[[nodiscard]] LineReadings readLine(const QString &line, const Audience &audience);

} // namespace freshen::publish
