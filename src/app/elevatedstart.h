#pragma once

class QString;

namespace freshen {

/// The system's answer to a start with elevated privileges (see ShellExecute).
struct StartResult
{
    ///@{
    /// A code that names a known reason.
    static constexpr int fileNotFound = 2;
    static constexpr int pathNotFound = 3;
    static constexpr int accessDenied = 5;
    ///@}

    /// As the system gives it.
    int code = 0;

    /// Whether the program was started.
    [[nodiscard]] bool isStarted() const
    {
        constexpr int lastFailure = 32;
        return code > lastFailure;
    }
};

/// Asks the system to start the program \a file with elevated privileges and the argument \a argument. \a file is a
/// bare name in \a workingFolder. The started program may take the foreground.
///
/// A start also fails where the user refuses the consent prompt.
[[nodiscard]] StartResult startElevated(const QString &file, const QString &argument, const QString &workingFolder);

} // namespace freshen
