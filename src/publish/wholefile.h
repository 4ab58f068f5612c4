#pragma once

/// \file
/// Files that are there as a whole or not at all. Whoever reads one while it is written, or after the writing program
/// was killed, finds what was there before, or all of the new one.

#include <QByteArray>
#include <QString>

#include <functional>

class QFileDevice;

namespace freshen::publish {

/// Is told how many bytes are done.
using ByteProgress = std::function<void(qint64)>;

/// Writes \a content to \a path, which nobody else writes now. The folder is made where it is missing, and what writers
/// have left there that were killed is removed, but for names such as people give their copies ("file.backup"). Returns
/// why it failed, or an empty text.
[[nodiscard]] QString writeWholeFile(const QString &path, const QByteArray &content);

/// Has \a write write what it likes to the file \a path likewise. It returns why it failed, or an empty text; the file
/// may not be closed by it.
[[nodiscard]] QString writeWholeFile(const QString &path, const std::function<QString(QFileDevice &file)> &write);

/// Copies \a source to \a path likewise, piece by piece.
[[nodiscard]] QString copyWholeFile(const QString &source, const QString &path, const ByteProgress &progress = {});

/// Whether both files can be read and hold the same bytes.
[[nodiscard]] bool haveSameContent(const QString &first, const QString &second, const ByteProgress &progress = {});

} // namespace freshen::publish
