#include "app/selfrelocation.h"

#include "install/installation.h"
#include "install/removal.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QTextStream>

namespace freshen {

namespace {

/// The Qt plug-ins that the updater needs beside itself.
constexpr const char *plugins[] = {
    "/platforms/qwindows.dll",
    "/imageformats/qico.dll",
    "/styles/qwindowsvistastyle.dll",
};

/// Folders of those plug-ins.
constexpr const char *pluginFolders[] = {"platforms", "imageformats", "styles"};

void copyPlugins(const RelocationPaths &paths)
{
    for (const char *plugin : plugins) {
        const QString source = paths.source + QLatin1String(plugin);
        const QString target = paths.temporary + QLatin1String(plugin);
        const bool isCopied = QFile::copy(source, target);
        qDebug() << source << target << isCopied;
    }
}

void copyLibraries(const RelocationPaths &paths)
{
    const QDir source(paths.source);
    const QFileInfoList libraries =
        source.entryInfoList({QStringLiteral("*.dll")}, QDir::Files | QDir::NoDotAndDotDot, QDir::Unsorted);
    for (const QFileInfo &library : libraries) {
        if (!library.isFile())
            qDebug() << "Unhandled item" << library.filePath();
        else if (!QFile::copy(library.filePath(), paths.temporary + QLatin1Char('/') + library.fileName()))
            qWarning() << "Copy failed" << library.filePath();
    }
}

/// Removes \a entry: a folder with all that it holds, but of a link to a folder only the link.
bool removeEntry(const QFileInfo &entry)
{
    const QString path = entry.filePath();
    const bool isLink = entry.isSymLink() || entry.isJunction();
    const bool isFolder = entry.isDir() && !isLink;
    if (isFolder) {
        const QDir::Filters everything = QDir::Dirs | QDir::Files | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot;
        const QFileInfoList entries = QDir(path).entryInfoList(everything, QDir::Unsorted);
        for (const QFileInfo &inner : entries) {
            if (!removeEntry(inner))
                return false;
        }
    }
    if (isFolder)
        return removeEmptyFolder(path);
    // Some links to folders count as folders, others as files.
    return (isLink && QDir().rmdir(path)) || removeFile(path);
}

} // namespace

RelocationPaths relocationPaths(const QString &applicationFolder, const QString &localDataFolder)
{
    RelocationPaths paths;
    paths.temporary = QDir::toNativeSeparators(localDataFolder + QLatin1String("/freshen"));
    paths.source = QDir::toNativeSeparators(applicationFolder);
    const QString beside = QDir(paths.temporary + QLatin1String("/..")).absolutePath();
    paths.handOver = QDir::toNativeSeparators(handOverFile(beside));
    return paths;
}

bool writeHandOver(const RelocationPaths &paths)
{
    QFile file(paths.handOver);
    // What cannot be removed would be written on to, and name two folders in one line; the log tells.
    if (file.exists())
        static_cast<void>(removeFile(paths.handOver));
    bool isWritten = file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Text);
    if (isWritten) {
        QTextStream stream(&file);
        stream.setCodec("UTF-8");
        stream << QDir(paths.source).absolutePath();
        stream.flush();
        isWritten = stream.status() == QTextStream::Ok && file.flush();
    }
    if (!isWritten)
        qWarning() << "Cannot write" << paths.handOver << "-" << file.errorString();
    return isWritten;
}

bool removeFolder(const QString &path)
{
    const QFileInfo folder(QDir(path).absolutePath());
    return !folder.isDir() || removeEntry(folder);
}

void copyUpdater(const RelocationPaths &paths)
{
    const QDir temporary(paths.temporary);
    for (const char *folder : pluginFolders) {
        const QString path = temporary.filePath(QLatin1String(folder));
        const bool isMade = temporary.mkdir(QLatin1String(folder));
        // That was one call of the system's, so the latest reason is its own.
        const QString reason = qt_error_string();
        if (!isMade && !QDir(path).exists())
            qWarning() << "Cannot create" << path << "-" << reason;
    }

    const QString name = QLatin1Char('/') + QLatin1String(updaterFileName);
    QFile executable(paths.source + name);
    if (!executable.copy(paths.temporary + name))
        qWarning() << "Cannot copy" << executable.fileName() << "to" << paths.temporary + name << "-"
                   << executable.errorString();
    copyPlugins(paths);
    copyLibraries(paths);
}

void logStartFailure(StartResult result, const RelocationPaths &paths)
{
    switch (result.code) {
    case StartResult::accessDenied:
        qDebug() << "ERROR_ACCESS_DENIED" << updaterFileName;
        break;
    case StartResult::fileNotFound:
        qDebug() << "ERROR_FILE_NOT_FOUND" << updaterFileName;
        break;
    case StartResult::pathNotFound:
        qDebug() << "ERROR_PATH_NOT_FOUND" << paths.temporary;
        break;
    default:
        break;
    }
}

} // namespace freshen
