#pragma once

/// \file
/// What somebody expects of an index: lines as a preview writes them, of which the list may be left out. Empty lines
/// and those that start with "#" say nothing.

#include "publish/preview.h"

namespace freshen::publish {

/// An expectation is not met.
inline constexpr FindingKind expectationNotMet{"expectation-not-met", Severity::Error};

/// Compares \a text, the text of an index, with \a expectations, the content of \a file. None where a line is no
/// expectation; \a error then says which.
[[nodiscard]] std::optional<QList<Finding>> checkExpectations(const QString &text, const QByteArray &expectations,
                                                              const QString &file,
                                                              const PackagedUpdater &packagedUpdater, QString &error);

} // namespace freshen::publish
