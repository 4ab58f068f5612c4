#include "app/processsetup.h"

#include <QtGlobal>

namespace freshen {

void ignoreForeignPlugins()
{
    for (const char *variable : {"QT_PLUGIN_PATH", "QT_QPA_PLATFORM_PLUGIN_PATH"})
        qunsetenv(variable);
}

} // namespace freshen
