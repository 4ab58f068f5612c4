#include "publish/windowsname.h"

#include <QRegularExpression>

namespace freshen::publish {

namespace {

QStringList stepsOf(const QString &name)
{
    static const QRegularExpression separators(QStringLiteral("[/\\\\]"));
    QStringList steps = name.split(separators, Qt::SkipEmptyParts);
    steps.removeAll(QStringLiteral("."));
    return steps;
}

QString withoutEnd(QString step)
{
    static const QRegularExpression end(QStringLiteral("[. ]+$"));
    return step.remove(end);
}

} // namespace

QStringList windowsSteps(const QString &name)
{
    QStringList steps = stepsOf(name);
    for (QString &step : steps)
        step = withoutEnd(step);
    return steps;
}

QString windowsKey(const QStringList &steps)
{
    QString key = steps.join(QLatin1Char('/'));
    // Letter by letter, as the file system does: QString would make two letters of some.
    for (QChar &letter : key)
        letter = letter.toUpper();
    return key;
}

QString windowsObjection(const QString &name)
{
    constexpr int hexadecimal = 16;
    static const QRegularExpression forbidden(QStringLiteral("[<>\"|?*\\x01-\\x1f]"));
    for (const QString &step : stepsOf(name)) {
        const QRegularExpressionMatch match = forbidden.match(step);
        if (match.hasMatch())
            return QStringLiteral("the character U+%1 cannot be in a name")
                .arg(match.captured().at(0).unicode(), 4, hexadecimal, QLatin1Char('0'));
        if (withoutEnd(step) != step)
            return QStringLiteral("blanks and full stops at the end of a name are dropped");
    }
    return {};
}

} // namespace freshen::publish
