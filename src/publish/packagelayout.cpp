#include "publish/packagelayout.h"

#include "app/selfrelocation.h"
#include "install/installation.h"
#include "publish/entryrules.h"
#include "publish/windowsname.h"

#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QMap>
#include <QRegularExpression>

#include <algorithm>

namespace freshen::publish {

namespace {

using Files = QHash<QString, const PackageEntry *>;

/// The files among \a entries by their keys, the first where some have the same; those go to \a findings.
Files filesByKey(const QList<PackageEntry> &entries, const QString &package, QList<Finding> &findings)
{
    Files files;
    for (const PackageEntry &entry : entries) {
        if (entry.isFolder())
            continue;
        const PackageEntry *&first = files[windowsKey(windowsSteps(entry.name))];
        if (first == nullptr)
            first = &entry;
        else if (first->name == entry.name)
            findings.append(entryFinding(duplicateEntry,
                                         QStringLiteral("The package has an earlier file of this name, "
                                                        "which this one replaces."),
                                         package, entry));
        else
            findings.append(
                entryFinding(collidingNames,
                             QStringLiteral("To Windows this is the file \"%1\", which it replaces.").arg(first->name),
                             package, entry));
    }
    return files;
}

/// The folder of \a entry, or one that it lies in, that is a file as well.
const PackageEntry *fileInPlaceOfFolder(const PackageEntry &entry, const Files &files)
{
    QStringList steps = windowsSteps(entry.name);
    if (!entry.isFolder() && !steps.isEmpty())
        steps.removeLast();
    for (; !steps.isEmpty(); steps.removeLast()) {
        if (const PackageEntry *const file = files.value(windowsKey(steps)))
            return file;
    }
    return nullptr;
}

QList<Finding> checkCollisions(const QList<PackageEntry> &entries, const QString &package)
{
    QList<Finding> findings;
    const Files files = filesByKey(entries, package, findings);
    for (const PackageEntry &entry : entries) {
        if (const PackageEntry *const file = fileInPlaceOfFolder(entry, files))
            findings.append(entryFinding(collidingNames,
                                         QStringLiteral("It needs a folder where \"%1\" is a file.").arg(file->name),
                                         package, entry));
    }
    return findings;
}

/// The files directly in a folder at the top that are called \a name.
const PackageEntry *findAtTop(const QList<PackageEntry> &entries, const QString &name)
{
    const auto found =
        std::find_if(entries.begin(), entries.end(), [key = windowsKey({name})](const PackageEntry &entry) {
            return !entry.isFolder() && windowsKey(windowsSteps(entry.name).mid(1)) == key;
        });
    return found == entries.end() ? nullptr : &*found;
}

/// What is at the top of the package: names by their keys, and whether they are folders.
QMap<QString, QString> topNames(const QList<PackageEntry> &entries, bool &isFolder)
{
    QMap<QString, QString> names;
    isFolder = true;
    for (const PackageEntry &entry : entries) {
        const QStringList steps = windowsSteps(entry.name);
        if (steps.isEmpty())
            continue;
        names.insert(windowsKey({steps.first()}), steps.first());
        isFolder = isFolder && (steps.size() > 1 || entry.isFolder());
    }
    return names;
}

QList<Finding> checkTop(const QList<PackageEntry> &entries, const QString &package)
{
    bool isFolder = false;
    const QMap<QString, QString> names = topNames(entries, isFolder);
    if (names.size() != 1 || !isFolder)
        return {{topFolder,
                 QStringLiteral("At the top of the package is not one folder but: %1. The updater installs one entry "
                                "alone.")
                     .arg(names.isEmpty() ? QStringLiteral("nothing") : names.values().join(QLatin1String(", "))),
                 package}};
    const Executables executables = Executables::in(QString());
    const auto isMissing = [&entries](const QString &path) {
        return findAtTop(entries, QFileInfo(QDir::fromNativeSeparators(path)).fileName()) == nullptr;
    };
    QList<Finding> findings;
    static const QRegularExpression printableAscii(QStringLiteral("^[ -~]*$"));
    if (const QString &name = names.first(); !printableAscii.match(name).hasMatch())
        findings.append({topFolderName,
                         QStringLiteral("The updater tells the system to copy the folder \"%1\", whose name not every "
                                        "system can read there.")
                             .arg(name),
                         package});
    if (isMissing(executables.current) && isMissing(executables.old))
        findings.append({noExecutable,
                         QStringLiteral("The folder holds neither %1 nor %2: after the installation the updater "
                                        "finds no application.")
                             .arg(QFileInfo(executables.current).fileName(), QFileInfo(executables.old).fileName()),
                         package});
    if (findUpdater(entries) == nullptr)
        findings.append({noUpdater,
                         QStringLiteral("The folder holds no %1: whoever installs this package gets no further update.")
                             .arg(QLatin1String(updaterFileName)),
                         package});
    return findings;
}

QList<Finding> checkPermissions(const QList<PackageEntry> &entries, const QString &package)
{
    const auto count =
        std::count_if(entries.begin(), entries.end(), [](const PackageEntry &entry) { return entry.permissions == 0; });
    if (count == 0)
        return {};
    return {{noPermissions,
             QStringLiteral("%1 of %2 entries store no permissions; they get those of any new file.")
                 .arg(QString::number(count), QString::number(entries.size())),
             package}};
}

} // namespace

QList<Finding> checkLayout(const QList<PackageEntry> &entries, const QString &package)
{
    return checkTop(entries, package) + checkPermissions(entries, package) + checkCollisions(entries, package);
}

const PackageEntry *findUpdater(const QList<PackageEntry> &entries)
{
    return findAtTop(entries, QLatin1String(updaterFileName));
}

} // namespace freshen::publish
