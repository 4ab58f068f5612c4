#pragma once

/// \file
/// One line of the version description file.
///
/// The update server publishes one UTF-8 text file for each platform. Each line offers one version of the application,
/// in 5, 6 or 7 columns separated by "|"; a column cannot hold a bar:
///
///     version | type | reference | date | info [ | minimum revision of the updater [ | minimum Windows version ]]
///
/// The version is three parts separated by "."; the third, the revision, is the key of the line. What is common to the
/// readings of the automatic and of the manual choice stands here: the table, and the checks with their log lines.

#include <QMap>
#include <QStringList>

#include <optional>

namespace freshen {

/// The column texts of one accepted line, as split; nothing is converted or trimmed.
using VersionRow = QStringList;

/// The accepted lines by revision, ascending. Of two lines with the same revision the later line wins.
using VersionTable = QMap<qint32, VersionRow>;

/// Positions in a VersionRow.
namespace column {
///@{
/// Where the row holds what the name says.
inline constexpr int version = 0;
inline constexpr int type = 1;
inline constexpr int reference = 2;
inline constexpr int date = 3;
inline constexpr int info = 4;
inline constexpr int minimumUpdater = 5;
inline constexpr int minimumSystem = 6;
///@}
} // namespace column

///@{
/// Number of columns of a line: without limits, with the updater's minimum revision, with the system's minimum version.
inline constexpr int plainColumns = 5;
inline constexpr int updaterColumns = 6;
inline constexpr int systemColumns = 7;
///@}

///@{
/// A release type, as written in the file.
inline const QLatin1String stableType("Stable");
inline const QLatin1String betaType("Beta");
inline const QLatin1String testType("Test");
///@}

/// Decodes the file: UTF-8 up to a first zero byte.
[[nodiscard]] QString decodeVersionFile(const QByteArray &body);

/// Splits the file's text into its lines; empty lines are dropped.
[[nodiscard]] QStringList splitLines(const QString &text);

/// Splits a line into its columns; empty columns are kept.
[[nodiscard]] VersionRow splitColumns(const QString &line);

/// The decimal integer \a text, with any blanks around it. One beyond 32 bits counts as the largest or smallest there
/// is, text that is no number as 0.
[[nodiscard]] qint32 toNumber(const QString &text);

/// The revision of \a row, or nothing where the version has other than three parts or its third part is no decimal
/// number; the log then says which.
[[nodiscard]] std::optional<qint32> readRevision(const VersionRow &row);

/// Whether the updater with the revision \a updater may install \a row, which has the column for the minimum revision.
/// The column is read by toNumber(). A refusal is logged with \a revision, the row's own.
[[nodiscard]] bool allowsUpdater(const VersionRow &row, qint32 revision, qint32 updater);

/// Logs that \a parts, the columns of a line or the parts of its version, are too few or too many.
void warnAboutCount(const QStringList &parts);

/// Logs that \a type is no release type.
void warnAboutType(const QString &type);

} // namespace freshen
