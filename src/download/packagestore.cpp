#include "download/packagestore.h"

#include <QByteArray>
#include <QDataStream>
#include <QDebug>
#include <QFile>

#include <algorithm>
#include <optional>

namespace {

constexpr int pieceSize = 64 * 1024;

/// A full disk takes a part of \a data without a word; only what is written next is refused with the system's reason.
bool writePiece(QFile &file, const char *data, qint64 size)
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

bool writeLength(QFile &file, qint64 length)
{
    QDataStream stream(&file);
    stream << static_cast<quint32>(length);
    return stream.status() == QDataStream::Ok;
}

/// Why the \a length bytes of \a body are not in \a file; nothing where they are.
std::optional<QString> copyBody(QIODevice &body, qint64 length, QFile &file)
{
    QByteArray piece(pieceSize, Qt::Uninitialized);
    while (length > 0) {
        const qint64 size = body.read(piece.data(), std::min<qint64>(length, piece.size()));
        if (size <= 0)
            return body.errorString();
        if (!writePiece(file, piece.constData(), size))
            return file.errorString();
        length -= size;
    }
    return std::nullopt;
}

} // namespace

bool storePackage(QIODevice &body, const QString &path)
{
    QFile file(path);
    const qint64 length = body.bytesAvailable();
    std::optional<QString> failure;
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || !writeLength(file, length))
        failure = file.errorString();
    else
        failure = copyBody(body, length, file);
    if (!file.flush() && !failure)
        failure = file.errorString();
    if (failure)
        qWarning() << "Cannot store the package in" << path << "-" << *failure;
    return !failure;
}
