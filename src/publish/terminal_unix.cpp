#include "publish/terminal.h"

#include <unistd.h>

namespace freshen::publish {

bool isTerminal(FILE *stream)
{
    return isatty(fileno(stream)) != 0;
}

} // namespace freshen::publish
