#pragma once

/// \file
/// What is wrong with the names that a line gives its package: the version text and the type are parts of them.

#include "publish/finding.h"
#include "publish/index.h"

#include <optional>

namespace freshen::publish {

///@{
/// What can be wrong with a name.
inline constexpr FindingKind oddVersion{"odd-version", Severity::Warning};
inline constexpr FindingKind separatorInName{"separator-in-name", Severity::Warning};
inline constexpr FindingKind nameNotStorable{"name-not-storable", Severity::Error};
inline constexpr FindingKind addressDiffers{"address-differs", Severity::Error};
///@}

/// What is wrong with one column of a line.
struct Fault
{
    /// The finding that it is.
    FindingKind kind;
    /// What it is, as a sentence for the publisher.
    QString message;
    /// Where, as an index of the row.
    int position = column::version;
};

/// \a text as messages show it.
[[nodiscard]] QString quoted(const QString &text);

///@{
/// What is wrong with the names of \a line, which has a revision: with the text of its version, with what leads to
/// another folder, with what Windows does not take, and with the address of the package.
[[nodiscard]] std::optional<Fault> checkVersion(const IndexLine &line);
[[nodiscard]] std::optional<Fault> checkSeparators(const IndexLine &line);
[[nodiscard]] std::optional<Fault> checkStoredName(const IndexLine &line);
[[nodiscard]] std::optional<Fault> checkAddress(const IndexLine &line);
///@}

} // namespace freshen::publish
