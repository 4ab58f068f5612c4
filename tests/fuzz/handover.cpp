// The hand-over file: what the relocated updater finds. The input is the file; its first line is also taken for the
// name of an installation that the updater hands over itself.

#include "app/selfrelocation.h"
#include "fuzz/fuzzing.h"
#include "install/installation.h"

#include <QDir>
#include <QFile>

#include <algorithm>

using namespace freshen;

namespace {

void writeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    require(file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(content) == content.size(),
            "the hand-over file can be written");
}

bool isPlainText(const QByteArray &bytes)
{
    return std::all_of(bytes.begin(), bytes.end(), [](char byte) { return byte >= ' ' && byte <= '~'; });
}

void checkReading(const QString &folder, const QByteArray &content)
{
    writeFile(handOverFile(folder), content);
    const QString installation = readHandOver(folder);
    require(installation == readHandOver(folder), "the same file gives the same folder");
    require(!installation.contains(QLatin1Char('\n')), "the folder is one line");
    const QByteArray line = content.split('\n').first();
    if (isPlainText(line))
        require(installation == QString::fromLatin1(line), "the folder is the first line");
    const Executables executables = Executables::in(QDir::cleanPath(installation));
    require(executables.current.endsWith(QLatin1String("/Tavlopro.exe")) &&
                executables.old.endsWith(QLatin1String("/Tavlopc.exe")),
            "the executables lie in the folder");
    require(!executables.existing() || QFile::exists(*executables.existing()), "an executable that was found is there");
}

void checkRoundTrip(const QString &folder, const QString &installation)
{
    RelocationPaths paths = relocationPaths(QLatin1Char('/') + installation, folder);
    require(paths.handOver == handOverFile(folder), "the file lies where it is looked for");
    static_cast<void>(writeHandOver(paths));
    const QString expected = QDir(paths.source).absolutePath();
    // A surrogate without its other half is no text.
    if (!expected.contains(QLatin1Char('\r')) && expected == QString::fromUtf8(expected.toUtf8()))
        require(readHandOver(folder) == expected, "the installation that was handed over is found");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    const QString folder = privateFolder();
    checkReading(folder, Input(data, size).rest());
    checkRoundTrip(folder, input.text());
    return 0;
}
