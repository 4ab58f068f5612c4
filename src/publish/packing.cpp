#include "publish/packing.h"

#include "publish/failure.h"

#include <QFile>
#include <QRegularExpression>
#include <quazip/quazip.h>
#include <quazip/quazipfile.h>
#include <quazip/quazipnewinfo.h>

#include <algorithm>

namespace freshen::publish {

namespace {

constexpr qint64 pieceSize = qint64{1024} * 1024;
constexpr int compressionLevel = 6;
/// From here on, sizes and positions may not fit into the fields of 32 bits.
constexpr qint64 largestPlainArchive = 0xf0000000;

/// What Windows starts can be started wherever it is unpacked. Whether it can be here differs between disks.
QFile::Permissions permissionsOf(const QString &name)
{
    static const QRegularExpression startable(QStringLiteral("(/|\\.(exe|com|bat|cmd))$"),
                                              QRegularExpression::CaseInsensitiveOption);
    const QFile::Permissions file = QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther;
    const QFile::Permissions start = QFile::ExeOwner | QFile::ExeGroup | QFile::ExeOther;
    return startable.match(name).hasMatch() ? file | start : file;
}

QuaZipNewInfo headerOf(const QString &name, const QDateTime &time)
{
    QuaZipNewInfo header(QLatin1String(topFolderName) + QLatin1Char('/') + name);
    header.dateTime = time;
    header.setPermissions(permissionsOf(header.name));
    return header;
}

/// Writes packages entry by entry.
class Packer
{
public:
    Packer(QFileDevice &device, qint64 size, const ByteProgress &progress)
        : m_device(device), m_archive(&device), m_progress(progress)
    {
        m_archive.setAutoClose(false);
        m_archive.setUtf8Enabled(true);
        m_archive.setZip64Enabled(size >= largestPlainArchive);
    }
    [[nodiscard]] bool open()
    {
        return m_archive.open(QuaZip::mdCreate);
    }
    /// Returns why \a item could not be added, or an empty text.
    [[nodiscard]] QString add(const PackedItem &item, const QDateTime &time)
    {
        QuaZipFile entry(&m_archive);
        const bool isFolder = item.name.isEmpty() || item.name.endsWith(QLatin1Char('/'));
        // With the most memory that zlib can use, 400 KiB, it takes a tenth less time.
        if (!entry.open(QIODevice::WriteOnly, headerOf(item.name, time), nullptr, 0, isFolder ? 0 : Z_DEFLATED,
                        compressionLevel, false, -MAX_WBITS, MAX_MEM_LEVEL))
            return failure();
        QString reason = isFolder ? QString() : copy(item, entry);
        entry.close();
        return reason.isEmpty() && entry.getZipError() != ZIP_OK ? failure() : reason;
    }
    [[nodiscard]] bool close()
    {
        m_archive.close();
        return m_archive.getZipError() == ZIP_OK;
    }
    [[nodiscard]] QString failure() const
    {
        return failureOf(m_device);
    }

private:
    [[nodiscard]] QString copy(const PackedItem &item, QuaZipFile &entry)
    {
        QFile file(item.path);
        if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
            return failureOf(file);
        for (QByteArray piece = file.read(pieceSize); !piece.isEmpty(); piece = file.read(pieceSize)) {
            if (entry.write(piece) != piece.size())
                return failure();
            m_done += piece.size();
            m_progress(m_done);
        }
        return file.error() == QFileDevice::NoError ? QString() : failureOf(file);
    }

    QFileDevice &m_device;
    QuaZip m_archive;
    const ByteProgress &m_progress;
    qint64 m_done = 0;
};

} // namespace

std::optional<QDateTime> packingTime(const QString &epoch)
{
    // The format counts the years from 1980 in seven bits.
    const QDateTime first(QDate(1980, 1, 1), QTime(0, 0), Qt::UTC);
    const QDateTime last(QDate(2107, 12, 31), QTime(23, 59, 58), Qt::UTC);
    if (epoch.isEmpty())
        return first;
    bool isNumber = false;
    const qint64 seconds = epoch.toLongLong(&isNumber);
    if (!isNumber)
        return std::nullopt;
    return QDateTime::fromSecsSinceEpoch(std::clamp(seconds, first.toSecsSinceEpoch(), last.toSecsSinceEpoch()),
                                         Qt::UTC);
}

QString writePackage(const QString &path, const QList<PackedItem> &items, const QDateTime &time,
                     const ByteProgress &progress)
{
    return writeWholeFile(path, [&](QFileDevice &device) {
        qint64 size = 0;
        for (const PackedItem &item : items)
            size += item.size;
        Packer packer(device, size, progress);
        if (!packer.open())
            return packer.failure();
        // The folder at the top is an entry as well.
        for (const PackedItem &item : QList<PackedItem>{{}} + items) {
            if (QString reason = packer.add(item, time); !reason.isEmpty())
                return reason;
        }
        return packer.close() ? QString() : packer.failure();
    });
}

} // namespace freshen::publish
