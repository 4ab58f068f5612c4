#include "install/installation.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QTextStream>

namespace freshen {

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

std::optional<QString> packageFolder(const QString &unpackedFolder)
{
    const QStringList entries = QDir(unpackedFolder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
    if (entries.isEmpty())
        return std::nullopt;
    return entries.last();
}

Executables Executables::in(const QString &folder)
{
    return {QDir::toNativeSeparators(folder + QLatin1String("/Tavlopro.exe")),
            QDir::toNativeSeparators(folder + QLatin1String("/Tavlopc.exe"))};
}

std::optional<QString> Executables::existing() const
{
    for (const QString &executable : {current, old}) {
        if (QFile::exists(executable))
            return executable;
    }
    return std::nullopt;
}

} // namespace freshen
