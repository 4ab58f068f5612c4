#include "kit/qt/packagemaker.h"

#include <QDataStream>
#include <QRandomGenerator>

#include <algorithm>
#include <zlib.h>

namespace {

constexpr quint32 localSignature = 0x04034b50;
constexpr quint32 directorySignature = 0x02014b50;
constexpr quint32 endSignature = 0x06054b50;
constexpr quint16 versionNeeded = 20;
constexpr quint16 madeOnUnix = 3 << 8;
constexpr quint16 methodDeflated = 8;
constexpr quint32 regularFile = 0100000;
/// 1 May 2026, 12:00.
constexpr quint16 entryDate = (2026 - 1980) << 9 | 5 << 5 | 1;
constexpr quint16 entryTime = 12 << 11;
constexpr quint16 none = 0;

/// \a values one after the other, the lowest byte of each first.
template <typename... Values>
QByteArray littleEndian(Values... values)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setByteOrder(QDataStream::LittleEndian);
    (stream << ... << values);
    return bytes;
}

quint32 sizeOf(const QByteArray &bytes)
{
    return static_cast<quint32>(bytes.size());
}

QByteArray deflated(const QByteArray &content)
{
    // Without the length that Qt puts before it (4 bytes) and zlib's own head and checksum (2 and 4 bytes).
    const QByteArray compressed = qCompress(content);
    return compressed.mid(6, compressed.size() - 10);
}

quint32 checksum(const QByteArray &bytes)
{
    return static_cast<quint32>(crc32(0, reinterpret_cast<const Bytef *>(bytes.constData()), sizeOf(bytes)));
}

} // namespace

QByteArray makePackage(const QList<PackageEntry> &entries)
{
    QByteArray package;
    QByteArray directory;
    for (const PackageEntry &entry : entries) {
        const QByteArray data = entry.data.value_or(entry.isCompressed ? deflated(entry.content) : entry.content);
        const quint16 method = entry.isCompressed ? methodDeflated : none;
        const auto common = [&](const QByteArray &name) {
            return littleEndian(versionNeeded, entry.flags, entry.method.value_or(method), entryTime, entryDate,
                                entry.checksum.value_or(checksum(entry.content)), sizeOf(data),
                                entry.uncompressedSize.value_or(sizeOf(entry.content)),
                                static_cast<quint16>(name.size()), none);
        };
        const bool isFromUnix = entry.permissions != 0;
        const quint32 attributes = isFromUnix ? (regularFile | entry.permissions) << 16 : 0;
        directory +=
            littleEndian(entry.directorySignature.value_or(directorySignature), isFromUnix ? madeOnUnix : none) +
            common(entry.name) + littleEndian(none, none, none, attributes, sizeOf(package)) + entry.name;
        const QByteArray localName = entry.localName.value_or(entry.name);
        package += littleEndian(localSignature) + common(localName) + localName + data;
    }
    const auto count = static_cast<quint16>(entries.size());
    return package + directory +
           littleEndian(endSignature, none, none, count, count, sizeOf(directory), sizeOf(package), none);
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
