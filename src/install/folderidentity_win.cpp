#include "install/folderidentity.h"

#include <QDir>
#include <QScopeGuard>

#include <windows.h>

namespace freshen {

namespace {

/// \a path in the form that knows no limit of 259 characters.
QString longPath(const QString &path)
{
    const QString native = QDir::toNativeSeparators(QDir::cleanPath(QDir(path).absolutePath()));
    if (native.startsWith(QLatin1String(R"(\\)")))
        return QLatin1String(R"(\\?\UNC\)") + native.mid(2);
    return QLatin1String(R"(\\?\)") + native;
}

} // namespace

QByteArray folderIdentity(const QString &path)
{
    // Qt's canonical path follows no junctions, which need no rights to be made.
    const QString name = longPath(path);
    const HANDLE folder = CreateFileW(reinterpret_cast<const wchar_t *>(name.utf16()), 0,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                      FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (folder == INVALID_HANDLE_VALUE)
        return QDir(path).canonicalPath().toUtf8();
    const auto close = qScopeGuard([folder] { CloseHandle(folder); });
    BY_HANDLE_FILE_INFORMATION information = {};
    // Some network file systems number no files.
    if (!GetFileInformationByHandle(folder, &information) ||
        (information.nFileIndexHigh == 0 && information.nFileIndexLow == 0))
        return QDir(path).canonicalPath().toUtf8();
    QByteArrayList numbers;
    for (const DWORD number : {information.dwVolumeSerialNumber, information.nFileIndexHigh, information.nFileIndexLow})
        numbers.append(QByteArray::number(static_cast<quint32>(number)));
    return numbers.join(':');
}

} // namespace freshen
