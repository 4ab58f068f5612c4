// The batch file of the copy. Whatever the two folders are called, the shell that runs the file must hand exactly these
// names to the copying program. The input is the two names, one line each.

#include "fuzz/fuzzing.h"
#include "install/copybatch.h"

#include <QFile>
#include <QStringList>

#include <algorithm>
#include <optional>

using namespace freshen;

namespace {

constexpr int linesForEachFile = 8;

using Words = std::optional<QStringList>;

/// The words of one simple command as sh reads them (POSIX Shell Command Language, 2.2.3), or nothing where it would
/// expand something or go on reading.
Words wordsForShell(const QString &line)
{
    QStringList words;
    QString word;
    bool isQuoted = false;
    bool isWord = false;
    for (int i = 0; i < line.size(); ++i) {
        const QChar character = line.at(i);
        if (character == QLatin1Char('"')) {
            isQuoted = !isQuoted;
            isWord = true;
        } else if (character == QLatin1Char('\\') && isQuoted && i + 1 < line.size() &&
                   QStringLiteral("$`\"\\\n").contains(line.at(i + 1))) {
            ++i;
            if (line.at(i) != QLatin1Char('\n'))
                word += line.at(i);
        } else if (character == QLatin1Char('$') || character == QLatin1Char('`')) {
            return std::nullopt;
        } else if (!isQuoted && character == QLatin1Char(' ')) {
            if (isWord)
                words += word;
            word.clear();
            isWord = false;
        } else {
            word += character;
            isWord = true;
        }
    }
    if (isQuoted)
        return std::nullopt;
    if (isWord)
        words += word;
    return words;
}

/// A line of a batch file after Windows' command interpreter has replaced its per cent signs: two stand for one, and
/// nothing else is left of what they enclose, since no variable of that name is set.
QString withoutVariables(const QString &line)
{
    QString result;
    for (int i = 0; i < line.size(); ++i) {
        if (line.at(i) != QLatin1Char('%')) {
            result += line.at(i);
        } else if (i + 1 < line.size() && line.at(i + 1) == QLatin1Char('%')) {
            result += line.at(++i);
        } else if (i + 1 < line.size() && line.at(i + 1).isDigit()) {
            // An argument of the batch file, which has none.
            ++i;
        } else {
            const int end = line.indexOf(QLatin1Char('%'), i + 1);
            if (end >= 0)
                i = end;
        }
    }
    return result;
}

/// The words as a Windows program reads its command line: a backslash before a quotation mark takes its meaning.
Words wordsForWindows(const QString &line)
{
    QStringList words;
    QString word;
    bool isQuoted = false;
    bool isWord = false;
    int backslashes = 0;
    for (const QChar character : withoutVariables(line)) {
        if (character == QLatin1Char('\\')) {
            ++backslashes;
            isWord = true;
            continue;
        }
        const bool isMark = character == QLatin1Char('"');
        word += QString(isMark ? backslashes / 2 : backslashes, QLatin1Char('\\'));
        if (isMark && backslashes % 2 == 0) {
            isQuoted = !isQuoted;
            isWord = true;
        } else if (!isQuoted && character == QLatin1Char(' ')) {
            if (isWord)
                words += word;
            word.clear();
            isWord = false;
        } else {
            // Outside of quotation marks these would end the command.
            if (!isQuoted && QStringLiteral("&|<>^()").contains(character))
                return std::nullopt;
            word += character;
            isWord = true;
        }
        backslashes = 0;
    }
    word += QString(backslashes, QLatin1Char('\\'));
    if (isQuoted)
        return std::nullopt;
    if (isWord)
        words += word;
    return words;
}

/// Whether Windows allows \a name as the name of a folder that is not the top of a drive.
bool isWindowsFolder(const QString &name)
{
    return !name.isEmpty() && !name.endsWith(QLatin1Char('\\')) &&
           std::none_of(name.begin(), name.end(), [](QChar character) {
               return character < QLatin1Char(' ') || QStringLiteral("\"<>|?*").contains(character);
           });
}

/// The text of the batch file that holds \a line, without its line end.
QString written(const QString &line)
{
    const QString path = CopyBatch::in(privateFolder()).path;
    require(writeBatchFile(path, line), "the batch file is written");
    QFile file(path);
    require(file.open(QIODevice::ReadOnly), "the batch file is there");
    const QString text = QString::fromLocal8Bit(file.readAll());
    require(text.endsWith(QLatin1Char('\n')), "the batch file ends its line");
    return text.chopped(1);
}

void check(const QString &source, const QString &destination)
{
    const QStringList expected = {QStringLiteral("xcopy.exe"),
                                  QStringLiteral("/E"),
                                  QStringLiteral("/Y"),
                                  QStringLiteral("/G"),
                                  QStringLiteral("/K"),
                                  source,
                                  destination};
    const QString forShell = copyCommand(source, destination, BatchShell::Posix);
    // A file takes longer than all the rest, so not every line is written.
    if (forShell.size() % linesForEachFile == 0)
        require(written(forShell) == forShell, "the batch file holds the line");
    require(wordsForShell(forShell) == expected, "sh hands on the two folders as they are");
    if (isWindowsFolder(source) && isWindowsFolder(destination))
        require(wordsForWindows(copyCommand(source, destination, BatchShell::CommandInterpreter)) == expected,
                "Windows' command interpreter hands on the two folders as they are");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    const QString source = input.text();
    const QString destination = QString::fromUtf8(input.rest());
    const QString both = source + destination;
    // Neither is part of any name of a folder.
    if (!both.contains(QChar(QChar::Null)) && both == QString::fromUtf8(both.toUtf8()))
        check(source, destination);
    return 0;
}
