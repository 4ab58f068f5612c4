#include "app/debuglog.h"
#include "app/processsetup.h"
#include "ui/mainwindow.h"
#include "versions/applicationsettings.h"

#include <QApplication>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QLocale>
#include <QSettings>
#include <QStandardPaths>
#include <QTranslator>

using namespace freshen;

namespace {

constexpr int languageCodeLength = 2;

/// Creates the folder of the debug log if need be and returns the path of the log. A folder that cannot be created is
/// logged; the updater works without a log then.
QString prepareLogFolder()
{
    const QString folder =
        QDir::toNativeSeparators(QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation));
    if (!QFile::exists(folder)) {
        qDebug() << "Creating path:" << folder;
        if (!QDir::root().mkpath(folder))
            qDebug() << "ERROR: Could not create path" << folder;
    }
    QString path = folder + QLatin1String("/debug_update.log");
    qDebug() << "Debug-logging to:" << path;
    return path;
}

/// The catalogues of one run.
struct Translators
{
    /// The updater's own texts.
    QTranslator texts;
    /// The standard buttons of boxes. Qt's other texts stay English: support knows the errors by these words.
    QTranslator buttons;
};

/// Loads the catalogues of the system's language, German where there is none.
void loadTranslations(Translators &translators)
{
    const QString catalogue = QStringLiteral(":i18n_%1");
    QString language = QLocale::system().name().left(languageCodeLength);
    qDebug() << "language code is" << language;
    if (!translators.texts.load(catalogue.arg(language))) {
        qDebug() << "ERROR: cannot load translation resource for" << language;
        language = QStringLiteral("de");
        translators.texts.load(catalogue.arg(language));
    }
    QCoreApplication::installTranslator(&translators.texts);
    // Without one, as for English, the buttons keep Qt's own texts.
    if (translators.buttons.load(QStringLiteral(":buttons_%1").arg(language)))
        QCoreApplication::installTranslator(&translators.buttons);
}

void logEnvironment(const QString &logPath)
{
    qDebug() << "applicationDirPath: " << QCoreApplication::applicationDirPath();
    qDebug() << "libraryPaths:       " << QCoreApplication::libraryPaths();
    qDebug() << "debugPath:          " << logPath;
    qDebug() << "arguments:          " << QCoreApplication::arguments();
}

} // namespace

int main(int argc, char *argv[])
{
    ignoreForeignPlugins();
    ignoreForeignLibraries();
    adoptCodePage();
    // 150 % is shown as 150 %, not as 200 %, unless the environment asks for another rounding.
    QGuiApplication::setHighDpiScaleFactorRoundingPolicy(Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
    QCoreApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QCoreApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
    QApplication application(argc, argv);
    QCoreApplication::setOrganizationName(QLatin1String(organizationName));
    QCoreApplication::setApplicationName(QLatin1String(updaterApplicationName));
    // Held for the whole run, although no value is read through it.
    const QSettings updaterSettings(QSettings::SystemScope, QLatin1String(organizationName),
                                    QLatin1String(updaterApplicationName));

    // The folder above the executable is always there; whatever else is set up may rely on it.
    QDir().mkpath(QCoreApplication::applicationDirPath() + QLatin1String("/.."));
    const QString logPath = prepareLogFolder();
    // The log is written to until the very end of the process, so the file is never deleted.
    setDebugLogFile(new QFile(logPath));
    qInstallMessageHandler(writeDebugLog);

    Translators translators;
    loadTranslations(translators);
    QCoreApplication::addLibraryPath(QCoreApplication::applicationDirPath());
    logEnvironment(logPath);

    MainWindow window;
    // Only with this one argument alone; the version check takes "auto" with further arguments as well.
    const bool isAutomatic = argc == 2 && QCoreApplication::arguments().at(1) == QLatin1String("auto");
    if (isAutomatic)
        window.setWindowFlags(Qt::MSWindowsFixedSizeDialogHint);
    window.show();
    return QApplication::exec();
}
