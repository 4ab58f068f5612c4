#pragma once

/// \file
/// What has to be copied to another server folder, and in which order.

#include "publish/documentroot.h"
#include "publish/finding.h"
#include "publish/index.h"
#include "publish/wholefile.h"

#include <QList>

namespace freshen::publish {

/// Told in docs/publishing.md.
inline constexpr FindingKind publishedOtherBytes{"published-other-bytes", Severity::Warning};

/// A file that has to be copied.
struct Upload
{
    /// Its path below the document root.
    QString path;
    /// The target has a file of that name, with other bytes.
    bool replaces = false;
};

/// The files of \a index and the index itself, as they lie below \a root, in the order in which they may appear at the
/// target: the index comes last, so that nobody is offered what is not there yet. Listed packages that are not below
/// \a root are left out.
[[nodiscard]] QStringList uploadOrder(const DocumentRoot &root, const Index &index);

/// The packages of \a index that neither \a target has nor uploadOrder() brings there.
[[nodiscard]] QList<Finding> checkUploads(const DocumentRoot &root, const Index &index, const DocumentRoot &target);

/// What of them \a target has not, or has with other bytes. The index counts as it was read. \a progress is told how
/// many of their bytes were compared.
[[nodiscard]] QList<Upload> missingUploads(const DocumentRoot &root, const Index &index, const DocumentRoot &target,
                                           const ByteProgress &progress = {});

} // namespace freshen::publish
