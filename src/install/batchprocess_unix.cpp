#include "install/batchprocess.h"
#include "install/systemfolder.h"

#include <QProcess>

#include <climits>

namespace freshen {

BatchShell batchShell()
{
    return BatchShell::Posix;
}

int longestCopyPath()
{
    // The limit counts the zero at the end.
    return PATH_MAX - 1;
}

void startBatch(QProcess &process, const QString &path)
{
    // The one line of the batch file means the same to the shell.
    process.start(systemFolder() + QLatin1String("/sh"), {path}, QIODevice::ReadWrite);
}

} // namespace freshen
