#pragma once

/// \file
/// Where a package is unpacked to be looked at.

#include "publish/packageentry.h"

#include <QStringList>
#include <QTemporaryDir>

namespace freshen::publish {

/// A folder with a place for a stored package and one for what it unpacks to, as an updater has them. It is gone with
/// the object, whatever permissions the package has given to what was unpacked.
class ScratchFolder
{
public:
    /// Makes it in the folder \a parent, or in the system's for temporary files where that is empty.
    explicit ScratchFolder(const QString &parent);
    ~ScratchFolder();
    Q_DISABLE_COPY(ScratchFolder)

    /// Why \a bytes cannot be written there; empty where they can.
    [[nodiscard]] QString obstacle(qint64 bytes) const;
    /// Path of the stored package.
    [[nodiscard]] QString package() const;
    /// Path of the folder that it is unpacked into.
    [[nodiscard]] QString unpacked() const;
    /// Takes note of the folders among \a entries, which may become read-only.
    void expect(const QList<PackageEntry> &entries);

private:
    QString m_parent;
    QTemporaryDir m_folder;
    QStringList m_folders;
};

} // namespace freshen::publish
