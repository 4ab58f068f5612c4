#include "kit/qt/files.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>

#ifdef Q_OS_WIN
#include <windows.h>
#endif

void writeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    const bool isWritten = QDir().mkpath(QFileInfo(path).path()) && file.open(QIODevice::WriteOnly) &&
                           file.write(content) == content.size() && file.flush();
    if (!isWritten)
        qFatal("Cannot write %s: %s", qUtf8Printable(path), qUtf8Printable(file.errorString()));
#ifdef Q_OS_WIN
    if (QFileInfo(path).fileName().startsWith('.'))
        SetFileAttributesW(reinterpret_cast<const wchar_t *>(path.utf16()), FILE_ATTRIBUTE_HIDDEN);
#endif
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray();
    const QByteArray content = file.readAll();
    return content.isNull() ? QByteArray("") : content;
}

QMap<QString, QByteArray> treeOf(const QString &folder)
{
    QMap<QString, QByteArray> tree;
    const QDir root(folder);
    QDirIterator entries(folder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                         QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        const QString name = root.relativeFilePath(entries.next());
        const QFileInfo entry = entries.fileInfo();
        if (entry.isDir() && entry.isSymLink())
            tree.insert(name, "-> " + entry.symLinkTarget().toUtf8());
        else if (entry.isDir())
            tree.insert(name + '/', QByteArray());
        else
            tree.insert(name, readFile(entry.filePath()));
    }
    return tree;
}
