#include "publish/indexedit.h"

namespace freshen::publish {

QString lineOf(VersionRow row)
{
    while (row.size() > plainColumns && row.last().isEmpty())
        row.removeLast();
    return row.join(QLatin1Char('|'));
}

QByteArray withLine(const Index &index, const QString &line)
{
    const bool isOpen = !index.bytes.isEmpty() && !index.bytes.endsWith('\n');
    return index.bytes + (isOpen ? "\n" : "") + line.toUtf8() + '\n';
}

QByteArray withReplacedLine(const Index &index, int number, const QString &line)
{
    QByteArrayList lines = index.bytes.split('\n');
    lines[number - 1] = line.toUtf8();
    return lines.join('\n');
}

QByteArray withoutLines(const Index &index, const QList<int> &numbers)
{
    QByteArrayList kept;
    int number = 0;
    for (const QByteArray &line : index.bytes.split('\n')) {
        if (!numbers.contains(++number))
            kept.append(line);
    }
    return kept.join('\n');
}

QList<IndexLine> linesWith(const Index &index, qint32 revision)
{
    QList<IndexLine> lines;
    for (const IndexLine &line : index.lines) {
        if (line.revision == revision)
            lines.append(line);
    }
    return lines;
}

} // namespace freshen::publish
