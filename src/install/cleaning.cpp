#include "install/cleaning.h"

#include <QDebug>
#include <QDir>

namespace {

/// To be called right after the removal of \a path failed, since the system's reason is the latest one.
void warnAboutRemains(const QString &path)
{
    const QString reason = qt_error_string();
    qWarning() << "Cannot remove" << path << "-" << reason;
}

void removeFiles(QDir &folder, const QStringList &filesToKeep)
{
    for (const QFileInfo &file : folder.entryInfoList(QDir::Files | QDir::NoDotAndDotDot)) {
        qDebug() << file.fileName();
        if (filesToKeep.contains(file.fileName()))
            qDebug() << "skipping ...";
        else if (!folder.remove(file.fileName()))
            warnAboutRemains(file.absoluteFilePath());
    }
}

/// \a entered are the folders that the cleaning is in the middle of: a link that leads back to one of them is not
/// followed again, since that would go on for ever.
void clean(const QString &path, bool removeSelf, const QStringList &filesToKeep, const QStringList &entered)
{
    qDebug() << "deleteTempDir" << path << removeSelf;
    QDir folder(path);
    const QString self = folder.canonicalPath();
    if (entered.contains(self)) {
        qWarning() << "Leads back to" << self;
    } else {
        removeFiles(folder, filesToKeep);
        for (const QFileInfo &subfolder : folder.entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot)) {
            qDebug() << subfolder.absoluteFilePath();
            // The files to keep are those of the top folder alone.
            clean(subfolder.absoluteFilePath(), true, {}, entered + QStringList{self});
        }
    }

    if (removeSelf) {
        qDebug() << folder.path();
        if (!QDir().rmdir(folder.path()))
            warnAboutRemains(folder.path());
    }
}

} // namespace

void cleanFolder(const QString &path, bool removeSelf, const QStringList &filesToKeep)
{
    if (path.isEmpty()) {
        // To the system an empty path is the current folder, which nobody meant.
        qWarning() << "No folder to clean";
        return;
    }
    clean(path, removeSelf, filesToKeep, {});
}
