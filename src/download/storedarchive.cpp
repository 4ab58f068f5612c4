#include "download/storedarchive.h"

#include "download/packagestore.h"

#include <QByteArray>
#include <QtEndian>

#include <algorithm>
#include <limits>

namespace freshen {

namespace {

/// Signature of the record that ends an archive (PKWARE APPNOTE 4.3.16).
constexpr char endRecord[] = "PK\005\006";

constexpr int blockSize = 64 * 1024;

} // namespace

StoredArchive::StoredArchive(const QString &path) : m_file(path) {}

bool StoredArchive::open(OpenMode mode)
{
    if (mode != ReadOnly || !m_file.open(ReadOnly | Unbuffered))
        return false;
    const QByteArray begin = m_file.read(packageLengthSize + qstrlen(endRecord));
    // The length has 32 bits: it says of a package from 4 GiB on what they hold of it.
    const auto length = static_cast<quint32>(m_file.size() - packageLengthSize);
    // An archive without entries is nothing but its end record, which the reader does not find at the very start.
    const bool hasLength = begin.size() > packageLengthSize && !begin.endsWith(endRecord) &&
                           qFromBigEndian<quint32>(begin.constData()) == length;
    m_start = hasLength ? packageLengthSize : 0;
    // The blocks are the buffer.
    m_blocks.clear();
    return QIODevice::open(mode | Unbuffered);
}

void StoredArchive::close()
{
    QIODevice::close();
    m_file.close();
}

bool StoredArchive::seek(qint64 position)
{
    // The archive's own records may ask for any position.
    const bool exists = position <= std::numeric_limits<qint64>::max() - m_start;
    return exists && QIODevice::seek(position);
}

qint64 StoredArchive::size() const
{
    return m_file.size() - m_start;
}

qint64 StoredArchive::readData(char *data, qint64 maximum)
{
    qint64 count = 0;
    while (count < maximum) {
        const qint64 position = m_start + pos() + count;
        const QByteArray &block = blockAt(position / blockSize);
        const qint64 offset = position % blockSize;
        const qint64 size = std::min(maximum - count, block.size() - offset);
        if (size <= 0)
            break;
        std::copy_n(block.constData() + offset, size, data + count);
        count += size;
    }
    return count;
}

qint64 StoredArchive::writeData(const char *data, qint64 size)
{
    Q_UNUSED(data)
    Q_UNUSED(size)
    return -1;
}

const QByteArray &StoredArchive::blockAt(qint64 number)
{
    if (const QByteArray *known = m_blocks.object(number))
        return *known;
    auto *block = new QByteArray;
    if (m_file.seek(number * blockSize))
        *block = m_file.read(blockSize);
    m_blocks.insert(number, block);
    return *m_blocks.object(number);
}

} // namespace freshen
