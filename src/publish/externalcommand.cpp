#include "publish/externalcommand.h"

#include <QProcess>

#include <cstdio>

namespace freshen::publish {

QString runExternalCommand(const QString &command, const QString &folder)
{
    QStringList words = QProcess::splitCommand(command);
    if (words.isEmpty())
        return QStringLiteral("The command is empty.");
    QProcess process;
    process.setWorkingDirectory(folder);
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.setInputChannelMode(QProcess::ForwardedInputChannel);
    QObject::connect(&process, &QProcess::readyReadStandardOutput, [&process] {
        const QByteArray output = process.readAllStandardOutput();
        static_cast<void>(std::fwrite(output.constData(), 1, static_cast<size_t>(output.size()), stderr));
    });
    process.start(words.takeFirst(), words);
    constexpr int noLimit = -1;
    if (!process.waitForFinished(noLimit))
        return QStringLiteral("%1: %2").arg(command, process.errorString());
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
        return QStringLiteral("\"%1\" ended with %2.").arg(command, QString::number(process.exitCode()));
    return {};
}

} // namespace freshen::publish
