#include "publish/prospectreport.h"

#include <QJsonArray>

namespace freshen::publish {

void showProspects(const QList<Prospect> &prospects, Report &report)
{
    QJsonArray objects;
    report.print(prospectHeader());
    for (const Prospect &prospect : prospects) {
        report.print(rowOf(prospect));
        objects.append(objectOf(prospect));
    }
    report.set(QStringLiteral("preview"), objects);
}

void showChanges(const QList<Prospect> &before, const QList<Prospect> &now, Report &report)
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
