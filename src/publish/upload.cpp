#include "publish/upload.h"

#include "publish/packagefiles.h"

#include <QFile>
#include <QFileInfo>

namespace freshen::publish {

namespace {

/// A name that leads to another folder is none that anybody publishes.
bool isPublished(const DocumentRoot &root, const QString &name)
{
    return QFileInfo(name).fileName() == name && QFileInfo(root.packageFile(name)).isFile();
}

bool holds(const QString &path, const QByteArray &content)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) && file.readAll() == content;
}

} // namespace

QStringList uploadOrder(const DocumentRoot &root, const Index &index)
{
    QStringList paths;
    for (const QString &name : listedPackages(index)) {
        if (isPublished(root, name))
            paths.append(root.relative(root.packageFile(name)));
    }
    return paths << root.relative(root.indexFile());
}

QList<Finding> checkUploads(const DocumentRoot &root, const Index &index, const DocumentRoot &target)
{
    QList<Finding> findings;
    for (const IndexLine &line : index.lines) {
        if (!line.revision)
            continue;
        const QString name = packageNames(line).value(NameKind::Plain);
        if (!isPublished(root, name) && !QFileInfo(target.packageFile(name)).isFile())
            findings.append({missingPackage, QStringLiteral("Neither folder has %1.").arg(name),
                             root.relative(root.indexFile()), line.number});
    }
    return findings;
}

QList<Upload> missingUploads(const DocumentRoot &root, const Index &index, const DocumentRoot &target,
                             const ByteProgress &progress)
{
    QList<Upload> uploads;
    qint64 compared = 0;
    const auto advance = [&](qint64 bytes) {
        if (progress)
            progress(compared + bytes);
    };
    const QStringList paths = uploadOrder(root, index);
    for (const QString &path : paths) {
        const QString here = root.folder + QLatin1Char('/') + path;
        const QString there = target.folder + QLatin1Char('/') + path;
        if (!(path == paths.last() ? holds(there, index.bytes) : haveSameContent(here, there, advance)))
            uploads.append({path, QFileInfo::exists(there)});
        compared += QFileInfo(here).size();
    }
    return uploads;
}

} // namespace freshen::publish
