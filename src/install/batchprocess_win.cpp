#include "install/batchprocess.h"

#include <QProcess>

#include <windows.h>

BatchShell batchShell()
{
    return BatchShell::CommandInterpreter;
}

void startBatch(QProcess &process, const QString &command)
{
    // The batch file is written in the system's 8-bit code page, but the interpreter reads it in that of its console,
    // which is the one of DOS: without the change, an umlaut in the path would become another character, and the copy
    // would go astray after the old version has been cleaned.
    process.setProgram(qEnvironmentVariable("ComSpec", QStringLiteral("cmd.exe")));
    process.setNativeArguments(QStringLiteral("/s /c \"chcp %1 >nul & %2\"").arg(GetACP()).arg(command));
    process.start(QIODevice::ReadWrite);
}
