#include "install/systemfolder.h"

#include <QString>

namespace freshen {

QString systemFolder()
{
    return QStringLiteral("/bin");
}

} // namespace freshen
