#include "install/shellstart.h"

#include <QProcess>

bool startShell(const QString &shell, const QString &executable)
{
    return QProcess::startDetached(shell, {executable});
}
