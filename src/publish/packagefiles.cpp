#include "publish/packagefiles.h"

#include <QDateTime>
#include <QDirIterator>
#include <QFile>
#include <QHash>
#include <QRegularExpression>
#include <QSet>

#include <algorithm>
#include <array>

namespace freshen::publish {

namespace {

/// The names that updaters with extended naming ask for.
constexpr std::array extendedKinds = {NameKind::Extended, NameKind::ExtendedXp};

/// The packages of one index that are there and that are not.
class PackageFiles
{
public:
    PackageFiles(const Index &index, const DocumentRoot &root, const QStringList &files)
        : m_index(index), m_root(root), m_names(files.begin(), files.end())
    {
        for (const QString &name : files)
            m_similar.insert(name.toLower(), name);
    }

    [[nodiscard]] QList<Finding> check();

private:
    void checkNames(NameKind kind, const FindingKind &finding);
    [[nodiscard]] bool isUsed(NameKind kind) const;
    [[nodiscard]] QString messageOf(const QString &name) const;

    const Index &m_index;
    const DocumentRoot &m_root;
    QSet<QString> m_names;
    /// The names by their lower-case form.
    QHash<QString, QString> m_similar;
    QList<Finding> m_findings;
};

QList<Finding> PackageFiles::check()
{
    checkNames(NameKind::Plain, missingPackage);
    bool hasExtended = false;
    for (const NameKind kind : extendedKinds) {
        if (!isUsed(kind))
            continue;
        hasExtended = true;
        checkNames(kind, missingExtendedPackage);
    }
    if (!hasExtended && !m_index.lines.isEmpty()) {
        m_findings.append({noExtendedPackages,
                           QStringLiteral("No package has an extended name, as updaters with \"extendedNaming\" need."),
                           m_root.relative(m_root.packageFolder())});
    }
    return m_findings;
}

bool PackageFiles::isUsed(NameKind kind) const
{
    return std::any_of(m_index.lines.begin(), m_index.lines.end(), [this, kind](const IndexLine &line) {
        return m_names.contains(packageNames(line).value(kind));
    });
}

void PackageFiles::checkNames(NameKind kind, const FindingKind &finding)
{
    for (const IndexLine &line : m_index.lines) {
        if (!line.revision)
            continue;
        const QString name = packageNames(line).value(kind);
        if (!m_names.contains(name))
            m_findings.append({finding, messageOf(name), m_root.relative(m_root.indexFile()), line.number});
    }
}

QString PackageFiles::messageOf(const QString &name) const
{
    const QString missing = QStringLiteral("There is no %1.").arg(name);
    const QString similar = m_similar.value(name.toLower());
    return similar.isEmpty() ? missing : missing + QStringLiteral(" %1 differs in case.").arg(similar);
}

} // namespace

QStringList filesBelow(const QString &folder)
{
    QStringList names;
    QDirIterator files(folder, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (files.hasNext())
        names.append(QDir(folder).relativeFilePath(files.next()));
    names.sort();
    return names;
}

QList<Finding> checkPackageFiles(const Index &index, const DocumentRoot &root, const QStringList &files)
{
    return PackageFiles(index, root, files).check();
}

std::optional<QStringList> unlistedFiles(const DocumentRoot &root, const QStringList &files, QString &error)
{
    QSet<QString> unlisted(files.begin(), files.end());
    for (const QString &path : root.allIndexFiles()) {
        const std::optional<Index> index = readIndex(path, error);
        if (!index)
            return std::nullopt;
        for (const QString &name : listedPackages(*index))
            unlisted.remove(name);
    }
    QStringList names = unlisted.values();
    names.sort();
    return names;
}

void restartAges(const DocumentRoot &root, const Index &before, const Index &index)
{
    const QStringList names = listedPackages(before);
    QSet<QString> delisted(names.begin(), names.end());
    for (const QString &name : listedPackages(index))
        delisted.remove(name);
    for (const QString &name : delisted) {
        QFile file(root.packageFile(name));
        if (file.exists() && file.open(QIODevice::ReadWrite))
            file.setFileTime(QDateTime::currentDateTime(), QFileDevice::FileModificationTime);
    }
}

bool isPackageFile(const QString &name)
{
    // The end is that of a temporary name.
    static const QRegularExpression pattern(QStringLiteral("^Tavlopc[^/]*\\.zip(\\.[A-Za-z0-9]{6})?$"));
    return pattern.match(name).hasMatch();
}

} // namespace freshen::publish
