#include "install/shellstart.h"

#include <QProcess>

namespace freshen {

bool startShell(const QString &shell, const QString &executable)
{
    // Explorer splits what is not quoted at commas and equals signs; by itself, QProcess quotes only around blanks.
    QProcess process;
    process.setProgram(shell);
    process.setNativeArguments(QLatin1Char('"') + executable + QLatin1Char('"'));
    return process.startDetached();
}

} // namespace freshen
