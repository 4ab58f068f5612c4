#include "kit/qt/installtest.h"

#include "kit/qt/files.h"
#include "kit/qt/messagecatcher.h"

#include <QDir>
#include <QPushButton>
#include <QStackedWidget>
#include <QTest>

using namespace freshen;

void InstallTest::prepare()
{
    setArguments({QStringLiteral("other")});
    tools = std::make_unique<SystemTools>();
    m_folder = std::make_unique<QTemporaryDir>();
    install({{QStringLiteral("Tavlopc.exe"), "old"}});
}

void InstallTest::tidyUp()
{
    tools.reset();
    QFile::remove(batchFile());
    QDir().rmdir(batchFile());
}

void InstallTest::install(const QMap<QString, QByteArray> &files)
{
    QDir(destination()).removeRecursively();
    QDir().mkpath(destination());
    for (auto it = files.constBegin(); it != files.constEnd(); ++it)
        writeFile(destination() + QLatin1Char('/') + it.key(), it.value());
}

void InstallTest::unpack(TestWindow &window, const QMap<QString, QByteArray> &files)
{
    for (auto it = files.constBegin(); it != files.constEnd(); ++it)
        writeFile(window.pathOf(QStringLiteral("out/") + it.key()), it.value());
    writeFile(window.pathOf(QStringLiteral("settings.ini")), destination().toUtf8());
    window.precheckTrigger.stop();
    window.stackedWidget().setCurrentIndex(1);
    connect(&window.multiButton(), SIGNAL(clicked()), &window, SLOT(installUpdate()));
    window.show();
    takeLog();
}

QMap<QString, QByteArray> InstallTest::installed() const
{
    return treeOf(destination());
}

QString InstallTest::destination() const
{
    return m_folder->filePath(QStringLiteral("old installation"));
}

QString InstallTest::nativeDestination() const
{
    return QDir::toNativeSeparators(destination());
}

QString InstallTest::testpaths(const QString &folder)
{
    return QStringLiteral("Testpath: ") + logged(QDir::toNativeSeparators(folder + QLatin1String("/Tavlopc.exe"))) +
           QLatin1Char(' ') + logged(QDir::toNativeSeparators(folder + QLatin1String("/Tavlopro.exe")));
}

QString InstallTest::batchFile()
{
    return QDir::toNativeSeparators(QCoreApplication::applicationDirPath() + QLatin1String("/copyBatch.bat"));
}
