#include "kit/qt/settings.h"

#include <QDir>
#include <QFile>
#include <QOperatingSystemVersion>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>

namespace {

QSettings openStore(const char *application)
{
    requirePrivateHome();
    return QSettings(QStringLiteral("Q.U.I.N.T.A."), QLatin1String(application));
}

void write(const char *application, const char *key, const QVariant &value)
{
    QSettings store = openStore(application);
    store.setValue(QLatin1String(key), value);
    store.sync();
    if (store.status() != QSettings::NoError)
        qFatal("Cannot write the setting %s", key);
}

/// A home for a test that nobody gave one. The system looks for it in the environment each time.
void makePrivateHome()
{
    static const QTemporaryDir home;
    const QByteArray path = QFile::encodeName(home.path());
    qputenv("FRESHEN_TEST_HOME", path);
    qputenv("HOME", path);
    for (const char *folder : {"CONFIG", "DATA", "CACHE"})
        qputenv(("XDG_" + QByteArray(folder) + "_HOME").constData(), path + '/' + QByteArray(folder).toLower());
}

} // namespace

void requirePrivateHome()
{
    const bool isWindows = QOperatingSystemVersion::currentType() == QOperatingSystemVersion::Windows;
    if (!isWindows && !qEnvironmentVariableIsSet("FRESHEN_TEST_HOME"))
        makePrivateHome();
    const QString home = QDir::cleanPath(qEnvironmentVariable("FRESHEN_TEST_HOME"));
    if (home.isEmpty() || home == QLatin1String("."))
        qFatal("FRESHEN_TEST_HOME does not name a home for this test. Run the test through ctest.");
    // On Windows the settings are in the registry, and whoever sets the variable vouches for it being a private one.
    if (isWindows)
        return;
    for (const QString &folder :
         {QDir::homePath(), QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation),
          QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)}) {
        if (folder != home && !folder.startsWith(home + QLatin1Char('/')))
            qFatal("%s is outside this test's home. Run the test through ctest.", qUtf8Printable(folder));
    }
}

void clearSettings()
{
    for (const char *application : {"Tavlo3", "Tavlo3 Updater"}) {
        QSettings store = openStore(application);
        store.clear();
        store.sync();
    }
}

void writeSetting(const char *key, const QVariant &value)
{
    write("Tavlo3", key, value);
}

QVariant readSetting(const char *key)
{
    return openStore("Tavlo3").value(QLatin1String(key));
}

void writeUpdaterSetting(const char *key, const QVariant &value)
{
    write("Tavlo3 Updater", key, value);
}
