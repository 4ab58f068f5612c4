#include "publish/peversion.h"

#include <QtEndian>

#include <algorithm>

namespace freshen::publish {

namespace {

/// A block of a version resource begins with its length, the length of its value, and whether that is a text.
constexpr int headerSize = 6;
/// Blocks within a version resource: the resource itself, "StringFileInfo", a language, a text.
constexpr int deepestBlock = 3;

/// The blocks of a version resource begin at multiples of four bytes.
int aligned(int position)
{
    return (position + 3) / 4 * 4;
}

quint16 numberAt(const QByteArray &bytes, int position)
{
    return position + 2 <= bytes.size() ? qFromLittleEndian<quint16>(bytes.constData() + position) : quint16(0);
}

/// The text at \a position, up to its zero or to \a end.
QString textAt(const QByteArray &bytes, int position, int end)
{
    QString text;
    for (; position + 2 <= end && numberAt(bytes, position) != 0; position += 2)
        text += QChar(numberAt(bytes, position));
    return text;
}

/// The text \a name among the blocks from \a position to \a end, and, down to \a depth, in them.
QString findText(const QByteArray &bytes, int position, int end, const QString &name, int depth)
{
    while (position + headerSize <= end) {
        const int blockEnd = std::min(position + numberAt(bytes, position), end);
        if (blockEnd < position + headerSize)
            break;
        const QString key = textAt(bytes, position + headerSize, blockEnd);
        const int value = aligned(position + headerSize + (key.size() + 1) * 2);
        const bool isText = numberAt(bytes, position + 4) == 1;
        if (key == name)
            return textAt(bytes, value, blockEnd);
        // The value before the inner blocks is binary, so its size is in bytes.
        const int inner = aligned(value + (isText ? 0 : numberAt(bytes, position + 2)));
        QString text = depth > 0 ? findText(bytes, inner, blockEnd, name, depth - 1) : QString();
        if (!text.isEmpty())
            return text;
        position = aligned(blockEnd);
    }
    return {};
}

/// The name of version resources, in UTF-16 with its zero.
QByteArray resourceName()
{
    QByteArray name;
    for (const char letter : "VS_VERSION_INFO")
        name.append(letter).append('\0');
    return name;
}

} // namespace

QString peFileVersion(const QByteArray &program)
{
    if (!program.startsWith("MZ"))
        return {};
    const QByteArray name = resourceName();
    // A program that reads such resources has the name among its texts, too.
    for (int at = program.indexOf(name, headerSize); at >= 0; at = program.indexOf(name, at + 1)) {
        const QByteArray resource = program.mid(at - headerSize, numberAt(program, at - headerSize));
        const QString text = findText(resource, 0, resource.size(), QStringLiteral("FileVersion"), deepestBlock);
        if (!text.isEmpty())
            return text.trimmed();
    }
    return {};
}

} // namespace freshen::publish
