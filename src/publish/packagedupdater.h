#pragma once

/// \file
/// Which updater users have after they have installed a version.

#include "publish/documentroot.h"
#include "publish/offers.h"
#include "publish/packageentry.h"

#include <optional>

namespace freshen::publish {

/// The revision of \a updater, an entry of \a package, by its version resource; none where it tells none.
[[nodiscard]] std::optional<qint32> revisionOfUpdater(const QString &package, const PackageEntry &updater);

/// Looks into the packages of \a root, once into each. Where a package is not there, or its updater tells no revision,
/// the updater is taken to have that of its line.
[[nodiscard]] PackagedUpdater updaterInPackage(const DocumentRoot &root);

} // namespace freshen::publish
