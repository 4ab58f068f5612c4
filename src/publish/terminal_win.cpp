#include "publish/terminal.h"

#include <io.h>

namespace freshen::publish {

bool isTerminal(FILE *stream)
{
    return _isatty(_fileno(stream)) != 0;
}

} // namespace freshen::publish
