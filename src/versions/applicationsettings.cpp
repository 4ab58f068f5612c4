#include "versions/applicationsettings.h"

QSettings applicationSettings()
{
    return QSettings(QLatin1String(organizationName), QLatin1String(applicationStoreName));
}
