#include "install/installation.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QTextStream>

QString handOverFile(const QString &parentDir)
{
    return parentDir + QLatin1String("/settings.ini");
}

QString readHandOver(const QString &parentDir)
{
    QFile file(handOverFile(parentDir));
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        qWarning() << "Cannot read" << file.fileName() << "-" << file.errorString();
        return QString();
    }
    QTextStream stream(&file);
    stream.setCodec("UTF-8");
    return stream.readLine();
}

QString packageFolder(const QString &unpackedFolder)
{
    const QStringList entries = QDir(unpackedFolder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
    return entries.isEmpty() ? QString() : entries.last();
}

Executables Executables::in(const QString &folder)
{
    return {QDir::toNativeSeparators(folder + QLatin1String("/Tavlopro.exe")),
            QDir::toNativeSeparators(folder + QLatin1String("/Tavlopc.exe"))};
}

QString Executables::existing() const
{
    if (QFile::exists(current))
        return current;
    return QFile::exists(old) ? old : QString();
}
