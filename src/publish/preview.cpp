#include "publish/preview.h"

#include "download/versionlist.h"

#include <QJsonArray>

namespace freshen::publish {

namespace {

const QString nothing = QStringLiteral("none");
const QString stableUser = QStringLiteral("stable");
const QString betaUser = QStringLiteral("beta");
const QString withTestBuilds = QStringLiteral("+test");

/// How many columns of a row describe the audience.
constexpr int audienceColumns = 3;

QString userOf(const Audience &audience)
{
    return (audience.takesBetas ? betaUser : stableUser) + (audience.allowsTestBuilds ? withTestBuilds : QString());
}

QString joined(const QList<qint32> &revisions, const QString &separator)
{
    QStringList texts;
    for (const qint32 revision : revisions)
        texts.append(QString::number(revision));
    return texts.join(separator);
}

QString automaticOf(const Preview &preview)
{
    if (preview.offer.chosen.isEmpty())
        return nothing;
    if (!preview.offer.isNewer)
        return QStringLiteral("again");
    return joined(preview.path.revisions, QStringLiteral(">")) +
           (preview.path.isEndless ? QStringLiteral(">...") : QString());
}

QStringList listOf(const Preview &preview)
{
    QStringList revisions;
    for (const QStringList &row : preview.offer.list)
        revisions.append(row.at(listcolumn::revision));
    return revisions;
}

QString aligned(const QStringList &columns)
{
    static const QList<int> widths = {10, 9, 13, 16};
    QString row;
    for (int column = 0; column < columns.size(); ++column)
        row += columns.at(column).leftJustified(widths.value(column)) + QLatin1Char(' ');
    return row.trimmed();
}

/// The heads of the columns of rowOf().
QString headerRow()
{
    return aligned({QStringLiteral("# updater"), QStringLiteral("Windows"), QStringLiteral("user"),
                    QStringLiteral("automatic"), QStringLiteral("list")});
}

} // namespace

Preview previewFor(const QString &text, const Audience &audience, const PackagedUpdater &packagedUpdater)
{
    return {audience, offerFor(text, audience), followUpdates(text, audience, packagedUpdater)};
}

QList<Preview> previewsFor(const QString &text, const QList<Audience> &audiences,
                           const PackagedUpdater &packagedUpdater)
{
    QList<Preview> previews;
    for (const Audience &audience : audiences)
        previews.append(previewFor(text, audience, packagedUpdater));
    return previews;
}

QString rowOf(const Preview &preview)
{
    const QStringList list = listOf(preview);
    return aligned({QString::number(preview.audience.updater), versionOf(preview.audience.system),
                    userOf(preview.audience), automaticOf(preview),
                    list.isEmpty() ? nothing : list.join(QLatin1Char(','))});
}

QJsonObject objectOf(const Preview &preview)
{
    QJsonArray path;
    for (const qint32 revision : preview.path.revisions)
        path.append(revision);
    return {{QStringLiteral("updater"), preview.audience.updater},
            {QStringLiteral("windows"), versionOf(preview.audience.system)},
            {QStringLiteral("user"), userOf(preview.audience)},
            {QStringLiteral("automatic"), automaticOf(preview)},
            {QStringLiteral("path"), path},
            {QStringLiteral("endless"), preview.path.isEndless},
            {QStringLiteral("list"), QJsonArray::fromStringList(listOf(preview))}};
}

std::optional<Audience> audienceOf(const QString &row)
{
    const QStringList columns = row.simplified().split(QLatin1Char(' '));
    bool isNumber = false;
    const qint32 updater = columns.first().toInt(&isNumber);
    const auto system = windowsVersion(columns.value(1));
    const QString user = columns.value(2);
    const QString mode = user.section(QLatin1Char('+'), 0, 0);
    if (!isNumber || !system || columns.size() <= audienceColumns || (mode != stableUser && mode != betaUser))
        return std::nullopt;
    return Audience{updater, *system, mode == betaUser, user == mode + withTestBuilds};
}

QList<Finding> checkPreviews(const QList<Preview> &previews, const QString &file)
{
    QList<Finding> findings;
    for (const Preview &preview : previews) {
        if (preview.path.isEndless)
            findings.append(
                {offeredForEver, QStringLiteral("These updates never end: %1").arg(rowOf(preview).simplified()), file});
    }
    return findings;
}

void showPreviews(const QList<Preview> &previews, Report &report)
{
    QJsonArray objects;
    report.print(headerRow());
    for (const Preview &preview : previews) {
        report.print(rowOf(preview));
        objects.append(objectOf(preview));
    }
    report.set(QStringLiteral("preview"), objects);
}

void showChanges(const QList<Preview> &before, const QList<Preview> &now, Report &report)
{
    QJsonArray objects;
    for (int i = 0; i < now.size(); ++i) {
        if (rowOf(before.at(i)) == rowOf(now.at(i)))
            continue;
        report.print(QStringLiteral("- ") + rowOf(before.at(i)));
        report.print(QStringLiteral("+ ") + rowOf(now.at(i)));
        objects.append(QJsonObject{{QStringLiteral("before"), objectOf(before.at(i))},
                                   {QStringLiteral("now"), objectOf(now.at(i))}});
    }
    report.set(QStringLiteral("changes"), objects);
}

} // namespace freshen::publish
