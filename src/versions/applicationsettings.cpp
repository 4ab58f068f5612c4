#include "versions/applicationsettings.h"

namespace freshen {

QSettings applicationSettings()
{
    return QSettings(QLatin1String(organizationName), QLatin1String(applicationStoreName));
}

} // namespace freshen
