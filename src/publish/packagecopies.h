#pragma once

/// \file
/// Packages that get a name on the server. A name that is taken keeps its bytes: clients and caches may have them.

#include "publish/documentroot.h"
#include "publish/finding.h"
#include "publish/report.h"

#include <QList>
#include <QString>

namespace freshen::publish {

/// The name has other bytes.
inline constexpr FindingKind packageDiffers{"package-differs", Severity::Error};

/// A file that becomes a package.
struct PackageCopy
{
    /// Path of the file.
    QString source;
    /// Its name on the server.
    QString name;
};

/// Which of \a copies would replace other bytes below \a root.
[[nodiscard]] QList<Finding> checkCopies(const QList<PackageCopy> &copies, const DocumentRoot &root,
                                         const Report &report);

/// Makes those of \a copies that are not there yet. Returns why it failed, or an empty text.
[[nodiscard]] QString makeCopies(const QList<PackageCopy> &copies, const DocumentRoot &root, const Report &report);

} // namespace freshen::publish
