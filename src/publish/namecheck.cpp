#include "publish/namecheck.h"

#include "download/packagename.h"
#include "publish/windowsname.h"
#include "versions/updateserver.h"

#include <QRegularExpression>
#include <QUrl>

namespace freshen::publish {

QString quoted(const QString &text)
{
    return QLatin1Char('"') + text + QLatin1Char('"');
}

std::optional<Fault> checkVersion(const IndexLine &line)
{
    static const QRegularExpression blank(QStringLiteral("\\s"));
    const QString version = line.row.at(column::version);
    if (!version.contains(blank) && version.endsWith(QStringLiteral(".%1").arg(*line.revision)))
        return std::nullopt;
    return Fault{oddVersion, QStringLiteral("%1 has the revision %2; the package's name has the text as it stands.")
                                 .arg(quoted(version), QString::number(*line.revision))};
}

std::optional<Fault> checkSeparators(const IndexLine &line)
{
    const QString name = selectedVersionName(line.row);
    const QString stored = localPackageName(name, {});
    if (stored.contains(name))
        return std::nullopt;
    return Fault{separatorInName, QStringLiteral("The package of %1 is stored as %2.").arg(quoted(name), stored)};
}

std::optional<Fault> checkStoredName(const IndexLine &line)
{
    const QString name = localPackageName(selectedVersionName(line.row), {});
    const QString objection = windowsObjection(name);
    if (objection.isEmpty())
        return std::nullopt;
    return Fault{nameNotStorable,
                 QStringLiteral("Windows takes no file with the name %1: %2.").arg(quoted(name), objection)};
}

std::optional<Fault> checkAddress(const IndexLine &line)
{
    const QString name = serverPackageName(line.row, *line.revision, {});
    UpdateServer server;
    server.protocol = QStringLiteral("https");
    server.host = QStringLiteral("localhost");
    const QString asked = QUrl(packageAddress(server, name, PortInAddress::IfSet)).path(QUrl::FullyDecoded);
    if (asked == packagePath(name))
        return std::nullopt;
    return Fault{addressDiffers, QStringLiteral("Instead of %1, updaters ask for %2.").arg(packagePath(name), asked)};
}

} // namespace freshen::publish
