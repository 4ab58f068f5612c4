#include "publish/packinglist.h"

#include "publish/failure.h"

#include <QDir>
#include <QRegularExpression>

#include <algorithm>
#include <filesystem>
#include <optional>

namespace freshen::publish {

namespace {

/// What is to be left out.
class Exclusions
{
public:
    explicit Exclusions(const QStringList &patterns)
    {
        for (const QString &pattern : patterns)
            m_patterns.append({pattern, QRegularExpression(QRegularExpression::wildcardToRegularExpression(pattern))});
    }
    /// Whether \a name, a relative path, is left out. Every pattern that says so counts as used.
    bool cover(const QString &name)
    {
        bool isCovered = false;
        for (Pattern &pattern : m_patterns) {
            const QString compared =
                pattern.text.contains(QLatin1Char('/')) ? name : name.section(QLatin1Char('/'), -1);
            const bool matches = pattern.expression.match(compared).hasMatch();
            pattern.isUsed = pattern.isUsed || matches;
            isCovered = isCovered || matches;
        }
        return isCovered;
    }
    [[nodiscard]] QStringList useless() const
    {
        QStringList texts;
        for (const Pattern &pattern : m_patterns) {
            if (!pattern.isUsed)
                texts.append(pattern.text);
        }
        return texts;
    }

private:
    struct Pattern
    {
        QString text;
        QRegularExpression expression;
        bool isUsed = false;
    };

    QList<Pattern> m_patterns;
};

/// Why \a entry cannot be packed; empty where it can.
QString objectionTo(const QFileInfo &entry)
{
    if (entry.isSymbolicLink() || entry.isJunction())
        return failureAt(entry.filePath(), QStringLiteral("is a link, which an updater cannot make"));
    if (!entry.isReadable())
        return failureAt(entry.filePath(), QStringLiteral("cannot be read"));
    if (!entry.isDir() && !entry.isFile())
        return failureAt(entry.filePath(), QStringLiteral("is neither a file nor a folder"));
    return {};
}

/// How many files and folders are directly in \a folder, by whatever bytes their names are; none where it cannot tell.
std::optional<qsizetype> countOf(const QString &folder)
{
    std::error_code error;
    std::filesystem::directory_iterator entry(std::filesystem::u8path(folder.toStdString()), error);
    qsizetype count = 0;
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error))
        ++count;
    return error ? std::nullopt : std::optional(count);
}

/// Adds what is in \a folder, which is called \a prefix in the package, to \a list.
void addContents(const QString &folder, const QString &prefix, Exclusions &exclusions, PackingList &list)
{
    const QDir::Filters everything = QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot;
    const QFileInfoList entries = QDir(folder).entryInfoList(everything);
    if (entries.size() < countOf(folder).value_or(0) && list.failure.isEmpty())
        list.failure = failureAt(folder, QStringLiteral("has a file whose name is no UTF-8"));
    for (const QFileInfo &entry : entries) {
        const QString name = prefix + entry.fileName();
        if (exclusions.cover(name)) {
            list.excluded.append(name);
            continue;
        }
        const QString objection = objectionTo(entry);
        if (!objection.isEmpty() && list.failure.isEmpty())
            list.failure = objection;
        const bool isFolder = entry.isDir() && objection.isEmpty();
        list.items.append({isFolder ? name + QLatin1Char('/') : name, entry.filePath(), isFolder ? 0 : entry.size()});
        if (isFolder)
            addContents(entry.filePath(), name + QLatin1Char('/'), exclusions, list);
    }
}

} // namespace

PackingList listFolder(const QString &folder, const QStringList &patterns)
{
    PackingList list;
    if (!QFileInfo(folder).isDir()) {
        list.failure = failureAt(folder, QStringLiteral("is no folder"));
        return list;
    }
    Exclusions exclusions(patterns);
    addContents(folder, QString(), exclusions, list);
    std::sort(list.items.begin(), list.items.end(),
              [](const PackedItem &first, const PackedItem &second) { return first.name < second.name; });
    list.excluded.sort();
    list.uselessPatterns = exclusions.useless();
    return list;
}

} // namespace freshen::publish
