#include "fuzz/zipchanges.h"

#include "fuzz/ziparchive.h"

#include <array>
#include <utility>
#include <vector>

namespace zip {

namespace {

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
        content += littleEndian(checksum(entry.name));
        content += oddNames.at(random() % oddNames.size());
        extra += littleEndian(unicodeNameId);
    } else {
        for (unsigned int i = random() % 5; i > 0; --i)
            content += littleEndian(quint64(random() % 3 == 0 ? ~quint64(0) >> (random() % 64) : random() % 5000));
        extra += littleEndian(random() % 4 == 0 ? static_cast<quint16>(random()) : largeFieldId);
    }
    extra += littleEndian(random() % 4 == 0 ? static_cast<quint16>(random()) : static_cast<quint16>(content.size()));
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
        setContent(entry, changedBytes(contentOf(entry), changeBytes, 50), random() % 2 == 0);
        break;
    case 5:
        // The checksum of the changed bytes, or not.
        entry.data = changedBytes(entry.data, changeBytes, 10);
        if (random() % 2 == 0) {
            const QByteArray content = contentOf(entry);
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
    const bool wasLarge = isLarge(archive);
    return archiveOf(entries, random() % 8 == 0 ? !wasLarge : wasLarge);
}

void changeField(QByteArray &archive, Random &random)
{
    std::vector<std::pair<int, const Record *>> found;
    for (const Record &record : records) {
        const QByteArray signature = littleEndian(record.signature);
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

} // namespace zip
