#include "publish/prospect.h"

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

QString automaticOf(const Prospect &prospect)
{
    if (prospect.offer.chosen.isEmpty())
        return nothing;
    if (!prospect.offer.isNewer)
        return QStringLiteral("again");
    return joined(prospect.path.revisions, QStringLiteral(">")) +
           (prospect.path.isEndless ? QStringLiteral(">...") : QString());
}

QStringList listOf(const Prospect &prospect)
{
    QStringList revisions;
    for (const QStringList &row : prospect.offer.list)
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

} // namespace

Prospect prospectFor(const QString &text, const Audience &audience, const PackagedUpdater &packagedUpdater)
{
    return {audience, offerFor(text, audience), followUpdates(text, audience, packagedUpdater)};
}

QList<Prospect> prospectsFor(const QString &text, const QList<Audience> &audiences,
                             const PackagedUpdater &packagedUpdater)
{
    QList<Prospect> prospects;
    for (const Audience &audience : audiences)
        prospects.append(prospectFor(text, audience, packagedUpdater));
    return prospects;
}

QString prospectHeader()
{
    return aligned({QStringLiteral("# updater"), QStringLiteral("Windows"), QStringLiteral("user"),
                    QStringLiteral("automatic"), QStringLiteral("list")});
}

QString rowOf(const Prospect &prospect)
{
    const QStringList list = listOf(prospect);
    return aligned({QString::number(prospect.audience.updater), versionOf(prospect.audience.system),
                    userOf(prospect.audience), automaticOf(prospect),
                    list.isEmpty() ? nothing : list.join(QLatin1Char(','))});
}

QJsonObject objectOf(const Prospect &prospect)
{
    QJsonArray path;
    for (const qint32 revision : prospect.path.revisions)
        path.append(revision);
    return {{QStringLiteral("updater"), prospect.audience.updater},
            {QStringLiteral("windows"), versionOf(prospect.audience.system)},
            {QStringLiteral("user"), userOf(prospect.audience)},
            {QStringLiteral("automatic"), automaticOf(prospect)},
            {QStringLiteral("path"), path},
            {QStringLiteral("endless"), prospect.path.isEndless},
            {QStringLiteral("list"), QJsonArray::fromStringList(listOf(prospect))}};
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

QList<Finding> checkProspects(const QList<Prospect> &prospects, const QString &file)
{
    QList<Finding> findings;
    for (const Prospect &prospect : prospects) {
        if (prospect.path.isEndless)
            findings.append({offeredForEver,
                             QStringLiteral("These updates never end: %1").arg(rowOf(prospect).simplified()), file});
    }
    return findings;
}

} // namespace freshen::publish
