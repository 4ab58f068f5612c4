#pragma once

/// \file
/// Changes of an index. All other bytes stay as they are.

#include "publish/index.h"

namespace freshen::publish {

/// The line that holds \a row. Limits that are empty at its end are left out.
[[nodiscard]] QString lineOf(VersionRow row);

/// The bytes of \a index with \a line at its end.
[[nodiscard]] QByteArray withLine(const Index &index, const QString &line);

/// The bytes of \a index with \a line in the place of line \a number.
[[nodiscard]] QByteArray withReplacedLine(const Index &index, int number, const QString &line);

/// The bytes of \a index without the lines \a numbers.
[[nodiscard]] QByteArray withoutLines(const Index &index, const QList<int> &numbers);

/// The lines of \a index that have the revision \a revision.
[[nodiscard]] QList<IndexLine> linesWith(const Index &index, qint32 revision);

} // namespace freshen::publish
