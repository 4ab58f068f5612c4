#pragma once

/// \file
/// What is wrong with one line of an index, whatever stands in the others.

#include "publish/finding.h"
#include "publish/index.h"

#include <QList>

namespace freshen::publish {

///@{
/// What can be wrong with a line.
inline constexpr FindingKind unreadableLine{"unreadable-line", Severity::Error};
inline constexpr FindingKind revisionTooLarge{"revision-too-large", Severity::Error};
inline constexpr FindingKind unknownType{"unknown-type", Severity::Error};
inline constexpr FindingKind blanksAroundType{"blanks-around-type", Severity::Error};
inline constexpr FindingKind testForEverybody{"test-for-everybody", Severity::Error};
inline constexpr FindingKind hiddenFromList{"hidden-from-list", Severity::Warning};
inline constexpr FindingKind limitIsNoNumber{"limit-is-no-number", Severity::Error};
inline constexpr FindingKind limitIgnoresRest{"limit-ignores-rest", Severity::Warning};
inline constexpr FindingKind limitMetByNobody{"limit-met-by-nobody", Severity::Error};
inline constexpr FindingKind referenceIsNoNumber{"reference-is-no-number", Severity::Warning};
inline constexpr FindingKind labelHidesType{"label-hides-type", Severity::Note};
///@}

/// The findings of \a line, of the index \a file.
[[nodiscard]] QList<Finding> checkLine(const IndexLine &line, const QString &file);

} // namespace freshen::publish
