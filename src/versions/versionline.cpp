#include "versions/versionline.h"

#include "versions/ownversion.h"

#include <QDebug>

namespace {

constexpr int versionParts = 3;

} // namespace

QString decodeVersionFile(const QByteArray &body)
{
    // As a C string, so that the text ends at a zero byte.
    return QString::fromUtf8(body.constData());
}

QStringList splitLines(const QString &text)
{
    return text.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

VersionRow splitColumns(const QString &line)
{
    return line.split(QLatin1Char('|'), Qt::KeepEmptyParts);
}

std::optional<qint32> readRevision(const VersionRow &row)
{
    const QString &version = row.at(column::version);
    const QVector<QStringRef> parts = version.splitRef(QLatin1Char('.'));
    if (parts.size() != versionParts) {
        warnAboutCount(version.split(QLatin1Char('.')));
        return std::nullopt;
    }
    bool isNumber = false;
    const qint32 revision = parts.last().toInt(&isNumber);
    if (!isNumber) {
        qDebug() << "WARNING: cant read revision number" << parts.last();
        return std::nullopt;
    }
    return revision;
}

bool allowsThisUpdater(const VersionRow &row, qint32 revision)
{
    const qint32 minimum = row.at(column::minimumUpdater).toInt();
    if (minimum <= ownRevision)
        return true;
    qDebug() << "WARNING: current version" << ownRevision << "not eligible for" << revision << "- needs update to"
             << minimum;
    return false;
}

void warnAboutCount(const QStringList &parts)
{
    qDebug() << "WARNING:" << parts << "does not have right number of cols";
}

void warnAboutType(const QString &type)
{
    qDebug() << "WARNING:" << type << "is unknown type";
}
