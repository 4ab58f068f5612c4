#include "install/folderidentity.h"

#include <QDir>

QByteArray folderIdentity(const QString &path)
{
    return QDir(path).canonicalPath().toUtf8();
}
