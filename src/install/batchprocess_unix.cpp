#include "install/batchprocess.h"

#include <QProcess>

BatchShell batchShell()
{
    return BatchShell::Posix;
}

void startBatch(QProcess &process, const QString &command)
{
    // The one line of the batch file means the same to the shell.
    process.start(QStringLiteral("/bin/sh"), QProcess::splitCommand(command), QIODevice::ReadWrite);
}
