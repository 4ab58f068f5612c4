#pragma once

/// \file
/// Commands that are told a revision.

#include "publish/indexchange.h"

#include <QList>

#include <optional>

namespace freshen::publish {

/// The lines that have the revision which is the command's argument. \a change has begun. Where there are none, the
/// report says so, and nothing is to be done.
[[nodiscard]] QList<IndexLine> linesOfArgument(const IndexChange &change, Context &context);

/// Lets the age of the packages \a names count from now: nobody who reads the index asks for them from now on, but who
/// has read it before still may.
void restartAge(const DocumentRoot &root, const QStringList &names);

} // namespace freshen::publish
