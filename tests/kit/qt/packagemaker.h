#pragma once

#include <QByteArray>
#include <QDataStream>
#include <QList>

#include <optional>

/// What ZIP archives are made of (PKWARE APPNOTE).
namespace zip {

inline constexpr quint32 localSignature = 0x04034b50;
inline constexpr quint32 directorySignature = 0x02014b50;
inline constexpr quint32 endSignature = 0x06054b50;
inline constexpr quint16 stored = 0;
inline constexpr quint16 deflated = 8;

/// \a values one after the other, the lowest byte of each first.
template <typename... Values>
[[nodiscard]] QByteArray littleEndian(Values... values)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setByteOrder(QDataStream::LittleEndian);
    (stream << ... << values);
    return bytes;
}

/// \a content as the method "deflated" stores it.
[[nodiscard]] QByteArray compressed(const QByteArray &content);

/// The CRC-32 of \a bytes.
[[nodiscard]] quint32 checksum(const QByteArray &bytes);

} // namespace zip

/// One entry of a package, a ZIP archive (PKWARE APPNOTE). A fault that is not set has the value of a sound archive.
struct PackageEntry
{
    /// The name as stored; a folder's name ends in a slash.
    QByteArray name;
    QByteArray content = {};
    bool isCompressed = true;
    /// Unix permissions; 0 for an entry that was made on MS-DOS and has none.
    quint16 permissions = 0644;
    /// General purpose flags (PKWARE APPNOTE 4.4.4).
    quint16 flags = 0;

    // Faults.
    std::optional<quint16> method = {};
    std::optional<quint32> checksum = {};
    std::optional<quint32> uncompressedSize = {};
    /// The stored bytes; their number is announced as the compressed size.
    std::optional<QByteArray> data = {};
    /// The name in the local header, where it is not the one in the directory.
    std::optional<QByteArray> localName = {};
    std::optional<quint32> directorySignature = {};
};

/// The bytes of a package with \a entries.
[[nodiscard]] QByteArray makePackage(const QList<PackageEntry> &entries);

/// \a package as it is stored after the download: its length in 4 bytes, big-endian, and then its bytes.
[[nodiscard]] QByteArray asStored(const QByteArray &package);

/// \a size bytes that do not repeat themselves early; \a seed tells one sequence from another.
[[nodiscard]] QByteArray someBytes(int size, quint32 seed = 1);
