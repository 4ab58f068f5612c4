#include "kit/qt/packagemaker.h"

#include <QRandomGenerator>

#include <algorithm>
#include <zlib.h>

namespace {

constexpr quint16 versionNeeded = 20;
constexpr quint16 madeOnUnix = 3 << 8;
constexpr quint32 regularFile = 0100000;
/// 1 May 2026, 12:00.
constexpr quint16 entryDate = (2026 - 1980) << 9 | 5 << 5 | 1;
constexpr quint16 entryTime = 12 << 11;
constexpr quint16 none = 0;

quint32 sizeOf(const QByteArray &bytes)
{
    return static_cast<quint32>(bytes.size());
}

} // namespace

QByteArray zip::compressed(const QByteArray &content)
{
    // Without the length that Qt puts before it (4 bytes) and zlib's own head and checksum (2 and 4 bytes).
    const QByteArray bytes = qCompress(content);
    return bytes.mid(6, bytes.size() - 10);
}

quint32 zip::checksum(const QByteArray &bytes)
{
    return static_cast<quint32>(crc32(0, reinterpret_cast<const Bytef *>(bytes.constData()), sizeOf(bytes)));
}

QByteArray makePackage(const QList<PackageEntry> &entries)
{
    QByteArray package;
    QByteArray directory;
    for (const PackageEntry &entry : entries) {
        const QByteArray data =
            entry.data.value_or(entry.isCompressed ? zip::compressed(entry.content) : entry.content);
        const quint16 method = entry.isCompressed ? zip::deflated : zip::stored;
        const auto common = [&](const QByteArray &name) {
            return zip::littleEndian(versionNeeded, entry.flags, entry.method.value_or(method), entryTime, entryDate,
                                     entry.checksum.value_or(zip::checksum(entry.content)), sizeOf(data),
                                     entry.uncompressedSize.value_or(sizeOf(entry.content)),
                                     static_cast<quint16>(name.size()), none);
        };
        const bool isFromUnix = entry.permissions != 0;
        const quint32 attributes = isFromUnix ? (regularFile | entry.permissions) << 16 : 0;
        directory += zip::littleEndian(entry.directorySignature.value_or(zip::directorySignature),
                                       isFromUnix ? madeOnUnix : none) +
                     common(entry.name) + zip::littleEndian(none, none, none, attributes, sizeOf(package)) + entry.name;
        const QByteArray localName = entry.localName.value_or(entry.name);
        package += zip::littleEndian(zip::localSignature) + common(localName) + localName + data;
    }
    const auto count = static_cast<quint16>(entries.size());
    return package + directory +
           zip::littleEndian(zip::endSignature, none, none, count, count, sizeOf(directory), sizeOf(package), none);
}

QByteArray asStored(const QByteArray &package)
{
    QByteArray length;
    QDataStream(&length, QIODevice::WriteOnly) << sizeOf(package);
    return length + package;
}

QByteArray someBytes(int size, quint32 seed)
{
    QByteArray bytes(size, Qt::Uninitialized);
    QRandomGenerator generator(seed);
    std::generate(bytes.begin(), bytes.end(), [&generator] { return static_cast<char>(generator.generate()); });
    return bytes;
}
