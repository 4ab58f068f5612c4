#pragma once

/// \file
/// The address of a live server, as publishers give it.

#include "versions/updateserver.h"

#include <optional>

namespace freshen::publish {

/// The server that updaters use whose settings name the scheme, host and port of \a address, and \a versionFolder.
/// Nothing where an updater cannot use such an address: its scheme is another one, or it has more than these parts.
[[nodiscard]] std::optional<UpdateServer> serverAt(const QString &address, const QString &versionFolder);

} // namespace freshen::publish
