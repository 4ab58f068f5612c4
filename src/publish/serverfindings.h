#pragma once

/// \file
/// What is wrong with the answer of a live server: why an updater cannot go on with it, or what publishers should know
/// of one that it goes on with.

#include "publish/finding.h"
#include "publish/serveranswer.h"

#include <QList>

#include <optional>

namespace freshen::publish {

///@{
/// An updater fails, at once or later. Told in docs/publishing.md.
inline constexpr FindingKind serverRedirectLessSafe{"server-redirect-less-safe", Severity::Error};
inline constexpr FindingKind serverRedirectLoop{"server-redirect-loop", Severity::Error};
inline constexpr FindingKind serverCertificate{"server-certificate", Severity::Error};
inline constexpr FindingKind serverWithoutTls12{"server-no-tls-1.2", Severity::Error};
inline constexpr FindingKind serverTls{"server-tls", Severity::Error};
inline constexpr FindingKind serverTimeout{"server-timeout", Severity::Error};
inline constexpr FindingKind serverStatus{"server-status", Severity::Error};
inline constexpr FindingKind serverCutOff{"server-cut-off", Severity::Error};
inline constexpr FindingKind serverFailed{"server-failed", Severity::Error};
inline constexpr FindingKind serverTooLong{"server-too-long", Severity::Error};
inline constexpr FindingKind serverEmpty{"server-empty", Severity::Error};
inline constexpr FindingKind serverHtml{"server-html", Severity::Error};
///@}

///@{
/// An updater goes on. Told in docs/publishing.md.
inline constexpr FindingKind serverNotCompared{"server-not-compared", Severity::Warning};
inline constexpr FindingKind serverOtherBytes{"server-other-bytes", Severity::Error};
inline constexpr FindingKind serverUnencrypted{"server-unencrypted", Severity::Warning};
inline constexpr FindingKind serverRedirects{"server-redirects", Severity::Note};
inline constexpr FindingKind serverNoLength{"server-no-length", Severity::Warning};
inline constexpr FindingKind serverIndexCached{"server-index-cached", Severity::Warning};
inline constexpr FindingKind serverPackageUncached{"server-package-uncached", Severity::Note};
inline constexpr FindingKind serverCertificateEnds{"server-certificate-ends", Severity::Warning};
///@}

/// Why an updater fails with \a answer, or fails later because of it. Nothing where it can go on.
[[nodiscard]] std::optional<Finding> failureOf(const ServerAnswer &answer);

/// What is worth knowing of \a answer, with which an updater can go on, at the time \a now.
[[nodiscard]] QList<Finding> propertiesOf(const ServerAnswer &answer, const QDateTime &now);

/// For how many seconds caches may answer by themselves where \a cacheControl is the header Cache-Control (RFC 9111,
/// 5.2). None where they decide that.
[[nodiscard]] std::optional<qint64> cacheLifetime(const QByteArray &cacheControl);

} // namespace freshen::publish
