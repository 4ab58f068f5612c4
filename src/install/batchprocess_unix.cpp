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
    // The limit counts the zero at the end, and bytes: a path with many letters beyond ASCII ends sooner, with an
    // error.
    return PATH_MAX - 1;
}

int longestCopyFolder()
{
    return longestCopyPath();
}

void startBatch(QProcess &process, const QString &path)
{
    // The one line of the batch file means the same to the shell.
    process.start(systemFolder() + QLatin1String("/sh"), {path}, QIODevice::ReadWrite);
}

} // namespace freshen
