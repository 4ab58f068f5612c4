#pragma once

/// \file
/// The options that say whom a command looks at.

#include "publish/audience.h"

#include <QCommandLineParser>
#include <QList>

#include <optional>

namespace freshen::publish {

/// The options of a command that readAudiences() reads.
[[nodiscard]] QList<QCommandLineOption> audienceOptions();

/// The audiences of the command line: each updater on each Windows, with and without beta versions unless only those
/// with them are asked for. None where a value is wrong; \a error then
/// says which.
[[nodiscard]] std::optional<QList<Audience>> readAudiences(const QCommandLineParser &options, QString &error);

/// Whom a command looks at that has no such options.
[[nodiscard]] QList<Audience> usualAudiences();

} // namespace freshen::publish
