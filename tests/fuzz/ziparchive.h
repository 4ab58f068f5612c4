#pragma once

#include "kit/qt/packagemaker.h"

#include <QByteArray>
#include <QList>

#include <array>
#include <set>
#include <vector>

/// ZIP archives (PKWARE APPNOTE) taken apart and put together, with whatever is wrong with them.
namespace zip {

inline constexpr quint32 locatorSignature = 0x07064b50;
inline constexpr quint16 largeFieldId = 1;
inline constexpr quint16 unicodeNameId = 0x7075;
inline constexpr int mostEntries = 12;

/// A field of a record, by its place after the record's start.
struct Field
{
    int place;
    int size;
};

struct Record
{
    quint32 signature;
    std::vector<Field> fields;
};

/// The fields of all kinds of records that changes are worth while in.
extern const std::array<Record, 6> records;

struct Entry
{
    QByteArray name;
    QByteArray localName;
    /// What the archive holds for it, compressed or not.
    QByteArray data;
    quint16 madeBy = 3 << 8 | 20;
    quint16 flags = 0;
    quint16 method = stored;
    quint32 checksum = 0;
    quint64 size = 0;
    quint32 attributes = 0100644U << 16;
    /// Sizes and offset stand in a ZIP64 field, in the directory.
    bool isLarge = false;
    QByteArray extra;
};

/// The content of \a entry, as far as it can be unpacked.
[[nodiscard]] QByteArray contentOf(const Entry &entry);

/// Gives \a entry a content with its size and checksum.
void setContent(Entry &entry, const QByteArray &content, bool isCompressed);

/// What the directory of \a archive names, as far as it can be found.
[[nodiscard]] QList<Entry> entriesOf(const QByteArray &archive);

/// An archive with \a entries. A large one has ZIP64 records at its end.
[[nodiscard]] QByteArray archiveOf(const QList<Entry> &entries, bool isLarge);

/// Whether \a archive has ZIP64 records at its end.
[[nodiscard]] bool isLarge(const QByteArray &archive);

/// All checksums that the records of the directory in \a archive name.
[[nodiscard]] std::set<quint32> checksumsIn(const QByteArray &archive);

} // namespace zip
