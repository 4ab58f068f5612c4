#include "fuzz/ziparchive.h"

#include <QtEndian>

#include <algorithm>
#include <zlib.h>

namespace zip {

namespace {

constexpr quint32 largeEndSignature = 0x06064b50;
constexpr quint32 descriptorSignature = 0x08074b50;

constexpr int localSize = 30;
constexpr int directorySize = 46;
constexpr quint16 hasDescriptor = 1 << 3;
constexpr int largestContent = 1500;
constexpr quint32 someTime = 0x5ca16000;
/// Stands for a number that is in a ZIP64 record.
constexpr quint32 elsewhere = 0xffffffff;

template <typename Number>
Number readNumber(const QByteArray &bytes, int place)
{
    if (place < 0 || place > bytes.size() - static_cast<int>(sizeof(Number)))
        return 0;
    return qFromLittleEndian<Number>(bytes.constData() + place);
}

QByteArray inflated(const QByteArray &data)
{
    QByteArray content(largestContent, '\0');
    z_stream stream = {};
    if (inflateInit2(&stream, -MAX_WBITS) != Z_OK)
        return QByteArray();
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(data.constData()));
    stream.avail_in = static_cast<uInt>(data.size());
    stream.next_out = reinterpret_cast<Bytef *>(content.data());
    stream.avail_out = static_cast<uInt>(content.size());
    inflate(&stream, Z_FINISH);
    content.truncate(static_cast<int>(stream.total_out));
    inflateEnd(&stream);
    return content;
}

quint16 versionNeeded(const Entry &entry)
{
    return entry.isLarge ? 45 : 20;
}

void appendLocal(QByteArray &archive, const Entry &entry)
{
    const auto dataSize = static_cast<quint32>(entry.data.size());
    const auto size = static_cast<quint32>(entry.size);
    const bool describedBelow = (entry.flags & hasDescriptor) != 0;
    archive += littleEndian(localSignature, versionNeeded(entry), entry.flags, entry.method, someTime,
                            describedBelow ? 0U : entry.checksum, describedBelow ? 0U : dataSize,
                            describedBelow ? 0U : size, static_cast<quint16>(entry.localName.size()), quint16(0));
    archive += entry.localName + entry.data;
    if (describedBelow)
        archive += littleEndian(descriptorSignature, entry.checksum, dataSize, size);
}

void appendDirectory(QByteArray &archive, const Entry &entry, quint32 offset)
{
    const auto dataSize = static_cast<quint32>(entry.data.size());
    QByteArray extra = entry.extra;
    if (entry.isLarge)
        extra += littleEndian(largeFieldId, quint16(24), entry.size, quint64(dataSize), quint64(offset));
    archive += littleEndian(directorySignature, entry.madeBy, versionNeeded(entry), entry.flags, entry.method, someTime,
                            entry.checksum, entry.isLarge ? elsewhere : dataSize,
                            entry.isLarge ? elsewhere : static_cast<quint32>(entry.size),
                            static_cast<quint16>(entry.name.size()), static_cast<quint16>(extra.size()), quint16(0),
                            quint32(0), entry.attributes, entry.isLarge ? elsewhere : offset);
    archive += entry.name + extra;
}

} // namespace

const std::array<Record, 6> records = {{
    {localSignature, {{0, 4}, {4, 2}, {6, 2}, {8, 2}, {10, 2}, {12, 2}, {14, 4}, {18, 4}, {22, 4}, {26, 2}, {28, 2}}},
    {directorySignature,
     {{0, 4},
      {4, 2},
      {6, 2},
      {8, 2},
      {10, 2},
      {12, 2},
      {14, 2},
      {16, 4},
      {20, 4},
      {24, 4},
      {28, 2},
      {30, 2},
      {32, 2},
      {34, 2},
      {36, 2},
      {38, 4},
      {42, 4}}},
    {endSignature, {{0, 4}, {4, 2}, {6, 2}, {8, 2}, {10, 2}, {12, 4}, {16, 4}, {20, 2}}},
    {largeEndSignature, {{4, 8}, {12, 2}, {14, 2}, {16, 4}, {20, 4}, {24, 8}, {32, 8}, {40, 8}, {48, 8}}},
    {locatorSignature, {{4, 4}, {8, 8}, {16, 4}}},
    {descriptorSignature, {{0, 4}, {4, 4}, {8, 4}, {12, 4}}},
}};

QByteArray contentOf(const Entry &entry)
{
    return entry.method == deflated ? inflated(entry.data) : entry.data;
}

void setContent(Entry &entry, const QByteArray &content, bool isCompressed)
{
    entry.method = isCompressed ? deflated : stored;
    entry.data = isCompressed ? compressed(content) : content;
    entry.size = static_cast<quint64>(content.size());
    entry.checksum = checksum(content);
}

QList<Entry> entriesOf(const QByteArray &archive)
{
    QList<Entry> entries;
    const QByteArray signature = littleEndian(directorySignature);
    for (int place = archive.indexOf(signature); place >= 0 && entries.size() < mostEntries;
         place = archive.indexOf(signature, place + 4)) {
        if (place > archive.size() - directorySize)
            break;
        Entry entry;
        entry.madeBy = readNumber<quint16>(archive, place + 4);
        entry.flags = readNumber<quint16>(archive, place + 8);
        entry.method = readNumber<quint16>(archive, place + 10);
        entry.checksum = readNumber<quint32>(archive, place + 16);
        const auto dataSize = readNumber<quint32>(archive, place + 20);
        entry.size = readNumber<quint32>(archive, place + 24);
        const int nameSize = readNumber<quint16>(archive, place + 28);
        const int extraSize = readNumber<quint16>(archive, place + 30);
        entry.attributes = readNumber<quint32>(archive, place + 38);
        const auto offset = readNumber<quint32>(archive, place + 42);
        entry.name = archive.mid(place + directorySize, nameSize);
        entry.localName = entry.name;
        entry.extra = archive.mid(place + directorySize + nameSize, std::min(extraSize, 100));
        if (offset < static_cast<quint32>(archive.size()) &&
            readNumber<quint32>(archive, static_cast<int>(offset)) == localSignature) {
            const int local = static_cast<int>(offset);
            const int localNameSize = readNumber<quint16>(archive, local + 26);
            entry.localName = archive.mid(local + localSize, localNameSize);
            const int begin = local + localSize + localNameSize + readNumber<quint16>(archive, local + 28);
            entry.data = archive.mid(begin, static_cast<int>(std::min<quint32>(dataSize, largestContent)));
        }
        entries += entry;
    }
    return entries;
}

QByteArray archiveOf(const QList<Entry> &entries, bool isLarge)
{
    QByteArray archive;
    std::vector<quint32> offsets;
    for (const Entry &entry : entries) {
        offsets.push_back(static_cast<quint32>(archive.size()));
        appendLocal(archive, entry);
    }
    const auto start = static_cast<quint32>(archive.size());
    for (int i = 0; i < entries.size(); ++i)
        appendDirectory(archive, entries.at(i), offsets.at(static_cast<std::size_t>(i)));
    const auto end = static_cast<quint32>(archive.size());
    const auto count = static_cast<quint16>(entries.size());
    if (isLarge) {
        archive += littleEndian(largeEndSignature, quint64(44), quint32(45 << 16 | 45), quint64(0), quint64(count),
                                quint64(count), quint64(end - start), quint64(start));
        archive += littleEndian(locatorSignature, quint32(0), quint64(end), quint32(1));
    }
    const quint16 shownCount = isLarge ? 0xffff : count;
    return archive + littleEndian(endSignature, quint32(0), shownCount, shownCount, isLarge ? elsewhere : end - start,
                                  isLarge ? elsewhere : start, quint16(0));
}

bool isLarge(const QByteArray &archive)
{
    return archive.contains(littleEndian(locatorSignature));
}

std::set<quint32> checksumsIn(const QByteArray &archive)
{
    std::set<quint32> checksums;
    const QByteArray signature = littleEndian(directorySignature);
    for (int place = archive.indexOf(signature); place >= 0; place = archive.indexOf(signature, place + 1))
        checksums.insert(readNumber<quint32>(archive, place + 16));
    return checksums;
}

} // namespace zip
