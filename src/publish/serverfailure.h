#pragma once

/// \file
/// Why an updater cannot go on with what a live server answers.

#include "publish/finding.h"
#include "publish/serveranswer.h"

#include <optional>

namespace freshen::publish {

///@{
/// Told in docs/publishing.md.
inline constexpr FindingKind serverRedirectLessSafe{"server-redirect-less-safe", Severity::Error};
inline constexpr FindingKind serverRedirectLoop{"server-redirect-loop", Severity::Error};
inline constexpr FindingKind serverCertificate{"server-certificate", Severity::Error};
inline constexpr FindingKind serverWithoutTls12{"server-no-tls-1.2", Severity::Error};
inline constexpr FindingKind serverTls{"server-tls", Severity::Error};
inline constexpr FindingKind serverTimeout{"server-timeout", Severity::Error};
inline constexpr FindingKind serverStatus{"server-status", Severity::Error};
inline constexpr FindingKind serverCutOff{"server-cut-off", Severity::Error};
inline constexpr FindingKind serverFailed{"server-failed", Severity::Error};
inline constexpr FindingKind serverEmpty{"server-empty", Severity::Error};
inline constexpr FindingKind serverTooLong{"server-too-long", Severity::Error};
inline constexpr FindingKind serverHtml{"server-html", Severity::Error};
///@}

/// Why an updater fails with \a answer, or fails later because of it. Nothing where it can go on.
[[nodiscard]] std::optional<Finding> failureOf(const ServerAnswer &answer);

} // namespace freshen::publish
