#include "install/cleaning.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QSet>

namespace {

/// To be called right after the removal of \a path failed, since the system's reason is the latest one.
void warnAboutRemains(const QString &path)
{
    const QString reason = qt_error_string();
    qWarning() << "Cannot remove" << path << "-" << reason;
}

void removeFiles(const QDir &folder, const QStringList &filesToKeep)
{
    for (const QFileInfo &file : folder.entryInfoList(QDir::Files | QDir::NoDotAndDotDot)) {
        qDebug() << file.fileName();
        if (filesToKeep.contains(file.fileName()))
            qDebug() << "skipping ...";
        else if (!QFile::remove(file.absoluteFilePath()))
            warnAboutRemains(file.absoluteFilePath());
    }
}

/// \a entered are the folders that the cleaning has been in. A link that leads back to one of them is not followed
/// again: from within that would go on for ever, and where folders are linked with each other in many ways nearly so.
void clean(const QString &path, bool removeSelf, const QStringList &filesToKeep, QSet<QString> &entered)
{
    qDebug() << "deleteTempDir" << path << removeSelf;
    const QDir folder(path);
    const QString self = folder.canonicalPath();
    if (entered.contains(self)) {
        qWarning() << "Leads back to" << self;
    } else {
        entered.insert(self);
        removeFiles(folder, filesToKeep);
        for (const QFileInfo &subfolder : folder.entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot)) {
            qDebug() << subfolder.absoluteFilePath();
            // The files to keep are those of the top folder alone.
            clean(subfolder.absoluteFilePath(), true, {}, entered);
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
    QSet<QString> entered;
    clean(path, removeSelf, filesToKeep, entered);
}
