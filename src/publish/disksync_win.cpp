#include "publish/disksync.h"

#include <QFileDevice>

#include <io.h>

namespace freshen::publish {

bool syncFile(const QFileDevice &file)
{
    return _commit(file.handle()) == 0;
}

void syncFolder(const QString & /*folder*/)
{
    // The file system keeps the order of its names by itself, and lets nobody wait for it.
}

} // namespace freshen::publish
