#include "kit/qt/installtest.h"

#include "install/systemfolder.h"
#include "kit/qt/platform.h"

#include <QDir>

using namespace freshen;

// These two win over the program's own.

QString freshen::systemFolder()
{
    // Natively the command interpreter has to be there.
    return isWindows() ? qEnvironmentVariable("FRESHEN_TEST_TOOLS") : QString("/bin");
}

std::optional<DiskSpace> DiskSpace::at(const QString &folder)
{
    Q_UNUSED(folder)
    return InstallTest::diskSpace;
}

void InstallTest::init()
{
    WindowTest::init();
    QFile::remove(batchFile());
    QDir().rmdir(batchFile());
    m_folder.emplace();
    install({{"Tavlopc.exe", "old"}});
    m_window.emplace();
    writeFile(m_window->pathOf("out/Tavlopro/Tavlopro.exe"), "new");
    writeFile(m_window->pathOf("settings.ini"), destination().toUtf8());
    m_window->precheckTrigger.stop();
    m_window->pages.setCurrentIndex(1);
    connect(&m_window->multiButton, SIGNAL(clicked()), &*m_window, SLOT(installUpdate()));
    m_window->show();
    takeLog();

    // It lies beside the folders of the test programs.
    const QString standIn = QCoreApplication::applicationDirPath() + "/../../" FRESHEN_SYSTEM_TOOL;
    QDir().mkpath(toolFile("Windows"));
    QFile::copy(standIn, toolFile("xcopy.exe"));
    QFile::copy(standIn, toolFile("Windows/explorer.exe"));
    if (isWindows()) {
        for (const char *own : {"cmd.exe", "chcp.com"})
            QFile::copy(m_systemRoot + "/system32/" + own, toolFile(own));
    }
    const QByteArray folder = QFile::encodeName(QDir::toNativeSeparators(m_folder->filePath("tools")));
    qputenv("FRESHEN_TEST_TOOLS", folder);
    qputenv("PATH", folder + (isWindows() ? ';' : ':') + m_path);
    qputenv("SYSTEMROOT", folder + "/Windows");
    qputenv("FRESHEN_TEST_COPY", "copy");
}

void InstallTest::cleanup()
{
    m_window.reset();
    // A shell that nobody has waited for may be about to note its call there.
    static_cast<void>(QTest::qWaitFor([this] { return QDir(m_folder->path()).removeRecursively(); }));
    diskSpace.reset();
    WindowTest::cleanup();
}

void InstallTest::install(const Files &files)
{
    QDir(destination()).removeRecursively();
    QDir().mkpath(destination());
    for (auto it = files.constBegin(); it != files.constEnd(); ++it)
        writeFile(destination() + '/' + it.key(), it.value());
}

bool InstallTest::installs()
{
    return quitsAfter([this] { click(m_window->multiButton); }) &&
           QTest::qWaitFor([this] { return !callOf("explorer.exe").isEmpty(); }, 30000);
}

QStringList InstallTest::callOf(const QString &name) const
{
    const QByteArray lines = readFile(toolFile(name + ".called"));
    return QString::fromLocal8Bit(lines).split('\n').mid(0, lines.count('\n'));
}
