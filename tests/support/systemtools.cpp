#include "support/systemtools.h"

#include "support/files.h"

#include <QFile>
#include <QOperatingSystemVersion>

namespace {

/// Notes the arguments of a call, one a line, in the file "<program>.called", which appears complete.
const QByteArray noteArguments = "#!/bin/sh\n"
                                 "printf '%s\\n' \"$@\" > \"$0.noting\"\n"
                                 "mv \"$0.noting\" \"$0.called\"\n";

const QByteArray copyAll = "cp -R \"$5/.\" \"$6\" && echo '1 File(s) copied'\n";

void writeScript(const QString &path, const QByteArray &script)
{
    writeFile(path, noteArguments + script);
    QFile::setPermissions(path, QFile::permissions(path) | QFile::ExeOwner);
}

QStringList calledWith(const QString &program)
{
    QStringList arguments = QString::fromUtf8(readFile(program + QLatin1String(".called"))).split(QLatin1Char('\n'));
    arguments.removeLast();
    return arguments;
}

} // namespace

SystemTools::SystemTools() : m_path(qgetenv("PATH"))
{
    setCopyScript(copyAll);
    writeScript(shell(), QByteArray());
    qputenv("PATH", QFile::encodeName(m_folder.path()) + ':' + m_path);
    qputenv("SYSTEMROOT", QFile::encodeName(m_folder.filePath(QStringLiteral("Windows"))));
}

SystemTools::~SystemTools()
{
    qputenv("PATH", m_path);
    qunsetenv("SYSTEMROOT");
}

bool SystemTools::isAvailable()
{
    return QOperatingSystemVersion::currentType() != QOperatingSystemVersion::Windows;
}

void SystemTools::setCopyScript(const QByteArray &script)
{
    writeScript(m_folder.filePath(QStringLiteral("xcopy.exe")), script);
}

void SystemTools::removeShell()
{
    QFile::remove(shell());
}

QStringList SystemTools::copyArguments() const
{
    return calledWith(m_folder.filePath(QStringLiteral("xcopy.exe")));
}

QStringList SystemTools::shellArguments() const
{
    return calledWith(shell());
}

QString SystemTools::shell() const
{
    return m_folder.filePath(QStringLiteral("Windows/explorer.exe"));
}
