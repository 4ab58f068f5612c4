#pragma once

class QString;

namespace freshen {

/// The folder of the system's own programs, in native separators. It is asked of the system, not of the environment,
/// which any program of the user's can change. Empty where the system does not tell.
[[nodiscard]] QString systemFolder();

} // namespace freshen
