#include "install/relaunch.h"

#include "install/shellstart.h"

#include <QDir>

namespace freshen {

namespace {

QString quoted(const QString &path)
{
    return QLatin1Char('"') + path + QLatin1Char('"');
}

} // namespace

std::optional<QString> shellProgram(const QStringList &environment)
{
    const QStringList entries = environment.filter(QStringLiteral("SYSTEMROOT"), Qt::CaseInsensitive);
    if (entries.size() != 1)
        return std::nullopt;
    const QString systemRoot = entries.first().split(QLatin1Char('=')).last();
    return QDir::toNativeSeparators(systemRoot + QLatin1String("/explorer.exe"));
}

QString relaunchCommand(const QString &shell, const QString &executable)
{
    return QStringLiteral("%1 %2").arg(quoted(shell), quoted(executable));
}

bool startThroughShell(const QString &shell, const QString &executable)
{
    // Program and argument are passed on apart. Splitting the command text would drop an empty pair of quotes, and
    // without a shell the executable itself would be started, with the updater's rights.
    return !shell.isEmpty() && startShell(shell, executable);
}

} // namespace freshen
