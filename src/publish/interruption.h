#pragma once

/// \file
/// The end of a program that its user ends with Ctrl-C.

namespace freshen::publish {

/// Makes an interruption from the keyboard end the event loop, as QCoreApplication::quit() does, and so does the end of
/// the terminal or of the session.
void quitWhenInterrupted();

} // namespace freshen::publish
