#include "kit/qt/systemtools.h"

#include "install/systemfolder.h"
#include "kit/qt/files.h"
#include "kit/qt/platform.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTest>

using namespace freshen;

namespace {

/// The folder of the stand-ins, while there are any.
QString toolsFolder;

} // namespace

/// On Windows, the copying program is looked for in the system's folder only. Elsewhere the shell has to be there.
QString freshen::systemFolder()
{
    return isWindows() ? QDir::toNativeSeparators(toolsFolder) : QStringLiteral("/bin");
}

SystemTools::SystemTools() : m_path(qgetenv("PATH")), m_systemRoot(qgetenv("SYSTEMROOT"))
{
    place(pathOf(QStringLiteral("xcopy.exe")));
    place(shell());
    setCopyPlan("copy\nprint 1 File(s) copied\n");
    toolsFolder = m_folder.path();
    if (isWindows()) {
        for (const char *own : {"cmd.exe", "chcp.com"}) {
            const QString original = QFile::decodeName(m_systemRoot + "/system32/" + own);
            if (!QFile::copy(original, pathOf(QLatin1String(own))))
                qFatal("Cannot copy %s", qUtf8Printable(original));
        }
    }
    const QString folder = QDir::toNativeSeparators(m_folder.path());
    qputenv("FRESHEN_TEST_TOOLS", QFile::encodeName(folder));
    qputenv("PATH", QFile::encodeName(folder + QDir::listSeparator()) + m_path);
    qputenv("SYSTEMROOT", QFile::encodeName(pathOf(QStringLiteral("Windows"))));
}

SystemTools::~SystemTools()
{
    toolsFolder.clear();
    qunsetenv("FRESHEN_TEST_TOOLS");
    qputenv("PATH", m_path);
    if (m_systemRoot.isNull())
        qunsetenv("SYSTEMROOT");
    else
        qputenv("SYSTEMROOT", m_systemRoot);
    // A shell that nobody has waited for may be about to note its call there.
    static_cast<void>(QTest::qWaitFor([this] { return QDir(m_folder.path()).removeRecursively(); }));
}

void SystemTools::place(const QString &path)
{
    // It lies beside the folders of the test programs.
    const QString original = QCoreApplication::applicationDirPath() + QLatin1String("/../../" FRESHEN_SYSTEM_TOOL);
    if (!QDir().mkpath(QFileInfo(path).path()) || !QFile::copy(original, path))
        qFatal("Cannot make %s", qUtf8Printable(path));
}

void SystemTools::setCopyPlan(const QByteArray &plan)
{
    writeFile(pathOf(QStringLiteral("xcopy.exe.plan")), plan);
}

void SystemTools::removeShell()
{
    QFile::remove(shell());
}

bool SystemTools::isCalled(const QString &name) const
{
    return QFile::exists(pathOf(name + QLatin1String(".called")));
}

QStringList SystemTools::copyArguments() const
{
    return calledWith(QStringLiteral("xcopy.exe"));
}

QStringList SystemTools::shellArguments() const
{
    return calledWith(QStringLiteral("explorer.exe"));
}

QString SystemTools::shell() const
{
    return QDir::toNativeSeparators(pathOf(QStringLiteral("Windows/explorer.exe")));
}

QString SystemTools::pathOf(const QString &name) const
{
    return m_folder.filePath(name);
}

QStringList SystemTools::calledWith(const QString &name) const
{
    QStringList arguments =
        QString::fromLocal8Bit(readFile(pathOf(name + QLatin1String(".called")))).split(QLatin1Char('\n'));
    arguments.removeLast();
    return arguments;
}
