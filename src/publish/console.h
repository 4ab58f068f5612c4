#pragma once

/// \file
/// The user who watches the tool and may end it.

#include <cstdio>

namespace freshen::publish {

/// Whether \a stream leads to a terminal, and not to a file or another program.
[[nodiscard]] bool isTerminal(FILE *stream);

/// Makes an interruption from the keyboard end the event loop, as QCoreApplication::quit() does, and so does the end of
/// the terminal or of the session.
void quitWhenInterrupted();

} // namespace freshen::publish
