#include "install/shellstart.h"

#include <QProcess>

namespace freshen {

bool startShell(const QString &shell, const QString &executable)
{
    return QProcess::startDetached(shell, {executable});
}

} // namespace freshen
