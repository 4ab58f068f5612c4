#include "install/folderidentity.h"

#include <QDir>

namespace freshen {

QByteArray folderIdentity(const QString &path)
{
    return QDir(path).canonicalPath().toUtf8();
}

} // namespace freshen
