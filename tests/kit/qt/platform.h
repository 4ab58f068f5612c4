#pragma once

#include <QByteArray>
#include <QFile>
#include <QFileInfo>
#include <QOperatingSystemVersion>
#include <QString>
#include <QTextCodec>

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

/// As long as it lives, Qt takes the 8-bit code page of this process for windows-1252, so that a text in it differs
/// from one in UTF-8.
class WesternCodePage
{
public:
    WesternCodePage()
    {
        QTextCodec::setCodecForLocale(QTextCodec::codecForName("windows-1252"));
    }
    ~WesternCodePage()
    {
        QTextCodec::setCodecForLocale(m_before);
    }
    Q_DISABLE_COPY(WesternCodePage)

private:
    QTextCodec *m_before = QTextCodec::codecForLocale();
};

/// As long as it lives, this process has the rights of an ordinary user, if it was root's. What was made before may be
/// out of its reach.
class OrdinaryUser
{
public:
    OrdinaryUser();
    ~OrdinaryUser();
    Q_DISABLE_COPY(OrdinaryUser)

private:
    [[maybe_unused]] bool m_wasRoot = false;
};

/// As long as it lives, an ordinary user cannot remove the file \a path: on Windows since it is open, elsewhere since
/// its folder is read-only.
class Unremovable
{
public:
    explicit Unremovable(const QString &path) : m_file(path), m_folder(QFileInfo(path).path())
    {
        if (!m_file.open(QIODevice::ReadOnly) || !QFile::setPermissions(m_folder, QFile::ReadOwner | QFile::ExeOwner))
            qFatal("Cannot hold %s", qUtf8Printable(path));
    }
    ~Unremovable()
    {
        QFile::setPermissions(m_folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
    Q_DISABLE_COPY(Unremovable)

private:
    QFile m_file;
    QString m_folder;
};
