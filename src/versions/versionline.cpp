#include "versions/versionline.h"

#include <QDebug>
#include <QRegularExpression>

#include <limits>

namespace freshen {

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

qint32 toNumber(const QString &text)
{
    bool fits = false;
    if (const qint32 value = text.toInt(&fits); fits)
        return value;
    static const QRegularExpression integer(QStringLiteral("^\\s*([+-]?)[0-9]+\\s*$"));
    const QRegularExpressionMatch match = integer.match(text);
    if (!match.hasMatch())
        return 0;
    using Limits = std::numeric_limits<qint32>;
    return match.capturedRef(1) == QLatin1Char('-') ? Limits::min() : Limits::max();
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

bool allowsUpdater(const VersionRow &row, qint32 revision, qint32 updater)
{
    const qint32 minimum = toNumber(row.at(column::minimumUpdater));
    if (minimum <= updater)
        return true;
    qDebug() << "WARNING: current version" << updater << "not eligible for" << revision << "- needs update to"
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

} // namespace freshen
