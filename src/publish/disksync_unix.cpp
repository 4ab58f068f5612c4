#include "publish/disksync.h"

#include <QFile>

#include <fcntl.h>
#include <unistd.h>

namespace freshen::publish {

bool syncFile(const QFileDevice &file)
{
    return fsync(file.handle()) == 0;
}

void syncFolder(const QString &folder)
{
    const int descriptor = open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0)
        return;
    fsync(descriptor);
    close(descriptor);
}

} // namespace freshen::publish
