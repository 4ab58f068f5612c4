#pragma once

/// \file
/// Checks a whole document root: an index, the packages that updaters ask for because of it, and the files around them.

#include "publish/command.h"
#include "publish/index.h"

#include <QCommandLineOption>
#include <QList>

namespace freshen::publish {

/// The options of commands that check the root: those of package checks, and --index-only.
[[nodiscard]] QList<QCommandLineOption> rootCheckOptions();

/// Whether checkRoot() looks at the packages too.
[[nodiscard]] bool looksAtPackages(const Context &context);

/// Checks \a index and what belongs to it, as the options of \a context say. What it finds goes to the report; the
/// result is the report's verdict, or why the check could not be finished.
[[nodiscard]] ExitCode checkRoot(const Index &index, Context &context);

} // namespace freshen::publish
