#pragma once

/// \file
/// A file that several processes add to at the same time, none of them breaking a line of another.

class QFile;

namespace freshen {

/// Begins to add to the end of \a file, which is open for appending: what is written until endAppend() goes to the end,
/// and no other process that does the same gets in between. Waits for others two seconds at most; after that the text
/// goes to the end all the same. Returns whether the end was found: otherwise writing would overwrite what others
/// wrote.
[[nodiscard]] bool beginAppend(QFile &file);

/// Ends what beginAppend() has begun, after all has been handed to the system.
void endAppend(QFile &file);

} // namespace freshen
