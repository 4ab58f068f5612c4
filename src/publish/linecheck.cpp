#include "publish/linecheck.h"

#include "download/versionlist.h"
#include "publish/linereading.h"
#include "publish/namecheck.h"
#include "publish/offers.h"

#include <QRegularExpression>

#include <array>
#include <limits>

namespace freshen::publish {

namespace {

/// Finds one kind of fault in a line that has a revision.
using Rule = std::optional<Fault> (*)(const IndexLine &line);

QString typeOf(const IndexLine &line)
{
    return line.row.at(column::type);
}

/// Whether any updater's manual mode lists \a line.
bool isListed(const IndexLine &line)
{
    return !readVersionList(line.text, mostCapable().updater).isEmpty();
}

/// Whether the updater reads \a text as the number that it looks like: what is no number counts as 0.
bool isNumber(const QString &text)
{
    static const QRegularExpression zero(QStringLiteral("^\\s*[+-]?0+\\s*$"));
    return toNumber(text) != 0 || zero.match(text).hasMatch();
}

bool isBlank(const QString &text)
{
    return text.trimmed().isEmpty();
}

std::optional<Fault> checkType(const IndexLine &line)
{
    const QString type = typeOf(line);
    if (isReleaseType(type))
        return std::nullopt;
    if (isReleaseType(type.trimmed())) {
        return Fault{blanksAroundType, QStringLiteral("%1 has blanks around it.").arg(quoted(type)), column::type};
    }
    return Fault{unknownType, QStringLiteral("%1 is no type.").arg(quoted(type)), column::type};
}

std::optional<Fault> checkTest(const IndexLine &line)
{
    if (typeOf(line) != testType || !isListed(line))
        return std::nullopt;
    return Fault{testForEverybody,
                 QStringLiteral("A test build is offered to everybody in the list, unless its line has %1 columns.")
                     .arg(systemColumns),
                 column::type};
}

std::optional<Fault> checkVisibility(const IndexLine &line)
{
    if (isListed(line) || typeOf(line) == testType)
        return std::nullopt;
    return Fault{hiddenFromList, QStringLiteral("With %1 columns, the line is not in the list.").arg(line.row.size()),
                 column::minimumSystem};
}

std::optional<Fault> checkMinimumUpdater(const IndexLine &line)
{
    const QString limit = line.row.value(column::minimumUpdater);
    if (isBlank(limit) || isNumber(limit))
        return std::nullopt;
    return Fault{limitIsNoNumber, QStringLiteral("%1 is no number, so there is no limit.").arg(quoted(limit)),
                 column::minimumUpdater};
}

std::optional<Fault> checkMinimumSystem(const IndexLine &line)
{
    const QString limit = line.row.value(column::minimumSystem);
    const QStringList parts = limit.split(QLatin1Char('.'));
    if (isBlank(limit))
        return std::nullopt;
    if (!isNumber(parts.first()) || (parts.size() > 1 && !isNumber(parts.at(1)))) {
        return Fault{limitIsNoNumber, QStringLiteral("%1 is no version, so parts of it count as 0.").arg(quoted(limit)),
                     column::minimumSystem};
    }
    if (parts.size() > 2) {
        return Fault{limitIgnoresRest, QStringLiteral("Only the first two numbers of %1 count.").arg(quoted(limit)),
                     column::minimumSystem};
    }
    return std::nullopt;
}

std::optional<Fault> checkReachability(const IndexLine &line)
{
    Audience audience = mostCapable();
    audience.system = newestWindows();
    if (!readFor(line.text, audience).versions.isEmpty())
        return std::nullopt;
    return Fault{limitMetByNobody,
                 QStringLiteral("No Windows has the version %1; the newest calls itself %2.")
                     .arg(line.row.at(column::minimumSystem), versionOf(audience.system)),
                 column::minimumSystem};
}

std::optional<Fault> checkReference(const IndexLine &line)
{
    const QString reference = line.row.at(column::reference);
    if (reference.isEmpty() || isNumber(reference))
        return std::nullopt;
    return Fault{referenceIsNoNumber,
                 QStringLiteral("%1 is no number, so the version is no fix.").arg(quoted(reference)),
                 column::reference};
}

std::optional<Fault> checkLabel(const IndexLine &line)
{
    const QString reference = line.row.at(column::reference);
    const bool isFix = typeOf(line) == stableType && toNumber(reference) != 0;
    if (reference.isEmpty() || isFix || !isListed(line))
        return std::nullopt;
    return Fault{labelHidesType,
                 QStringLiteral("Since the reference is not empty, the list says \"Update\" instead of %1.")
                     .arg(quoted(typeOf(line))),
                 column::reference};
}

constexpr std::array rules = {
    checkType,      checkTest,  checkVisibility, checkMinimumUpdater, checkMinimumSystem, checkReachability,
    checkReference, checkLabel, checkVersion,    checkSeparators,     checkStoredName,    checkAddress,
};

/// What is wrong with \a line, which no updater can read.
Fault faultOfUnreadable(const IndexLine &line)
{
    using Limits = std::numeric_limits<qint32>;
    const qint32 last = toNumber(line.row.first().section(QLatin1Char('.'), -1));
    if (line.row.size() >= plainColumns && (last == Limits::max() || last == Limits::min()))
        return {revisionTooLarge, QStringLiteral("The revision of %1 is too large.").arg(quoted(line.row.first()))};
    return {unreadableLine, readLine(line.text, mostCapable()).automatic.log.join(QStringLiteral("; "))};
}

} // namespace

QList<Finding> checkLine(const IndexLine &line, const QString &file)
{
    const auto finding = [&line, &file](const Fault &fault) {
        return Finding{fault.kind, fault.message, file, line.number, fault.position + 1};
    };
    if (!line.revision)
        return {finding(faultOfUnreadable(line))};
    QList<Finding> findings;
    for (const Rule rule : rules) {
        if (const std::optional<Fault> fault = rule(line))
            findings.append(finding(*fault));
    }
    return findings;
}

} // namespace freshen::publish
