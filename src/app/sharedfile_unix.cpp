#include "app/sharedfile.h"

namespace freshen {

void beginAppend(QFile & /*file*/)
{
    // The system puts each write to a file that is open for appending to its end, as a whole.
}

void endAppend(QFile & /*file*/) {}

} // namespace freshen
