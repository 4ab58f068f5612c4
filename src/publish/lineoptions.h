#pragma once

/// \file
/// The options that fill the columns of a line.

#include "publish/index.h"

#include <QCommandLineParser>
#include <QList>

namespace freshen::publish {

/// One option for each column that does not follow from the package.
[[nodiscard]] QList<QCommandLineOption> lineOptions();

/// \a row, with what the command line says of its columns; it then has all of them. None where a text cannot stand in a
/// column; \a error then says which.
[[nodiscard]] std::optional<VersionRow> rowWithOptions(VersionRow row, const QCommandLineParser &options,
                                                       QString &error);

/// What the file name of a package says.
struct NamedPackage
{
    /// Version and type; the other columns are empty.
    VersionRow row;
    /// The third part of the version.
    qint32 revision = 0;
    /// Who asks for the package under this name.
    NameKind kind = NameKind::Plain;
};

/// The package with the file name \a name; none where updaters ask for no such name.
[[nodiscard]] std::optional<NamedPackage> packageOfName(const QString &name);

} // namespace freshen::publish
