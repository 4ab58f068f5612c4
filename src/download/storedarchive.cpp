#include "download/storedarchive.h"

#include "download/packagestore.h"

#include <QByteArray>
#include <QtEndian>

#include <limits>

namespace freshen {

namespace {

/// Signature of the record that ends an archive (PKWARE APPNOTE 4.3.16).
constexpr char endRecord[] = "PK\005\006";

} // namespace

StoredArchive::StoredArchive(const QString &path) : m_file(path) {}

bool StoredArchive::open(OpenMode mode)
{
    // This device buffers, so the file need not.
    if (mode != ReadOnly || !m_file.open(ReadOnly | Unbuffered))
        return false;
    const QByteArray begin = m_file.read(packageLengthSize + qstrlen(endRecord));
    // The length has 32 bits: it says of a package from 4 GiB on what they hold of it.
    const auto length = static_cast<quint32>(m_file.size() - packageLengthSize);
    // An archive without entries is nothing but its end record, which the reader does not find at the very start.
    const bool hasLength = begin.size() > packageLengthSize && !begin.endsWith(endRecord) &&
                           qFromBigEndian<quint32>(begin.constData()) == length;
    m_start = hasLength ? packageLengthSize : 0;
    return m_file.seek(m_start) && QIODevice::open(mode);
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
    return exists && QIODevice::seek(position) && m_file.seek(m_start + position);
}

qint64 StoredArchive::size() const
{
    return m_file.size() - m_start;
}

qint64 StoredArchive::readData(char *data, qint64 maximum)
{
    return m_file.read(data, maximum);
}

qint64 StoredArchive::writeData(const char *data, qint64 size)
{
    Q_UNUSED(data)
    Q_UNUSED(size)
    return -1;
}

} // namespace freshen
