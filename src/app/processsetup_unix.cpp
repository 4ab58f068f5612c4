#include "app/processsetup.h"

void ignoreForeignLibraries()
{
    // Neither the current folder nor PATH is a place for libraries.
}

void adoptCodePage()
{
    // The locale's encoding works for every text.
}
