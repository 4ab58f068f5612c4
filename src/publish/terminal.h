#pragma once

/// \file
/// Whether somebody watches.

#include <cstdio>

namespace freshen::publish {

/// Whether \a stream leads to a terminal, and not to a file or another program.
[[nodiscard]] bool isTerminal(FILE *stream);

} // namespace freshen::publish
