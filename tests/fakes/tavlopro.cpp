// The demo application that the updater replaces: it shows which version of it is installed, and notes its start.

#include <QApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QPixmap>
#include <QVBoxLayout>

namespace {

/// A file beside the program. Each package brings version.txt, whose first line is the version.
QString besideProgram(const QString &name)
{
    return QDir(QCoreApplication::applicationDirPath()).filePath(name);
}

QString installedVersion()
{
    QFile file(besideProgram(QStringLiteral("version.txt")));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readLine()).trimmed() : QStringLiteral("unknown");
}

/// Appends version, time and program to the file that the environment names. It lies outside the installation, which
/// stays as the updater left it.
void noteStart(const QString &version)
{
    QFile file(qEnvironmentVariable("TAVLOPRO_START_LOG"));
    if (file.fileName().isEmpty() || !file.open(QIODevice::Append | QIODevice::Text))
        return;
    const QString time = QDateTime::currentDateTime().toString(Qt::ISODate);
    const QStringList columns = {version, time, QCoreApplication::applicationFilePath()};
    file.write(columns.join(QLatin1Char('\t')).toUtf8() + '\n');
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    const QString version = installedVersion();
    noteStart(version);

    QWidget window;
    window.setWindowTitle(QStringLiteral("Tavlopro %1").arg(version));
    auto *layout = new QVBoxLayout(&window);
    // Wide enough for the title bar to show the version.
    layout->setContentsMargins(96, 24, 96, 24);
    auto *picture = new QLabel;
    picture->setPixmap(QPixmap(besideProgram(QStringLiteral("logo.png"))));
    layout->addWidget(picture, 0, Qt::AlignHCenter);
    auto *text = new QLabel(QStringLiteral("<h1>Tavlopro</h1><p>Version %1</p>").arg(version));
    layout->addWidget(text, 0, Qt::AlignHCenter);
    window.show();
    return QApplication::exec();
}
