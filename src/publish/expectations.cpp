#include "publish/expectations.h"

namespace freshen::publish {

namespace {

/// Whether \a actual, a row, says what \a expected does.
bool isMet(const QString &expected, const QString &actual)
{
    // Without the last column the list is not compared.
    return actual == expected || actual.startsWith(expected + QLatin1Char(' '));
}

} // namespace

std::optional<QList<Finding>> checkExpectations(const QString &text, const QByteArray &expectations,
                                                const QString &file, const PackagedUpdater &packagedUpdater,
                                                QString &error)
{
    QList<Finding> findings;
    int number = 0;
    for (const QString &line : QString::fromUtf8(expectations).split(QLatin1Char('\n'))) {
        ++number;
        const QString expected = line.simplified();
        if (expected.isEmpty() || expected.startsWith(QLatin1Char('#')))
            continue;
        const std::optional<Audience> audience = audienceOf(expected);
        if (!audience) {
            error = QStringLiteral("%1:%2: \"%3\" is no line of a preview.").arg(file, QString::number(number), line);
            return std::nullopt;
        }
        const QString actual = rowOf(previewFor(text, *audience, packagedUpdater)).simplified();
        if (!isMet(expected, actual))
            findings.append({expectationNotMet, QStringLiteral("It is now: %1").arg(actual), file, number});
    }
    return findings;
}

} // namespace freshen::publish
