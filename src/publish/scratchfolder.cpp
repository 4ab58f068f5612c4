#include "publish/scratchfolder.h"

#include "download/extraction.h"
#include "install/diskspace.h"
#include "publish/failure.h"

#include <QDir>

namespace freshen::publish {

ScratchFolder::ScratchFolder(const QString &parent)
    : m_parent(parent.isEmpty() ? QDir::tempPath() : parent),
      m_folder(m_parent + QStringLiteral("/freshen-publish-XXXXXX"))
{
}

ScratchFolder::~ScratchFolder()
{
    // A read-only folder could not be emptied.
    for (const QString &folder : qAsConst(m_folders))
        QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

QString ScratchFolder::obstacle(qint64 bytes) const
{
    if (!m_folder.isValid())
        return failureAt(m_parent, m_folder.errorString());
    const std::optional<DiskSpace> space = DiskSpace::at(m_parent);
    if (!space || space->available >= bytes)
        return {};
    return failureAt(m_parent, QStringLiteral("%1 bytes are needed to unpack the package, and %2 are free.")
                                   .arg(QString::number(bytes), QString::number(space->available)));
}

QString ScratchFolder::package() const
{
    return m_folder.filePath(QStringLiteral("package.zip"));
}

QString ScratchFolder::unpacked() const
{
    return m_folder.filePath(QStringLiteral("out"));
}

void ScratchFolder::expect(const QList<PackageEntry> &entries)
{
    for (const PackageEntry &entry : entries) {
        // What leads elsewhere is never made.
        if (entry.isFolder() && isSafeEntryName(entry.name))
            m_folders.append(unpacked() + QLatin1Char('/') + entry.name);
    }
}

} // namespace freshen::publish
