#include "install/batchprocess.h"

#include <QProcess>

void startBatch(QProcess &process, const QString &command)
{
    QStringList arguments = QProcess::splitCommand(command);
    const QString program = arguments.takeFirst();
    process.start(program, arguments, QIODevice::ReadWrite);
}
