#include "download/packagestore.h"

#include <QByteArray>
#include <QDataStream>
#include <QDebug>
#include <QFile>

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

bool writeAll(QIODevice &body, QFile &file)
{
    QDataStream stream(&file);
    stream << static_cast<quint32>(body.bytesAvailable());
    QByteArray piece(pieceSize, Qt::Uninitialized);
    while (true) {
        const qint64 size = body.read(piece.data(), piece.size());
        if (size <= 0)
            return stream.status() == QDataStream::Ok;
        if (!writePiece(file, piece.constData(), size))
            return false;
    }
}

} // namespace

bool storePackage(QIODevice &body, const QString &path)
{
    QFile file(path);
    const bool isStored = file.open(QIODevice::WriteOnly | QIODevice::Truncate) && writeAll(body, file) && file.flush();
    if (!isStored)
        qWarning() << "Cannot store the package in" << path << "-" << file.errorString();
    return isStored;
}
