#include "kit/qt/settings.h"

#include "kit/qt/platform.h"

#include <QFile>
#include <QSettings>
#include <QTemporaryDir>

namespace {

QSettings openStore(const char *application)
{
    requirePrivateHome();
    return QSettings("Q.U.I.N.T.A.", application);
}

} // namespace

void requirePrivateHome()
{
    if (qEnvironmentVariableIsSet("FRESHEN_TEST_HOME"))
        return;
    // The settings are in the registry there.
    if (isWindows())
        qFatal("FRESHEN_TEST_HOME does not say that this test has a home of its own. Run it through ctest.");
    static const QTemporaryDir home;
    for (const char *name : {"FRESHEN_TEST_HOME", "HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME"})
        qputenv(name, QFile::encodeName(home.path()));
}

void clearSettings()
{
    for (const char *application : {"Tavlo3", "Tavlo3 Updater"})
        openStore(application).clear();
}

void writeSettings(const QVariantMap &values, const char *application)
{
    QSettings store = openStore(application);
    for (auto it = values.cbegin(); it != values.cend(); ++it)
        store.setValue(it.key(), it.value());
    store.sync();
    if (store.status() != QSettings::NoError)
        qFatal("Cannot write the settings");
}
