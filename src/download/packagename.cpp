#include "download/packagename.h"

#include <QRegularExpression>

namespace freshen {

namespace {

/// The first revision whose beta packages have BETA in their name on the server.
constexpr qint32 firstRevisionWithBetaNames = 2085;

QString packageName(const QString &selectedVersion, const PackageNaming &naming)
{
    const QString tags = naming.extended ? naming.osTag + naming.archTag : QString();
    return QLatin1String("Tavlopc") + selectedVersion + tags + QLatin1String(".zip");
}

} // namespace

QString operatingSystemTag(const RunningSystem &system)
{
    const bool isXp = system.isWindows && system.majorVersion == 5 && system.minorVersion == 1;
    return isXp ? QString() : QStringLiteral("WIN7");
}

QString selectedVersionName(const VersionRow &row)
{
    return row.at(column::version) + row.at(column::type).toUpper();
}

QString serverPackageName(const VersionRow &row, qint32 revision, const PackageNaming &naming)
{
    QString name = packageName(selectedVersionName(row), naming);
    if (revision < firstRevisionWithBetaNames)
        name.replace(QLatin1String("BETA"), QLatin1String("STABLE"));
    return name;
}

QString localPackageName(const QString &selectedVersion, const PackageNaming &naming)
{
    // Version and type are the server's own texts, and the package must not be stored in another folder than its own.
    static const QRegularExpression pathSeparators(QStringLiteral("[/\\\\:]"));
    return packageName(selectedVersion, naming).replace(pathSeparators, QStringLiteral("_"));
}

} // namespace freshen
