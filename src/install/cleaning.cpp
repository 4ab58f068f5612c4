#include "install/cleaning.h"

#include <QDebug>
#include <QDir>

void cleanFolder(const QString &path, bool removeSelf, const QStringList &filesToKeep)
{
    qDebug() << "deleteTempDir" << path << removeSelf;
    QDir folder(path);

    for (const QFileInfo &file : folder.entryInfoList(QDir::Files | QDir::NoDotAndDotDot)) {
        qDebug() << file.fileName();
        if (filesToKeep.contains(file.fileName()))
            qDebug() << "skipping ...";
        else if (!folder.remove(file.fileName()))
            qWarning() << "Cannot remove" << file.absoluteFilePath();
    }

    for (const QFileInfo &subfolder : folder.entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        qDebug() << subfolder.absoluteFilePath();
        // The files to keep are those of the top folder alone.
        cleanFolder(subfolder.absoluteFilePath(), true, {});
    }

    if (removeSelf) {
        qDebug() << folder.path();
        if (!QDir().rmdir(folder.path()))
            qWarning() << "Cannot remove" << folder.path();
    }
}
