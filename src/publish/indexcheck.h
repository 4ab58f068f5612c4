#pragma once

/// \file
/// What is wrong with an index, apart from its packages.

#include "publish/audience.h"
#include "publish/finding.h"
#include "publish/index.h"

#include <QList>

namespace freshen::publish {

///@{
/// What can be wrong with an index as a whole.
inline constexpr FindingKind noVersions{"no-versions", Severity::Error};
inline constexpr FindingKind zeroByte{"zero-byte", Severity::Error};
inline constexpr FindingKind carriageReturn{"carriage-return", Severity::Warning};
inline constexpr FindingKind notUtf8{"not-utf-8", Severity::Error};
inline constexpr FindingKind duplicateRevision{"duplicate-revision", Severity::Warning};
inline constexpr FindingKind duplicateOfOtherType{"duplicate-of-other-type", Severity::Error};
inline constexpr FindingKind fixBeatsNewer{"fix-beats-newer", Severity::Warning};
inline constexpr FindingKind listOutOfOrder{"list-out-of-order", Severity::Warning};
inline constexpr FindingKind notNewer{"not-newer", Severity::Note};
///@}

/// The findings of \a index, which is called \a file, and of its lines. What depends on who reads is found for
/// \a audience.
[[nodiscard]] QList<Finding> checkIndex(const Index &index, const QString &file, const Audience &audience);

} // namespace freshen::publish
