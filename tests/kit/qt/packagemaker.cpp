#include "kit/qt/packagemaker.h"

#include <QDataStream>

namespace {

constexpr quint32 localSignature = 0x04034b50;
constexpr quint32 directorySignature = 0x02014b50;
constexpr quint32 endSignature = 0x06054b50;
constexpr quint16 versionNeeded = 20;
constexpr quint16 madeOnUnix = 3 << 8;
constexpr quint16 methodStored = 0;
constexpr quint16 methodDeflated = 8;
constexpr quint32 regularFile = 0100000;
/// 1 May 2026, 12:00.
constexpr quint16 entryDate = (2026 - 1980) << 9 | 5 << 5 | 1;
constexpr quint16 entryTime = 12 << 11;

QByteArray deflated(const QByteArray &content)
{
    // Without the length that Qt puts before it (4 bytes) and zlib's own head and checksum (2 and 4 bytes).
    const QByteArray compressed = qCompress(content);
    return compressed.mid(6, compressed.size() - 10);
}

QByteArray dataOf(const PackageEntry &entry)
{
    if (entry.data)
        return *entry.data;
    return entry.isCompressed ? deflated(entry.content) : entry.content;
}

/// The fields that local header and directory have in common, from the flags to the length of the extra field.
void writeCommonFields(QDataStream &stream, const PackageEntry &entry, const QByteArray &data, const QByteArray &name)
{
    stream << entry.flags << entry.method.value_or(entry.isCompressed ? methodDeflated : methodStored) << entryTime
           << entryDate << entry.checksum.value_or(crc32Of(entry.content))
           << entry.compressedSize.value_or(static_cast<quint32>(data.size()))
           << entry.uncompressedSize.value_or(static_cast<quint32>(entry.content.size()))
           << static_cast<quint16>(name.size()) << quint16(0);
}

void writeBytes(QDataStream &stream, const QByteArray &bytes)
{
    stream.writeRawData(bytes.constData(), bytes.size());
}

} // namespace

QByteArray makePackage(const QList<PackageEntry> &entries, int extraEntries)
{
    QByteArray package;
    QByteArray directory;
    QDataStream packageStream(&package, QIODevice::WriteOnly);
    QDataStream directoryStream(&directory, QIODevice::WriteOnly);
    packageStream.setByteOrder(QDataStream::LittleEndian);
    directoryStream.setByteOrder(QDataStream::LittleEndian);

    for (const PackageEntry &entry : entries) {
        const auto offset = static_cast<quint32>(package.size());
        const QByteArray data = dataOf(entry);
        const QByteArray localName = entry.localName.value_or(entry.name);
        packageStream << localSignature << versionNeeded;
        writeCommonFields(packageStream, entry, data, localName);
        writeBytes(packageStream, localName);
        writeBytes(packageStream, data);

        const bool hasPermissions = entry.permissions != 0;
        directoryStream << entry.directorySignature.value_or(directorySignature)
                        << static_cast<quint16>(hasPermissions ? madeOnUnix | versionNeeded : versionNeeded)
                        << versionNeeded;
        writeCommonFields(directoryStream, entry, data, entry.name);
        const quint32 attributes = hasPermissions ? (regularFile | entry.permissions) << 16 : 0;
        directoryStream << quint16(0) << quint16(0) << quint16(0) << attributes << offset;
        writeBytes(directoryStream, entry.name);
    }

    const auto directoryOffset = static_cast<quint32>(package.size());
    const auto count = static_cast<quint16>(entries.size() + extraEntries);
    writeBytes(packageStream, directory);
    packageStream << endSignature << quint16(0) << quint16(0) << count << count
                  << static_cast<quint32>(directory.size()) << directoryOffset << quint16(0);
    return package;
}

QByteArray asStored(const QByteArray &package)
{
    QByteArray stored;
    QDataStream stream(&stored, QIODevice::WriteOnly);
    stream << static_cast<quint32>(package.size());
    writeBytes(stream, package);
    return stored;
}

QByteArray someBytes(int size, quint32 seed)
{
    QByteArray bytes(size, Qt::Uninitialized);
    quint32 state = seed;
    for (char &byte : bytes) {
        state = state * 1664525 + 1013904223;
        byte = static_cast<char>(state >> 24);
    }
    return bytes;
}

quint32 crc32Of(const QByteArray &bytes)
{
    quint32 crc = 0xffffffff;
    for (const char byte : bytes) {
        crc ^= static_cast<quint8>(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1) != 0 ? crc >> 1 ^ 0xedb88320 : crc >> 1;
    }
    return ~crc;
}
