#include "publish/lineoptions.h"

#include "publish/indexedit.h"

#include <QRegularExpression>

#include <array>

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
    ColumnOption{"min-windows", column::minimumSystem, "The first version of Windows that it runs on.", "10.0"},
};

/// What \a name says if it is the name of a package of the line \a row.
std::optional<NamedPackage> matchName(const QString &name, const VersionRow &row)
{
    const QString line = lineOf(row);
    const std::optional<qint32> revision = revisionOf(line);
    if (!revision)
        return std::nullopt;
    for (const PackageName &package : packageNames({1, line, row, revision})) {
        if (package.name == name)
            return NamedPackage{row, *revision, package.kind};
    }
    return std::nullopt;
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
    static const QRegularExpression version(QStringLiteral("[0-9]+\\.[0-9]+\\.[0-9]+"));
    for (const QLatin1String type : {stableType, betaType, testType}) {
        const VersionRow row = filled({version.match(name).captured(), type});
        if (std::optional<NamedPackage> package = matchName(name, row))
            return package;
    }
    return std::nullopt;
}

} // namespace freshen::publish
