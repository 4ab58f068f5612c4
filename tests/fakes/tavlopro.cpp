// The demo application that the updater replaces: it shows which version of it is installed, and notes its start.

#include <QApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QPixmap>
#include <QTextStream>
#include <QVBoxLayout>

namespace {

QString besideProgram(const QString &name)
{
    return QDir(QCoreApplication::applicationDirPath()).filePath(name);
}

/// The first line of version.txt, which each package brings.
QString installedVersion()
{
    QFile file(besideProgram(QStringLiteral("version.txt")));
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return QStringLiteral("unknown");
    return QString::fromUtf8(file.readLine()).trimmed();
}

/// Appends version, time and program to the file that the environment names. It lies outside the installation, which
/// stays as the updater left it.
void noteStart(const QString &version)
{
    QFile file(qEnvironmentVariable("TAVLOPRO_START_LOG"));
    if (file.fileName().isEmpty() || !file.open(QIODevice::Append | QIODevice::Text))
        return;
    QTextStream stream(&file);
    stream.setCodec("UTF-8");
    stream << version << '\t' << QDateTime::currentDateTime().toString(Qt::ISODate) << '\t'
           << QCoreApplication::applicationFilePath() << '\n';
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
    const QPixmap logo(besideProgram(QStringLiteral("logo.png")));
    if (!logo.isNull()) {
        auto *picture = new QLabel;
        picture->setPixmap(logo);
        layout->addWidget(picture, 0, Qt::AlignHCenter);
    }
    auto *text = new QLabel(QStringLiteral("<h1>Tavlopro</h1><p>Version %1</p>").arg(version));
    layout->addWidget(text, 0, Qt::AlignHCenter);
    window.show();
    return QApplication::exec();
}
