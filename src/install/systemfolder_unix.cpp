#include "install/systemfolder.h"

#include <QString>

QString systemFolder()
{
    return QStringLiteral("/bin");
}
