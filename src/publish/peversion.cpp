#include "publish/peversion.h"

#include <QIODevice>
#include <QtEndian>

#include <algorithm>
#include <optional>

namespace freshen::publish {

namespace {

// Whatever a program announces, no more than this is read of it.
constexpr quint32 largestResource = 64 * 1024;
constexpr int mostSections = 96;
constexpr int mostEntries = 4096;

constexpr quint16 dosSignature = 0x5a4d;
constexpr quint32 peSignature = 0x00004550;
constexpr quint16 magic64 = 0x20b;
constexpr quint32 versionResource = 16;
/// In an offset within the resources: it leads to another table.
constexpr quint32 tableFlag = 0x80000000;

/// Where the fields stand.
namespace offset {
constexpr qint64 peHeader = 0x3c;
constexpr qint64 sectionCount = 6;
constexpr qint64 optionalHeaderSize = 20;
constexpr qint64 optionalHeader = 24;
constexpr qint64 resourceDirectory32 = 96 + 2 * 8;
constexpr qint64 resourceDirectory64 = 112 + 2 * 8;
constexpr qint64 sectionSize = 16;
constexpr qint64 sectionAddress = 12;
constexpr qint64 sectionData = 20;
constexpr qint64 tableNames = 12;
constexpr qint64 tableEntries = 16;
} // namespace offset

constexpr qint64 sectionHeaderSize = 40;
constexpr qint64 tableEntrySize = 8;
constexpr qint64 versionHeaderSize = 6;
/// Blocks within a version resource: the resource itself, "StringFileInfo", a language, a text.
constexpr int deepestBlock = 3;

/// The bytes of a program. What lies beyond its end reads as zero.
class Program
{
public:
    explicit Program(QIODevice &device) : m_device(device) {}

    [[nodiscard]] QByteArray bytes(qint64 position, qint64 size) const
    {
        return m_device.seek(position) ? m_device.read(size) : QByteArray();
    }
    template <typename Number>
    [[nodiscard]] Number number(qint64 position) const
    {
        const QByteArray read = bytes(position, sizeof(Number));
        return read.size() == sizeof(Number) ? qFromLittleEndian<Number>(read.constData()) : Number(0);
    }

private:
    QIODevice &m_device;
};

/// Where the headers of \a program begin; nothing where it is no program for Windows.
std::optional<qint64> findHeader(const Program &program)
{
    if (program.number<quint16>(0) != dosSignature)
        return std::nullopt;
    const qint64 header = program.number<quint32>(offset::peHeader);
    return program.number<quint32>(header) == peSignature ? std::optional(header) : std::nullopt;
}

/// Where in the file the byte lies that is at \a address in memory; 0 where it is not in the file.
qint64 positionOf(const Program &program, qint64 header, quint32 address)
{
    const int count = std::min<int>(program.number<quint16>(header + offset::sectionCount), mostSections);
    qint64 section = header + offset::optionalHeader + program.number<quint16>(header + offset::optionalHeaderSize);
    for (int number = 0; number < count; ++number, section += sectionHeaderSize) {
        const auto begin = program.number<quint32>(section + offset::sectionAddress);
        const auto size = program.number<quint32>(section + offset::sectionSize);
        if (address >= begin && address - begin < size)
            return qint64(program.number<quint32>(section + offset::sectionData)) + (address - begin);
    }
    return 0;
}

/// What the entry \a id of the table at \a position leads to, relative to the resources; the first entry where no id is
/// asked for. 0 where there is no such entry.
quint32 findEntry(const Program &program, qint64 position, std::optional<quint32> id)
{
    const int named = program.number<quint16>(position + offset::tableNames);
    const int count = std::min(named + program.number<quint16>(position + offset::tableNames + 2), mostEntries);
    for (int number = 0; number < count; ++number) {
        const qint64 entry = position + offset::tableEntries + number * tableEntrySize;
        if (!id || program.number<quint32>(entry) == *id)
            return program.number<quint32>(entry + 4);
    }
    return 0;
}

/// The bytes of the version resource: of its type the first name, and of that the first language.
QByteArray findVersionResource(const Program &program)
{
    const std::optional<qint64> header = findHeader(program);
    if (!header)
        return {};
    const qint64 optionalHeader = *header + offset::optionalHeader;
    const bool is64 = program.number<quint16>(optionalHeader) == magic64;
    const auto address =
        program.number<quint32>(optionalHeader + (is64 ? offset::resourceDirectory64 : offset::resourceDirectory32));
    const qint64 resources = positionOf(program, *header, address);
    quint32 entry = tableFlag;
    for (const std::optional<quint32> id : {std::optional(versionResource), {}, {}}) {
        if ((entry & tableFlag) == 0)
            return {};
        entry = findEntry(program, resources + (entry & ~tableFlag), id);
    }
    if (resources == 0 || entry == 0 || (entry & tableFlag) != 0)
        return {};
    const qint64 data = positionOf(program, *header, program.number<quint32>(resources + entry));
    return program.bytes(data, std::min(program.number<quint32>(resources + entry + 4), largestResource));
}

/// The blocks of a version resource begin at multiples of four bytes.
qint64 aligned(qint64 position)
{
    return (position + 3) / 4 * 4;
}

quint16 numberAt(const QByteArray &bytes, qint64 position)
{
    return position + 2 <= bytes.size() ? qFromLittleEndian<quint16>(bytes.constData() + position) : quint16(0);
}

/// The text at \a position, up to its zero or to \a end.
QString textAt(const QByteArray &bytes, qint64 position, qint64 end)
{
    QString text;
    for (; position + 2 <= end && numberAt(bytes, position) != 0; position += 2)
        text += QChar(numberAt(bytes, position));
    return text;
}

/// The text \a name among the blocks from \a position to \a end, and, down to \a depth, in them.
QString findText(const QByteArray &bytes, qint64 position, qint64 end, const QString &name, int depth)
{
    while (position + versionHeaderSize <= end) {
        const qint64 blockEnd = std::min<qint64>(position + numberAt(bytes, position), end);
        if (blockEnd < position + versionHeaderSize)
            break;
        const QString key = textAt(bytes, position + versionHeaderSize, blockEnd);
        const qint64 value = aligned(position + versionHeaderSize + (qint64{key.size()} + 1) * 2);
        const bool isText = numberAt(bytes, position + 4) == 1;
        if (key == name)
            return textAt(bytes, value, blockEnd);
        // The value before the inner blocks is binary, so its size is in bytes.
        const qint64 inner = aligned(value + (isText ? 0 : numberAt(bytes, position + 2)));
        QString text = depth > 0 ? findText(bytes, inner, blockEnd, name, depth - 1) : QString();
        if (!text.isEmpty())
            return text;
        position = aligned(blockEnd);
    }
    return {};
}

} // namespace

QString versionText(const QByteArray &resource, const QString &name)
{
    return findText(resource, 0, resource.size(), name, deepestBlock);
}

QString peFileVersion(QIODevice &program)
{
    return versionText(findVersionResource(Program(program)), QStringLiteral("FileVersion")).trimmed();
}

} // namespace freshen::publish
