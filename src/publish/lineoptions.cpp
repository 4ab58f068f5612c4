#include "publish/lineoptions.h"

#include "publish/indexedit.h"

#include <algorithm>
#include <array>
#include <limits>

namespace freshen::publish {

namespace {

/// An option and the column that it fills.
struct ColumnOption
{
    const char *name;
    int column;
    const char *description;
    const char *value;
};

constexpr std::array columnOptions = {
    ColumnOption{"date", column::date, "Date of the release, as the list shows it.", "DATE"},
    ColumnOption{"info", column::info, "What the list tells of the version.", "TEXT"},
    ColumnOption{"reference", column::reference, "Makes a stable version a fix: any number but 0.", "NUMBER"},
    ColumnOption{"min-updater", column::minimumUpdater, "The first revision of the updater that may install it.", "R"},
    ColumnOption{"min-windows", column::minimumSystem, "The first version of Windows that it runs on.", "VERSION"},
};

/// What \a name says if it is the name of a package of the line \a row.
std::optional<NamedPackage> matchName(const QString &name, const VersionRow &row)
{
    const QString line = lineOf(row);
    const std::optional<qint32> revision = revisionOf(line);
    if (!revision)
        return std::nullopt;
    const QMap<NameKind, QString> names = packageNames({1, line, row, revision});
    const auto found = std::find(names.begin(), names.end(), name);
    return found == names.end() ? std::nullopt : std::optional(NamedPackage{row, *revision, found.key()});
}

/// What the version would be if \a name were one of the names of a package of \a type.
QStringList possibleVersions(const QString &name, const QString &type)
{
    // No version of those that are published under another type's name.
    constexpr qint32 newest = std::numeric_limits<qint32>::max();
    const QChar mark = QChar::ReplacementCharacter;
    QStringList versions;
    for (const QString &known : packageNames({0, QString(), {mark, type}, newest})) {
        const int length = name.size() - known.size() + 1;
        versions.append(name.mid(known.indexOf(mark), std::max(length, 0)));
    }
    return versions;
}

/// \a row with all columns.
VersionRow filled(VersionRow row)
{
    while (row.size() < systemColumns)
        row.append(QString());
    return row;
}

} // namespace

QList<QCommandLineOption> lineOptions()
{
    QList<QCommandLineOption> options;
    for (const ColumnOption &option : columnOptions) {
        options.append({QString::fromLatin1(option.name), QString::fromLatin1(option.description),
                        QString::fromLatin1(option.value)});
    }
    return options;
}

std::optional<VersionRow> rowWithOptions(VersionRow row, const QCommandLineParser &options, QString &error)
{
    row = filled(row);
    for (const ColumnOption &option : columnOptions) {
        const QString name = QString::fromLatin1(option.name);
        if (!options.isSet(name))
            continue;
        const QString text = options.value(name);
        if (splitColumns(text).size() != 1 || text.contains(QLatin1Char('\n'))) {
            error = QStringLiteral("--%1 cannot hold a bar or a line break.").arg(name);
            return std::nullopt;
        }
        row[option.column] = text;
    }
    return row;
}

std::optional<NamedPackage> packageOfName(const QString &name)
{
    for (const QLatin1String type : {stableType, betaType, testType}) {
        for (const QString &version : possibleVersions(name, type)) {
            if (std::optional<NamedPackage> package = matchName(name, filled({version, type})))
                return package;
        }
    }
    return std::nullopt;
}

} // namespace freshen::publish
