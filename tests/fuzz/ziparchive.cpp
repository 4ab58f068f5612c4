#include "fuzz/ziparchive.h"

#include <QList>
#include <QtEndian>

#include <algorithm>
#include <array>
#include <vector>
#include <zlib.h>

namespace zip {

namespace {

constexpr quint32 localSignature = 0x04034b50;
constexpr quint32 directorySignature = 0x02014b50;
constexpr quint32 endSignature = 0x06054b50;
constexpr quint32 largeEndSignature = 0x06064b50;
constexpr quint32 locatorSignature = 0x07064b50;
constexpr quint32 descriptorSignature = 0x08074b50;

constexpr int localSize = 30;
constexpr int directorySize = 46;
constexpr quint16 largeFieldId = 1;
constexpr quint16 unicodeNameId = 0x7075;
constexpr quint16 hasDescriptor = 1 << 3;
constexpr quint16 stored = 0;
constexpr quint16 deflated = 8;
constexpr int mostEntries = 12;
constexpr int largestContent = 1500;

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

const std::array<const char *, 34> oddNames = {{
    "../evil",
    "..\\evil",
    "a/../../evil",
    "/tmp/evil",
    "C:/evil",
    "C:evil",
    "\\\\server\\share\\a",
    "a:stream",
    "nul",
    "COM1.txt",
    "a/.. /evil",
    "...",
    ".",
    "./",
    "a/./b",
    "",
    "/",
    "a/",
    "a/b/c/",
    "a//b",
    "A/File",
    "a/file",
    "a\\b",
    "a\n",
    "gr\xc3\xb6\xc3\x9f"
    "e",
    "\xff\xfe",
    "gr\x94\xe1"
    "e",
    "%1",
    "~",
    "a/../b",
    "a/..",
    "a/file/below",
    ".hidden/x",
    "Tavlopro/Tavlopro.exe",
}};

template <typename Number>
Number readNumber(const QByteArray &bytes, int place)
{
    if (place < 0 || place > bytes.size() - static_cast<int>(sizeof(Number)))
        return 0;
    return qFromLittleEndian<Number>(bytes.constData() + place);
}

template <typename Number>
void append(QByteArray &bytes, Number number)
{
    const Number little = qToLittleEndian(number);
    bytes.append(reinterpret_cast<const char *>(&little), sizeof little);
}

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

QByteArray compressed(const QByteArray &content)
{
    // Without the length that Qt puts before it and zlib's own head and checksum.
    const QByteArray bytes = qCompress(content);
    return bytes.mid(6, bytes.size() - 10);
}

void setContent(Entry &entry, const QByteArray &content, bool isCompressed)
{
    entry.method = isCompressed ? deflated : stored;
    entry.data = isCompressed ? compressed(content) : content;
    entry.size = static_cast<quint64>(content.size());
    entry.checksum = checksum(content);
}

/// What \a archive's directory names, as far as it can be found.
QList<Entry> entriesOf(const QByteArray &archive)
{
    QList<Entry> entries;
    QByteArray signature;
    append(signature, directorySignature);
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

void appendLocal(QByteArray &archive, const Entry &entry)
{
    const auto dataSize = static_cast<quint32>(entry.data.size());
    const bool describedBelow = (entry.flags & hasDescriptor) != 0;
    append(archive, localSignature);
    append(archive, quint16(entry.isLarge ? 45 : 20));
    append(archive, entry.flags);
    append(archive, entry.method);
    append(archive, quint32(0x5ca16000));
    append(archive, describedBelow ? 0U : entry.checksum);
    append(archive, describedBelow ? 0U : dataSize);
    append(archive, describedBelow ? 0U : static_cast<quint32>(entry.size));
    append(archive, static_cast<quint16>(entry.localName.size()));
    append(archive, quint16(0));
    archive += entry.localName + entry.data;
    if (describedBelow) {
        append(archive, descriptorSignature);
        append(archive, entry.checksum);
        append(archive, dataSize);
        append(archive, static_cast<quint32>(entry.size));
    }
}

void appendDirectory(QByteArray &archive, const Entry &entry, quint32 offset)
{
    QByteArray extra = entry.extra;
    if (entry.isLarge) {
        append(extra, largeFieldId);
        append(extra, quint16(24));
        append(extra, entry.size);
        append(extra, static_cast<quint64>(entry.data.size()));
        append(extra, static_cast<quint64>(offset));
    }
    append(archive, directorySignature);
    append(archive, entry.madeBy);
    append(archive, quint16(entry.isLarge ? 45 : 20));
    append(archive, entry.flags);
    append(archive, entry.method);
    append(archive, quint32(0x5ca16000));
    append(archive, entry.checksum);
    append(archive, entry.isLarge ? 0xffffffffU : static_cast<quint32>(entry.data.size()));
    append(archive, entry.isLarge ? 0xffffffffU : static_cast<quint32>(entry.size));
    append(archive, static_cast<quint16>(entry.name.size()));
    append(archive, static_cast<quint16>(extra.size()));
    append(archive, quint16(0));
    append(archive, quint32(0));
    append(archive, entry.attributes);
    append(archive, entry.isLarge ? 0xffffffffU : offset);
    archive += entry.name + extra;
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
        append(archive, largeEndSignature);
        append(archive, quint64(44));
        append(archive, quint32(45 << 16 | 45));
        append(archive, quint64(0));
        append(archive, static_cast<quint64>(count));
        append(archive, static_cast<quint64>(count));
        append(archive, static_cast<quint64>(end - start));
        append(archive, static_cast<quint64>(start));
        append(archive, locatorSignature);
        append(archive, quint32(0));
        append(archive, static_cast<quint64>(end));
        append(archive, quint32(1));
    }
    append(archive, endSignature);
    append(archive, quint32(0));
    append(archive, isLarge ? quint16(0xffff) : count);
    append(archive, isLarge ? quint16(0xffff) : count);
    append(archive, isLarge ? 0xffffffffU : end - start);
    append(archive, isLarge ? 0xffffffffU : start);
    append(archive, quint16(0));
    return archive;
}

QByteArray changedBytes(QByteArray bytes, ChangeBytes changeBytes, int room)
{
    const int size = bytes.size();
    bytes.resize(size + room);
    const std::size_t changed = changeBytes(reinterpret_cast<std::uint8_t *>(bytes.data()),
                                            static_cast<std::size_t>(size), static_cast<std::size_t>(bytes.size()));
    bytes.truncate(static_cast<int>(changed));
    return bytes;
}

Entry newEntry(Random &random)
{
    Entry entry;
    entry.name = oddNames.at(random() % oddNames.size());
    entry.localName = entry.name;
    const std::array<int, 6> sizes = {0, 1, 20, 300, 4096, 8193};
    setContent(entry, QByteArray(sizes.at(random() % sizes.size()), static_cast<char>('a' + random() % 3)),
               random() % 4 != 0);
    return entry;
}

/// An extra field that claims another name, sizes or a length of its own.
QByteArray oddExtra(const Entry &entry, Random &random)
{
    QByteArray extra;
    QByteArray content;
    if (random() % 2 == 0) {
        content += '\1';
        append(content, checksum(entry.name));
        content += oddNames.at(random() % oddNames.size());
        append(extra, unicodeNameId);
    } else {
        for (unsigned int i = random() % 5; i > 0; --i)
            append(content, quint64(random() % 3 == 0 ? ~quint64(0) >> (random() % 64) : random() % 5000));
        append(extra, random() % 4 == 0 ? static_cast<quint16>(random()) : largeFieldId);
    }
    append(extra, random() % 4 == 0 ? static_cast<quint16>(random()) : static_cast<quint16>(content.size()));
    return extra + content;
}

void changeEntry(Entry &entry, Random &random, ChangeBytes changeBytes)
{
    const std::array<quint16, 8> methods = {stored, deflated, 1, 9, 12, 14, 93, 99};
    const std::array<quint16, 8> systems = {0, 1, 3, 7, 10, 11, 19, 255};
    switch (random() % 13) {
    case 0:
        entry.name = oddNames.at(random() % oddNames.size());
        entry.localName = entry.name;
        break;
    case 1:
        entry.localName = oddNames.at(random() % oddNames.size());
        break;
    case 2:
        entry.name = changedBytes(entry.name, changeBytes, 20);
        entry.localName = entry.name;
        break;
    case 3:
        entry.name = entry.localName = QByteArray(static_cast<int>(random() % 600), 'n') + '/' + entry.name;
        break;
    case 4:
        setContent(entry, changedBytes(entry.method == deflated ? inflated(entry.data) : entry.data, changeBytes, 50),
                   random() % 2 == 0);
        break;
    case 5:
        // The checksum of the changed bytes, or not.
        entry.data = changedBytes(entry.data, changeBytes, 10);
        if (random() % 2 == 0) {
            const QByteArray content = entry.method == deflated ? inflated(entry.data) : entry.data;
            entry.checksum = checksum(content);
            entry.size = static_cast<quint64>(content.size());
        }
        break;
    case 6:
        entry.method = methods.at(random() % methods.size());
        break;
    case 7:
        entry.flags = static_cast<quint16>(entry.flags ^ 1U << random() % 16);
        break;
    case 8:
        entry.madeBy = static_cast<quint16>(systems.at(random() % systems.size()) << 8 | 20);
        break;
    case 9:
        // Any kind of file, any permissions: a link, a device, nothing at all.
        entry.attributes = static_cast<quint32>((random() % 16) << 28 | (random() & 07777U) << 16 | (random() & 0xffU));
        break;
    case 10:
        entry.isLarge = !entry.isLarge;
        break;
    case 11:
        entry.extra = random() % 3 == 0 ? QByteArray() : oddExtra(entry, random);
        break;
    default:
        entry.size = random() % 2 == 0 ? random() : ~quint64(0) >> random() % 64;
        break;
    }
}

void changeEntries(QList<Entry> &entries, Random &random, ChangeBytes changeBytes)
{
    const int index = entries.isEmpty() ? 0 : static_cast<int>(random() % static_cast<unsigned int>(entries.size()));
    const unsigned int way = entries.isEmpty() ? 0 : random() % 8;
    if (way == 0 && entries.size() < mostEntries)
        entries.insert(index, newEntry(random));
    else if (way == 1)
        entries.removeAt(index);
    else if (way == 2 && entries.size() < mostEntries)
        entries.append(entries.at(index));
    else if (way == 3)
        entries.move(index, 0);
    else if (!entries.isEmpty())
        changeEntry(entries[index], random, changeBytes);
}

/// A number that is likely to be read in another way than it was meant.
quint64 oddNumber(Random &random, quint64 present)
{
    switch (random() % 6) {
    case 0:
        return present + 1;
    case 1:
        return present - 1;
    case 2:
        return 0;
    case 3:
        return ~quint64(0) >> random() % 64;
    case 4:
        return present ^ quint64(1) << random() % 64;
    default:
        return random() % 5000;
    }
}

} // namespace

QByteArray rebuilt(const QByteArray &archive, Random &random, ChangeBytes changeBytes)
{
    QList<Entry> entries = entriesOf(archive);
    for (unsigned int changes = 1 + random() % 2; changes > 0; --changes)
        changeEntries(entries, random, changeBytes);
    QByteArray signature;
    append(signature, locatorSignature);
    const bool wasLarge = archive.contains(signature);
    return archiveOf(entries, random() % 8 == 0 ? !wasLarge : wasLarge);
}

void changeField(QByteArray &archive, Random &random)
{
    std::vector<std::pair<int, const Record *>> found;
    for (const Record &record : records) {
        QByteArray signature;
        append(signature, record.signature);
        for (int place = archive.indexOf(signature); place >= 0; place = archive.indexOf(signature, place + 4))
            found.emplace_back(place, &record);
    }
    if (found.empty())
        return;
    const auto &[place, record] = found.at(random() % found.size());
    const Field &field = record->fields.at(random() % record->fields.size());
    const int begin = place + field.place;
    if (begin + field.size > archive.size())
        return;
    quint64 number = 0;
    for (int i = field.size - 1; i >= 0; --i)
        number = number << 8 | static_cast<quint8>(archive.at(begin + i));
    number = oddNumber(random, number);
    for (int i = 0; i < field.size; ++i, number >>= 8)
        archive[begin + i] = static_cast<char>(number & 0xff);
}

std::set<quint32> checksumsIn(const QByteArray &archive)
{
    std::set<quint32> checksums;
    QByteArray signature;
    append(signature, directorySignature);
    for (int place = archive.indexOf(signature); place >= 0; place = archive.indexOf(signature, place + 1))
        checksums.insert(readNumber<quint32>(archive, place + 16));
    return checksums;
}

quint32 checksum(const QByteArray &bytes)
{
    return static_cast<quint32>(
        ::crc32(0, reinterpret_cast<const Bytef *>(bytes.constData()), static_cast<uInt>(bytes.size())));
}

} // namespace zip
