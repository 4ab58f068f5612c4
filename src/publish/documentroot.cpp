#include "publish/documentroot.h"

#include "versions/updateserver.h"

#include <QFileInfo>

namespace freshen::publish {

QString DocumentRoot::indexFile() const
{
    return folder + versionFilePath(versionFolder);
}

QString DocumentRoot::packageFolder() const
{
    return QFileInfo(packageFile(QStringLiteral("any"))).path();
}

QString DocumentRoot::packageFile(const QString &name) const
{
    return folder + packagePath(name);
}

QStringList DocumentRoot::allIndexFiles() const
{
    // Each version folder lies beside that of the packages, which holds no index.
    const QDir folders(QFileInfo(packageFolder()).path());
    QStringList files;
    for (const QString &name : folders.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name)) {
        const QString file = folder + versionFilePath(name);
        if (QFileInfo(file).isFile())
            files.append(file);
    }
    return files;
}

QString DocumentRoot::relative(const QString &path) const
{
    return QDir(folder).relativeFilePath(path);
}

} // namespace freshen::publish
