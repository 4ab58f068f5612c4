#include "app/processsetup.h"

namespace freshen {

void ignoreForeignLibraries()
{
    // Neither the current folder nor PATH is a place for libraries.
}

void adoptCodePage()
{
    // The locale's encoding works for every text.
}

} // namespace freshen
