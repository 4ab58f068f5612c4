#include "versions/runningsystem.h"

#include <QOperatingSystemVersion>

namespace freshen {

RunningSystem RunningSystem::current()
{
    const QOperatingSystemVersion system = QOperatingSystemVersion::current();
    return {system.type() == QOperatingSystemVersion::Windows, system.majorVersion(), system.minorVersion(),
            system.name()};
}

} // namespace freshen
