#include "install/copybatch.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QMetaEnum>
#include <QRegularExpression>
#include <QTextStream>

namespace freshen {

namespace {

int milliseconds(std::chrono::milliseconds time)
{
    return static_cast<int>(time.count());
}

template <typename Enumeration>
const char *enumeratorName(Enumeration value)
{
    return QMetaEnum::fromType<Enumeration>().valueToKey(value);
}

/// \a path as it stands between quotation marks.
QString quotable(QString path, BatchShell shell)
{
    // A single per cent sign would be dropped together with what follows it up to the next one, and the copy would go
    // to a wrong folder after the old version has been cleaned.
    if (shell == BatchShell::CommandInterpreter)
        return path.replace(QLatin1Char('%'), QLatin1String("%%"));
    static const QRegularExpression special(QStringLiteral("([$`\"\\\\])"));
    // A backslash, and behind it "\1": the character that was found.
    return path.replace(special, QStringLiteral("\\\\1"));
}

} // namespace

CopyBatch CopyBatch::in(const QString &folder)
{
    return {QDir::toNativeSeparators(QStringLiteral("%1/copyBatch.bat").arg(folder)),
            QDir::toNativeSeparators(QStringLiteral("\"%1/copyBatch.bat\"").arg(folder))};
}

QString copyCommand(const QString &source, const QString &destination, BatchShell shell)
{
    return QStringLiteral("xcopy.exe /E /Y /G /K \"%1\" \"%2\"")
        .arg(quotable(source, shell), quotable(destination, shell));
}

bool writeBatchFile(const QString &path, const QString &line)
{
    QFile file(path);
    bool isWritten = file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text);
    if (isWritten) {
        // The stream's default codec is the system's 8-bit code page.
        QTextStream stream(&file);
        stream << line << "\n";
        stream.flush();
        isWritten = stream.status() == QTextStream::Ok && file.flush();
    }
    if (!isWritten)
        qWarning() << "Cannot write" << path << "-" << file.errorString();
    return isWritten;
}

CopyResult runCopyBatch(const CopyBatch &batch, const CopyLimits &limits)
{
    QProcess process;
    startBatch(process, batch.path);
    const bool isStarted = process.waitForStarted(milliseconds(limits.start));
    qDebug() << isStarted;
    qDebug() << batch.command;
    const bool isFinished = process.waitForFinished(milliseconds(limits.copy));
    qDebug() << isFinished;

    const QProcess::ExitStatus exitStatus = process.exitStatus();
    CopyResult result;
    result.exitCode = process.exitCode();
    result.succeeded = isFinished && exitStatus == QProcess::NormalExit && result.exitCode == 0;
    result.errorText = QLatin1String(standardErrorHeading) + QString::fromLocal8Bit(process.readAllStandardError());
    qDebug() << result.errorText;
    qDebug() << "STD OUT:\n" << QString::fromLocal8Bit(process.readAllStandardOutput());

    process.close();
    qDebug() << errorName(process.error()) << process.errorString() << process.exitCode()
             << enumeratorName(process.exitStatus());
    return result;
}

const char *errorName(QProcess::ProcessError error)
{
    return enumeratorName(error);
}

} // namespace freshen
