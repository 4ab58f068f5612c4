#include "publish/packageentry.h"

#include "download/storedarchive.h"
#include "download/systemcodec.h"

#include <quazip/quazip.h>
#include <quazip/quazipfile.h>
#include <quazip/quazipfileinfo.h>

namespace freshen::publish {

namespace {

constexpr quint16 utf8Flag = 1 << 11;
constexpr quint32 attributesMask = 0xff;

PackageEntry entryOf(const QuaZipFileInfo64 &information)
{
    PackageEntry entry;
    entry.name = information.name;
    entry.isUtf8 = (information.flags & utf8Flag) != 0;
    entry.isEncrypted = information.isEncrypted();
    entry.isLink = information.isSymbolicLink();
    entry.method = information.method;
    entry.permissions = information.getPermissions();
    entry.attributes = information.externalAttr & attributesMask;
    entry.size = static_cast<qint64>(information.uncompressedSize);
    return entry;
}

} // namespace

QList<PackageEntry> readEntries(const QString &path)
{
    StoredArchive file(path);
    QuaZip archive(&file);
    archive.setFileNameCodec(systemCodec());
    QList<PackageEntry> entries;
    if (!archive.open(QuaZip::mdUnzip))
        return entries;
    QuaZipFileInfo64 information;
    for (bool more = archive.goToFirstFile(); more && archive.getCurrentFileInfo(&information);
         more = archive.goToNextFile())
        entries.append(entryOf(information));
    return entries;
}

QByteArray readEntry(const QString &path, const PackageEntry &entry, qint64 most)
{
    StoredArchive file(path);
    QuaZip archive(&file);
    archive.setFileNameCodec(systemCodec());
    if (!archive.open(QuaZip::mdUnzip) || !archive.setCurrentFile(entry.name, QuaZip::csSensitive))
        return {};
    QuaZipFile content(&archive);
    return content.open(QIODevice::ReadOnly) ? content.read(most) : QByteArray();
}

} // namespace freshen::publish
