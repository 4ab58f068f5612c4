#pragma once

#include <QByteArray>
#include <QFile>
#include <QFileInfo>
#include <QOperatingSystemVersion>
#include <QScopeGuard>
#include <QString>
#include <QTextCodec>

#include <functional>
#include <memory>

/// What differs between the systems that the tests run on.

[[nodiscard]] inline bool isWindows()
{
    return QOperatingSystemVersion::currentType() == QOperatingSystemVersion::Windows;
}

/// The line end of a text, in a file and on a standard stream.
[[nodiscard]] inline QByteArray lineEnd()
{
    return isWindows() ? "\r\n" : "\n";
}

/// What this process was called with, as it came, in lines: on Windows the text of the whole command, elsewhere each
/// argument after the program.
[[nodiscard]] QString callOfThisProcess();

/// Undoes a change at the end of its life.
using Restorer = QScopeGuard<std::function<void()>>;

/// Lets Qt take the 8-bit code page of this process for windows-1252, so that a text in it differs from one in UTF-8.
[[nodiscard]] inline Restorer useWesternCodePage()
{
    QTextCodec *before = QTextCodec::codecForLocale();
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("windows-1252"));
    return Restorer([before] { QTextCodec::setCodecForLocale(before); });
}

/// Gives this process the rights of an ordinary user, if it has root's. What was made before may be out of its reach.
[[nodiscard]] Restorer becomeOrdinaryUser();

/// Keeps an ordinary user from removing the file \a path: on Windows since it is open, elsewhere since its folder is
/// read-only.
[[nodiscard]] inline Restorer hold(const QString &path)
{
    const auto file = std::make_shared<QFile>(path);
    const QString folder = QFileInfo(path).path();
    if (!file->open(QIODevice::ReadOnly) || !QFile::setPermissions(folder, QFile::ReadOwner | QFile::ExeOwner))
        qFatal("Cannot hold %s", qUtf8Printable(path));
    return Restorer([file, folder] {
        file->close();
        QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    });
}
