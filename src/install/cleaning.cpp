#include "install/cleaning.h"

#include "install/folderidentity.h"
#include "install/removal.h"

#include <QDebug>
#include <QDir>
#include <QSet>

namespace freshen {

namespace {

/// What the cleaning sees of a folder, each list sorted by name.
struct FolderContents
{
    QFileInfoList files;
    QFileInfoList folders;
};

FolderContents contentsOf(const QDir &folder)
{
    FolderContents contents;
    // Shortcuts whose target is gone are found among the system's files only.
    for (const QFileInfo &entry :
         folder.entryInfoList(QDir::Files | QDir::Dirs | QDir::System | QDir::NoDotAndDotDot)) {
        // Qt takes a shortcut for what it leads to, but on the disk it is a file.
        if (entry.isShortcut() || entry.isFile())
            contents.files.append(entry);
        else if (entry.isDir())
            contents.folders.append(entry);
    }
    return contents;
}

/// The folders that one pass has been in. A link that leads back to one of them is not followed again: from within that
/// would go on for ever, and where folders are linked with each other in many ways nearly so.
class VisitedFolders
{
public:
    /// Returns whether this is the first visit to the folder \a path.
    bool enter(const QString &path)
    {
        const QByteArray identity = folderIdentity(path);
        // What a link leads to may be gone.
        if (identity.isEmpty())
            return true;
        const bool isNew = !m_identities.contains(identity);
        m_identities.insert(identity);
        return isNew;
    }

private:
    QSet<QByteArray> m_identities;
};

void removeFiles(const QFileInfoList &files, const QStringList &filesToKeep)
{
    for (const QFileInfo &file : files) {
        qDebug() << file.fileName();
        if (filesToKeep.contains(file.fileName()))
            qDebug() << "skipping ...";
        else
            // What is left over stays, and the log tells: the copy may still replace it.
            static_cast<void>(removeFile(file.absoluteFilePath()));
    }
}

void clean(const QString &path, bool removeSelf, const QStringList &filesToKeep, VisitedFolders &visited)
{
    qDebug() << "deleteTempDir" << path << removeSelf;
    const QDir folder(path);
    if (visited.enter(path)) {
        const FolderContents contents = contentsOf(folder);
        removeFiles(contents.files, filesToKeep);
        for (const QFileInfo &subfolder : contents.folders) {
            qDebug() << subfolder.absoluteFilePath();
            // The files to keep are those of the top folder alone.
            clean(subfolder.absoluteFilePath(), true, {}, visited);
        }
    } else {
        qWarning() << "Leads back to" << folder.canonicalPath();
    }

    if (removeSelf) {
        qDebug() << folder.path();
        // It stays where anything in it does.
        static_cast<void>(removeEmptyFolder(folder.path()));
    }
}

qint64 measure(const QString &path, const QStringList &filesToKeep, qint64 blockSize, VisitedFolders &visited)
{
    qint64 bytes = 0;
    if (!visited.enter(path))
        return bytes;
    const FolderContents contents = contentsOf(QDir(path));
    for (const QFileInfo &file : contents.files) {
        // Of a link only the link itself would be removed.
        if (!file.isSymLink() && !filesToKeep.contains(file.fileName()))
            bytes += inBlocks(file.size(), blockSize);
    }
    for (const QFileInfo &subfolder : contents.folders)
        bytes += measure(subfolder.absoluteFilePath(), {}, blockSize, visited);
    return bytes;
}

} // namespace

void cleanFolder(const QString &path, bool removeSelf, const QStringList &filesToKeep)
{
    if (path.isEmpty()) {
        // To the system an empty path is the current folder, which nobody meant.
        qWarning() << "No folder to clean";
        return;
    }
    VisitedFolders visited;
    clean(path, removeSelf, filesToKeep, visited);
}

qint64 cleanableBytes(const QString &path, const QStringList &filesToKeep, qint64 blockSize)
{
    VisitedFolders visited;
    return measure(path, filesToKeep, blockSize, visited);
}

qint64 inBlocks(qint64 size, qint64 blockSize)
{
    return (size + blockSize - 1) / blockSize * blockSize;
}

} // namespace freshen
