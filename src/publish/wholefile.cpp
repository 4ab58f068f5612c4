#include "publish/wholefile.h"

#include "download/packagestore.h"
#include "publish/disksync.h"
#include "publish/failure.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSaveFile>

namespace freshen::publish {

namespace {

constexpr qint64 pieceSize = 1 << 20;

/// Copies the next piece of \a source to \a target. False at its end, and where either fails.
bool copyPiece(QFile &source, QFileDevice &target)
{
    const QByteArray piece = source.read(pieceSize);
    return !piece.isEmpty() && writeAll(target, piece.constData(), piece.size());
}

/// Gives what was written to \a file its name. Without that it is gone with the object.
QString finish(QSaveFile &file)
{
    if (file.error() != QFileDevice::NoError || !file.flush())
        return failureOf(file);
    if (!syncFile(file))
        return failureAt(file.fileName(), qt_error_string());
    if (!file.commit())
        return failureOf(file);
    syncFolder(QFileInfo(file.fileName()).path());
    return {};
}

/// Removes what writers of \a path have left that were killed.
void removeLeftovers(const QString &path)
{
    // The names that QSaveFile gives its files until they are complete, but for those that people give their copies,
    // such as "old.txt.backup".
    const QFileInfo file(path);
    const QRegularExpression name(QLatin1Char('^') + QRegularExpression::escape(file.fileName()) +
                                  QLatin1String("\\.(?=.[a-z]*[A-Z])(?=[A-Z]*[a-z])[A-Za-z]{6}$"));
    QDir folder(file.path());
    for (const QString &leftover : folder.entryList(QDir::Files | QDir::Hidden).filter(name))
        folder.remove(leftover);
}

/// Opens \a file for its new content.
bool open(QSaveFile &file)
{
    QDir().mkpath(QFileInfo(file.fileName()).path());
    removeLeftovers(file.fileName());
    return file.open(QIODevice::WriteOnly);
}

} // namespace

QString writeWholeFile(const QString &path, const std::function<QString(QFileDevice &file)> &write)
{
    QSaveFile file(path);
    if (!open(file))
        return failureOf(file);
    const QString reason = write(file);
    return reason.isEmpty() ? finish(file) : reason;
}

QString writeWholeFile(const QString &path, const QByteArray &content)
{
    return writeWholeFile(path, [&content](QFileDevice &file) {
        return writeAll(file, content.constData(), content.size()) ? QString() : failureOf(file);
    });
}

QString copyWholeFile(const QString &source, const QString &path, const ByteProgress &progress)
{
    QFile from(source);
    if (!from.open(QIODevice::ReadOnly))
        return failureOf(from);
    return writeWholeFile(path, [&](QFileDevice &to) {
        while (copyPiece(from, to)) {
            if (progress)
                progress(from.pos());
        }
        return from.error() == QFileDevice::NoError ? QString() : failureOf(from);
    });
}

bool haveSameContent(const QString &first, const QString &second, const ByteProgress &progress)
{
    QFile one(first);
    QFile other(second);
    if (!one.open(QIODevice::ReadOnly) || !other.open(QIODevice::ReadOnly) || one.size() != other.size())
        return false;
    while (!one.atEnd()) {
        const QByteArray piece = one.read(pieceSize);
        if (piece.isEmpty() || piece != other.read(pieceSize))
            return false;
        if (progress)
            progress(one.pos());
    }
    return true;
}

} // namespace freshen::publish
