#pragma once

/// \file
/// What publishers should know of an answer that an updater goes on with.

#include "publish/finding.h"
#include "publish/serveranswer.h"

#include <QList>

#include <optional>

namespace freshen::publish {

///@{
/// Told in docs/publishing.md.
inline constexpr FindingKind serverUnencrypted{"server-unencrypted", Severity::Warning};
inline constexpr FindingKind serverRedirects{"server-redirects", Severity::Note};
inline constexpr FindingKind serverCertificateEnds{"server-certificate-ends", Severity::Warning};
inline constexpr FindingKind serverNotCompared{"server-not-compared", Severity::Warning};
inline constexpr FindingKind serverOtherBytes{"server-other-bytes", Severity::Error};
inline constexpr FindingKind serverNoLength{"server-no-length", Severity::Warning};
inline constexpr FindingKind serverIndexCached{"server-index-cached", Severity::Warning};
inline constexpr FindingKind serverPackageUncached{"server-package-uncached", Severity::Note};
///@}

/// What is worth knowing of \a answer at the time \a now.
[[nodiscard]] QList<Finding> propertiesOf(const ServerAnswer &answer, const QDateTime &now);

/// For how many seconds caches may answer by themselves where \a cacheControl is the header Cache-Control (RFC 9111,
/// 5.2). None where they decide that.
[[nodiscard]] std::optional<qint64> cacheLifetime(const QByteArray &cacheControl);

} // namespace freshen::publish
