#include "publish/entryrules.h"

#include "app/selfrelocation.h"
#include "download/extraction.h"
#include "install/batchprocess.h"
#include "publish/windowsname.h"
#include "versions/applicationsettings.h"

#include <QStringList>

#include <algorithm>
#include <array>

namespace freshen::publish {

namespace {

/// Windows' own limit for the name of an account, and so for the folder of its data.
constexpr int longestAccountName = 20;

/// Length of the path of the folder that a package is unpacked into, for the user with the longest name.
int longestUnpackFolder()
{
    const QString localData = QStringLiteral("C:/Users/%1/AppData/Local/%2/%3")
                                  .arg(QString(longestAccountName, QLatin1Char('n')), QLatin1String(organizationName),
                                       QLatin1String(updaterApplicationName));
    return (relocationPaths({}, localData).temporary + QLatin1String("/../out")).size();
}

/// A property of an entry that the updater, or Windows, cannot do with. \a objection says which, or nothing.
struct EntryRule
{
    FindingKind kind;
    QString (*objection)(const PackageEntry &entry, int longestPath);
};

QString unsafeNameIn(const PackageEntry &entry, int /*longestPath*/)
{
    return isSafeEntryName(entry.name) ? QString() : QStringLiteral("The updater refuses this name.");
}

bool isAscii(const QString &text)
{
    constexpr ushort lastAscii = 0x7f;
    return std::all_of(text.begin(), text.end(), [](QChar sign) { return sign.unicode() <= lastAscii; });
}

QString nameEncodingIn(const PackageEntry &entry, int /*longestPath*/)
{
    if (entry.name.contains(QChar::ReplacementCharacter))
        return QStringLiteral("The name is not in the encoding that it is marked with.");
    if (entry.isUtf8 || isAscii(entry.name))
        return {};
    return QStringLiteral("The name is not marked as UTF-8: each Windows reads it in its own code page.");
}

QString nameNotForWindowsIn(const PackageEntry &entry, int /*longestPath*/)
{
    // What the updater refuses anyway need not be refused twice.
    const QString objection = isSafeEntryName(entry.name) ? windowsObjection(entry.name) : QString();
    return objection.isEmpty() ? QString() : QStringLiteral("Windows has no such name: %1.").arg(objection);
}

QString backslashIn(const PackageEntry &entry, int /*longestPath*/)
{
    return entry.name.contains(QLatin1Char('\\'))
               ? QStringLiteral("A backslash separates folders on Windows only; archives have slashes.")
               : QString();
}

/// Whether \a steps, below a folder whose path has \a folder characters, are more than the copying program takes, or
/// the folder in which they lie is.
bool isTooLong(int folder, const QStringList &steps, bool isFolder)
{
    const int length = folder + 1 + steps.join(QLatin1Char('/')).size();
    const int parent = steps.isEmpty() ? 0 : length - 1 - steps.last().size();
    return isFolder ? length > longestXcopyFolder : length > longestXcopyPath || parent > longestXcopyFolder;
}

QString tooLongPathOf(const PackageEntry &entry, int longestPath)
{
    const QStringList steps = windowsSteps(entry.name);
    // What is installed are the contents of the folder at the top.
    if (isTooLong(longestPath, steps.mid(1), entry.isFolder()))
        return QStringLiteral("The path gets too long to be copied into an installation whose own path has %1 "
                              "characters.")
            .arg(longestPath);
    if (isTooLong(longestUnpackFolder(), steps, entry.isFolder()))
        return QStringLiteral("The path gets too long to be copied from where the updater unpacks it.");
    return {};
}

QString linkIn(const PackageEntry &entry, int /*longestPath*/)
{
    return entry.isLink ? QStringLiteral("A link becomes a file that holds the name of its target.") : QString();
}

QString encryptionIn(const PackageEntry &entry, int /*longestPath*/)
{
    return entry.isEncrypted ? QStringLiteral("The updater has no password.") : QString();
}

QString methodOf(const PackageEntry &entry, int /*longestPath*/)
{
    return isKnownMethod(entry.method)
               ? QString()
               : QStringLiteral("The updater does not know the compression method %1.").arg(entry.method);
}

QString readOnlyIn(const PackageEntry &entry, int /*longestPath*/)
{
    const bool isReadOnly = entry.permissions != 0 && (entry.permissions & QFile::WriteOwner) == 0;
    return isReadOnly ? QStringLiteral("The entry is read-only: where the next update does not clean the old version, "
                                       "it cannot replace the file.")
                      : QString();
}

QString hiddenIn(const PackageEntry &entry, int /*longestPath*/)
{
    constexpr quint32 hidden = 0x02;
    constexpr quint32 system = 0x04;
    return (entry.attributes & (hidden | system)) != 0
               ? QStringLiteral("The entry is marked as hidden or as the system's; it is installed without the mark.")
               : QString();
}

constexpr std::array<EntryRule, 10> entryRules{{
    {unsafeName, unsafeNameIn},
    {nameEncoding, nameEncodingIn},
    {nameNotForWindows, nameNotForWindowsIn},
    {backslashInName, backslashIn},
    {pathTooLong, tooLongPathOf},
    {linkEntry, linkIn},
    {encryptedEntry, encryptionIn},
    {compressionMethod, methodOf},
    {readOnlyEntry, readOnlyIn},
    {hiddenEntry, hiddenIn},
}};

} // namespace

Finding entryFinding(const FindingKind &kind, const QString &message, const QString &package, const PackageEntry &entry)
{
    return {kind, message, package + QLatin1Char('!') + entry.name};
}

QList<Finding> checkEntries(const QList<PackageEntry> &entries, const QString &package, int longestPath)
{
    QList<Finding> findings;
    for (const PackageEntry &entry : entries) {
        for (const EntryRule &rule : entryRules) {
            const QString objection = rule.objection(entry, longestPath);
            if (!objection.isEmpty())
                findings.append(entryFinding(rule.kind, objection, package, entry));
        }
    }
    return findings;
}

} // namespace freshen::publish
