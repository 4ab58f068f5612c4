#include "install/batchprocess.h"
#include "install/systemfolder.h"

#include <QProcess>
#include <QProcessEnvironment>

#include <windows.h>

namespace freshen {

BatchShell batchShell()
{
    return BatchShell::CommandInterpreter;
}

int longestCopyPath()
{
    // xcopy.exe ends with "Insufficient memory" where a path is longer.
    return longestXcopyPath;
}

int longestCopyFolder()
{
    // Windows keeps room for a short file name in each folder that is made.
    return longestXcopyFolder;
}

void startBatch(QProcess &process, const QString &path)
{
    const QString system = systemFolder();
    if (system.isEmpty())
        return;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    // The batch file calls the copying program by its bare name: it is found in the system's folder, the first in PATH.
    // The current folder is not searched, and is the system's as well.
    environment.insert(QStringLiteral("PATH"), system + QLatin1Char(';') + environment.value(QStringLiteral("PATH")));
    environment.insert(QStringLiteral("NoDefaultCurrentDirectoryInExePath"), QStringLiteral("1"));
    // By way of a variable, since a per cent sign in a command line cannot be escaped.
    environment.insert(QStringLiteral("FRESHEN_BATCH"), path);
    process.setProcessEnvironment(environment);
    process.setWorkingDirectory(system);

    // Extensions on, "!" as it stands, no AutoRun of the user's. The interpreter reads a batch file in the code page of
    // its console, which is the one of DOS, but the file is written in the process's own: without the change, an umlaut
    // in the path would become another character, and after the cleaning the copy would go to a wrong folder.
    process.setProgram(system + QLatin1String("\\cmd.exe"));
    process.setNativeArguments(
        QStringLiteral("/e:on /v:off /d /s /c \"\"%1\\chcp.com\" %2 >nul & \"%FRESHEN_BATCH%\"\"")
            .arg(system, QString::number(GetACP())));
    process.start(QIODevice::ReadWrite);
}

} // namespace freshen
