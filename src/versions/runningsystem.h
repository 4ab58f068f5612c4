#pragma once

#include <QString>

namespace freshen {

/// The system that the updater runs on, as far as versions and packages depend on it.
struct RunningSystem
{
    /// Only on Windows is a minimum system version ever met.
    bool isWindows = false;
    ///@{
    /// Part of the system's version, for example 10.0.
    int majorVersion = 0;
    int minorVersion = 0;
    ///@}
    /// The system's name as the platform reports it, for example "Windows".
    QString name;

    /// The system of this process.
    [[nodiscard]] static RunningSystem current();
};

} // namespace freshen
