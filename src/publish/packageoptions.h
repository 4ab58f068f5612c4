#pragma once

/// \file
/// The options of all commands that check packages.

#include "publish/command.h"
#include "publish/packagecheck.h"

#include <QCommandLineOption>
#include <QList>

namespace freshen::publish {

/// The options: --scratch and --longest-path.
[[nodiscard]] QList<QCommandLineOption> packageCheckOptions();

/// Takes their values into \a options. False where one is wrong; the report then says so.
[[nodiscard]] bool readPackageCheckOptions(Context &context, PackageCheckOptions &options);

} // namespace freshen::publish
