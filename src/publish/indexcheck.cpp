#include "publish/indexcheck.h"

#include "download/versionlist.h"
#include "publish/linecheck.h"
#include "publish/offers.h"
#include "publish/updaterlimits.h"
#include "versions/automaticchoice.h"

#include <QHash>
#include <QTextCodec>

#include <algorithm>
#include <utility>

namespace freshen::publish {

namespace {

/// Collects the findings of one index.
class Checker
{
public:
    Checker(const Index &index, const QString &file, const Audience &audience)
        : m_index(index), m_file(file), m_audience(audience)
    {
    }

    [[nodiscard]] QList<Finding> check();

private:
    void add(const FindingKind &kind, int line, const QString &message, int column = 0);
    void checkVersions();
    void checkZeroByte();
    void checkCarriageReturns();
    void checkEncoding();
    void checkDuplicates();
    void checkFix();
    void checkOrder();
    void checkAge();
    [[nodiscard]] int lineOf(qint32 revision) const;

    const Index &m_index;
    const QString &m_file;
    const Audience &m_audience;
    QList<Finding> m_findings;
};

QList<Finding> Checker::check()
{
    checkVersions();
    checkZeroByte();
    checkCarriageReturns();
    checkEncoding();
    for (const IndexLine &line : m_index.lines)
        m_findings.append(checkLine(line, m_file));
    checkDuplicates();
    m_findings.append(checkUpdaterLimits(m_index, m_file, m_audience.updater));
    checkFix();
    checkOrder();
    checkAge();
    return m_findings;
}

void Checker::add(const FindingKind &kind, int line, const QString &message, int column)
{
    m_findings.append({kind, message, m_file, line, column});
}

void Checker::checkVersions()
{
    const auto hasRevision = [](const IndexLine &line) { return line.revision.has_value(); };
    if (std::none_of(m_index.lines.begin(), m_index.lines.end(), hasRevision))
        add(noVersions, 0, QStringLiteral("No line offers a version to anybody."));
}

void Checker::checkZeroByte()
{
    const int position = m_index.bytes.indexOf('\0');
    if (position < 0)
        return;
    add(zeroByte, m_index.bytes.left(position).count('\n') + 1,
        QStringLiteral("Reading ends at a zero byte; %1 bytes are not read.").arg(m_index.bytes.size() - position));
}

void Checker::checkCarriageReturns()
{
    const auto hasReturn = [](const IndexLine &line) { return line.text.contains(QLatin1Char('\r')); };
    const auto first = std::find_if(m_index.lines.begin(), m_index.lines.end(), hasReturn);
    if (first == m_index.lines.end())
        return;
    add(carriageReturn, first->number,
        QStringLiteral("Lines with a carriage return, which belongs to one of their columns: %1.")
            .arg(std::count_if(first, m_index.lines.end(), hasReturn)));
}

void Checker::checkEncoding()
{
    const QTextCodec *const codec = QTextCodec::codecForName("UTF-8");
    int number = 0;
    // What follows a zero byte is read by nobody.
    for (const QByteArray &line : QByteArray(m_index.bytes.constData()).split('\n')) {
        ++number;
        QTextCodec::ConverterState state;
        codec->toUnicode(line.constData(), line.size(), &state);
        if (state.invalidChars > 0 || state.remainingChars > 0)
            add(notUtf8, number, QStringLiteral("The line is no UTF-8."));
    }
}

void Checker::checkDuplicates()
{
    QHash<qint32, const IndexLine *> last;
    for (const IndexLine &line : m_index.lines) {
        if (!line.revision)
            continue;
        const IndexLine *const earlier = std::exchange(last[*line.revision], &line);
        if (earlier == nullptr)
            continue;
        const QString &type = line.row.at(column::type);
        const QString &earlierType = earlier->row.at(column::type);
        add(type == earlierType ? duplicateRevision : duplicateOfOtherType, line.number,
            QStringLiteral("The revision %1 is in line %2 as well (%3). Whoever may have both gets this one (%4).")
                .arg(QString::number(*line.revision), QString::number(earlier->number), earlierType, type),
            column::version + 1);
    }
}

int Checker::lineOf(qint32 revision) const
{
    const auto found = std::find_if(m_index.lines.rbegin(), m_index.lines.rend(),
                                    [revision](const IndexLine &line) { return line.revision == revision; });
    return found == m_index.lines.rend() ? 0 : found->number;
}

void Checker::checkFix()
{
    const NewestRevisions maxima = readFor(m_index.text, m_audience).maxima;
    const qint32 chosen = candidates(maxima).stable;
    if (chosen >= maxima.newestStable)
        return;
    add(fixBeatsNewer, lineOf(chosen),
        QStringLiteral("Users of stable versions get the fix %1, and not the newer %2.")
            .arg(chosen)
            .arg(maxima.newestStable),
        column::reference + 1);
}

void Checker::checkOrder()
{
    const QList<QStringList> list = offerFor(m_index.text, mostCapable()).list;
    const auto revision = [&list](int row) { return list.at(row).at(listcolumn::revision).toInt(); };
    for (int row = 1; row < list.size(); ++row) {
        if (revision(row - 1) > revision(row))
            continue;
        add(listOutOfOrder, lineOf(revision(row - 1)),
            QStringLiteral("The list sorts revisions as text: %1 is above %2.")
                .arg(revision(row - 1))
                .arg(revision(row)),
            column::version + 1);
        return;
    }
}

void Checker::checkAge()
{
    const auto isOld = [this](const IndexLine &line) { return line.revision && *line.revision <= m_audience.updater; };
    const auto first = std::find_if(m_index.lines.begin(), m_index.lines.end(), isOld);
    if (first == m_index.lines.end())
        return;
    add(notNewer, first->number,
        QStringLiteral("Versions that are not newer than the updater %1, whose automatic mode passes them over: %2.")
            .arg(m_audience.updater)
            .arg(std::count_if(first, m_index.lines.end(), isOld)),
        column::version + 1);
}

} // namespace

QList<Finding> checkIndex(const Index &index, const QString &file, const Audience &audience)
{
    return Checker(index, file, audience).check();
}

} // namespace freshen::publish
