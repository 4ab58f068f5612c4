// The version description file as the server sends it, in both readings. The input is a number, which tells where
// it is read, and on the lines below it the file.

#include "download/versionlist.h"
#include "fuzz/fuzzing.h"
#include "versions/automaticchoice.h"
#include "versions/versiondescription.h"

#include <algorithm>
#include <array>

using namespace freshen;

namespace {

/// The bits of the number.
constexpr int testBuilds = 1;
constexpr int oldWindows = 2;
constexpr int otherSystem = 4;
/// Everything is read twice.
constexpr int twice = 8;

VersionDescription reading(const QString &text, const RunningSystem &system, bool testBuildsAllowed)
{
    return readVersionDescription(text, system, [testBuildsAllowed] { return testBuildsAllowed; });
}

std::array<qint32, 5> numbers(const NewestRevisions &maxima)
{
    return {maxima.newestStable, maxima.newestBeta, maxima.latestStableFix, maxima.newestUnsupportedStable,
            maxima.newestUnsupportedBeta};
}

/// The integer \a text, which may be of any size; 0 where it is none.
double number(const QString &text)
{
    QString digits = text.trimmed();
    if (digits.startsWith(QLatin1Char('+')) || digits.startsWith(QLatin1Char('-')))
        digits.remove(0, 1);
    const bool isInteger = !digits.isEmpty() && std::all_of(digits.begin(), digits.end(), [](QChar character) {
        return character >= QLatin1Char('0') && character <= QLatin1Char('9');
    });
    return isInteger ? text.trimmed().toDouble() : 0;
}

/// Whether \a row may be installed here, told apart from the program's own checks.
bool isEligible(const VersionRow &row, const RunningSystem &system)
{
    if (row.size() < plainColumns || row.size() > systemColumns)
        return false;
    if (row.size() > column::minimumUpdater && number(row.at(column::minimumUpdater)) > ownRevision)
        return false;
    if (row.size() <= column::minimumSystem)
        return true;
    const QStringList required = row.at(column::minimumSystem).split(QLatin1Char('.'));
    const double major = number(required.at(0));
    const double minor = required.size() > 1 ? number(required.at(1)) : 0;
    return system.isWindows &&
           (system.majorVersion > major || (system.majorVersion == major && system.minorVersion >= minor));
}

bool isBetaType(const VersionRow &row, bool testBuildsAllowed)
{
    return row.at(column::type) == QLatin1String("Beta") ||
           (testBuildsAllowed && row.size() == systemColumns && row.at(column::type) == QLatin1String("Test"));
}

void checkTable(const VersionTable &versions, const RunningSystem &system)
{
    for (auto it = versions.begin(); it != versions.end(); ++it) {
        require(isEligible(it.value(), system), "what the table holds is eligible");
        const QStringList parts = it.value().at(column::version).split(QLatin1Char('.'));
        require(parts.size() == 3 && parts.at(2).toInt() == it.key(), "a row stands under its revision");
    }
}

/// What is chosen is offered by a line of the right type.
void checkChoice(const QString &text, const VersionDescription &description, const RunningSystem &system,
                 bool testBuildsAllowed)
{
    for (const bool useBeta : {false, true}) {
        const qint32 chosen = candidates(description.maxima).choose(useBeta);
        require(chosen >= ownRevision, "the choice is never older than the updater");
        if (chosen == ownRevision)
            continue;
        require(description.versions.contains(chosen), "the choice is in the table");
        bool isOffered = false;
        for (const QString &line : text.split(QLatin1Char('\n'))) {
            const VersionRow row = line.split(QLatin1Char('|'));
            if (!isEligible(row, system) || row.at(column::version).section(QLatin1Char('.'), 2).toInt() != chosen)
                continue;
            isOffered = isOffered || row.at(column::type) == QLatin1String("Stable") ||
                        (useBeta && isBetaType(row, testBuildsAllowed));
        }
        require(isOffered, "the choice is of the wanted type");
    }
}

void checkAgain(const QString &text, const RunningSystem &system, bool testBuildsAllowed)
{
    const VersionDescription once = reading(text, system, testBuildsAllowed);
    const VersionDescription again = reading(text, system, testBuildsAllowed);
    require(once.versions == again.versions && numbers(once.maxima) == numbers(again.maxima),
            "the same text gives the same table");
    require(readVersionList(text) == readVersionList(text), "the same text gives the same list");
}

VersionTable checkAutomatic(const QString &text, const RunningSystem &system, bool testBuildsAllowed)
{
    const VersionDescription description = reading(text, system, testBuildsAllowed);
    checkTable(description.versions, system);
    checkChoice(text, description, system, testBuildsAllowed);

    // The first half of the lines never gives more than all of them.
    const int half = text.indexOf(QLatin1Char('\n'), text.size() / 2);
    const auto early =
        numbers(half < 0 ? NewestRevisions() : reading(text.left(half), system, testBuildsAllowed).maxima);
    const auto late = numbers(description.maxima);
    for (std::size_t i = 0; i < early.size(); ++i) {
        require(early.at(i) >= ownRevision, "a maximum starts at the updater's revision");
        require(late.at(i) >= early.at(i), "a maximum never falls");
    }
    return description.versions;
}

void checkMenu(const QString &text, const VersionTable &automatic)
{
    const VersionTable versions = readVersionList(text);
    // No line that depends on the system is listed.
    checkTable(versions, RunningSystem());
    for (auto it = versions.begin(); it != versions.end(); ++it) {
        require(it.value().size() <= updaterColumns, "a line with a minimum system is not listed");
        require(automatic.contains(it.key()), "what is listed is eligible for the automatic choice too");
    }
    const QList<QStringList> all = listRows(versions, true);
    require(all.size() == versions.size(), "every version is listed");
    const QList<QStringList> stable = listRows(versions, false);
    require(stable.size() <= all.size(), "hiding beta versions adds none");
    for (const QStringList &row : stable) {
        require(row.size() == 6, "a listed row has six columns");
        const VersionRow version = versions.value(row.at(listcolumn::revision).toInt());
        require(!version.isEmpty() && version.at(column::type) != QLatin1String("Beta"),
                "what is listed is in the table and no beta version");
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    const int situation = input.line().toInt();
    RunningSystem system = {true, 10, 0, QStringLiteral("Windows")};
    if ((situation & oldWindows) != 0)
        system = {true, 6, 1, QStringLiteral("Windows")};
    if ((situation & otherSystem) != 0)
        system = {false, 10, 0, QStringLiteral("Other")};
    const QString text = decodeVersionFile(input.rest());
    if ((situation & twice) != 0)
        checkAgain(text, system, (situation & testBuilds) != 0);
    checkMenu(text, checkAutomatic(text, system, (situation & testBuilds) != 0));
    return 0;
}
