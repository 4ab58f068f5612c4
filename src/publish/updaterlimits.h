#pragma once

/// \file
/// The steps of an index: lines that only updaters of some revision or a later one may install.

#include "publish/finding.h"
#include "publish/index.h"

#include <QList>

namespace freshen::publish {

/// What can be wrong with a step, besides a limit that nobody meets at all.
inline constexpr FindingKind limitWithoutStep{"limit-without-step", Severity::Warning};

/// The lines of \a index, which is called \a file, that neither \a updater, which users have, nor one that the other
/// lines bring them to may install.
[[nodiscard]] QList<Finding> checkUpdaterLimits(const Index &index, const QString &file, qint32 updater);

} // namespace freshen::publish
