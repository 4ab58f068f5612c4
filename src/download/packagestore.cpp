#include "download/packagestore.h"

#include <QByteArray>
#include <QDataStream>
#include <QDebug>
#include <QFile>

#include <algorithm>

namespace freshen {

namespace {

constexpr int chunkSize = 64 * 1024;

bool writeLength(QFile &file, qint64 length)
{
    QDataStream stream(&file);
    stream << static_cast<quint32>(length);
    return stream.status() == QDataStream::Ok;
}

/// Copies \a length bytes of \a body to \a file. Returns the device that failed, which knows the reason; nullptr where
/// neither did.
const QIODevice *copyBody(QIODevice &body, qint64 length, QFile &file)
{
    QByteArray chunk(chunkSize, Qt::Uninitialized);
    while (length > 0) {
        const qint64 size = body.read(chunk.data(), std::min<qint64>(length, chunk.size()));
        if (size <= 0)
            return &body;
        if (!writeAll(file, chunk.constData(), size))
            return &file;
        length -= size;
    }
    return file.flush() ? nullptr : &file;
}

} // namespace

bool writeAll(QIODevice &file, const char *data, qint64 size)
{
    while (size > 0) {
        const qint64 written = file.write(data, size);
        if (written <= 0)
            return false;
        data += written;
        size -= written;
    }
    return true;
}

bool storePackage(QIODevice &body, const QString &path)
{
    QFile file(path);
    const qint64 length = body.bytesAvailable();
    const bool isBegun = file.open(QIODevice::WriteOnly | QIODevice::Truncate) && writeLength(file, length);
    const QIODevice *failed = isBegun ? copyBody(body, length, file) : &file;
    if (failed != nullptr)
        qWarning() << "Cannot store the package in" << path << "-" << failed->errorString();
    return failed == nullptr;
}

} // namespace freshen
