// What is too short to be timed one at a time, and what it is compared with.

#include "app/debuglog.h"
#include "download/versionlist.h"
#include "ui/mainwindow.h"
#include "versions/versiondescription.h"

#include <QApplication>
#include <QCheckBox>
#include <QDebug>
#include <QEventLoop>
#include <QFile>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTemporaryDir>
#include <QTreeWidget>

#include <array>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <optional>

using namespace freshen;

namespace {

constexpr int listedRows = 10000;

/// A version description file of \a lines lines, oldest first: each \a kinds-th has one column more than the one before
/// it. One line in a hundred is a fix, which is logged.
QString makeDescription(qint64 lines, int kinds)
{
    constexpr int fixes = 100;
    QString text;
    for (qint64 i = 0; i < lines; ++i) {
        const bool isBeta = i % 3 == 2;
        text += QStringLiteral("26.05.%1|%2|%3|%4.05.2026|What is new in this version, number %1")
                    .arg(ownRevision + 1 + i)
                    .arg(isBeta ? betaType : stableType)
                    .arg(i % fixes == 0 ? 17 : 0)
                    .arg(1 + i % 28, 2, 10, QLatin1Char('0'));
        if (i % kinds >= 1)
            text += QLatin1String("|7000");
        if (i % kinds >= 2)
            text += QLatin1String("|10.0");
        text += QLatin1Char('\n');
    }
    return text;
}

const RunningSystem someWindows{true, 10, 0, QStringLiteral("Windows")};

/// Times \a read alone: what it gives stays to the end of a run, so giving it back is not of interest.
template <typename Read>
void timeReading(benchmark::State &state, int kinds, const Read &read)
{
    const QString text = makeDescription(state.range(0), kinds);
    for (auto _ : state) {
        std::optional<decltype(read(text))> result = read(text);
        benchmark::DoNotOptimize(result);
        state.PauseTiming();
        result.reset();
        state.ResumeTiming();
    }
}

/// The reading of the automatic mode.
void readFull(benchmark::State &state)
{
    timeReading(state, 3,
                [](const QString &text) { return readVersionDescription(text, someWindows, [] { return false; }); });
}

/// The reading of the manual mode.
void readList(benchmark::State &state)
{
    timeReading(state, 2, [](const QString &text) { return readVersionList(text); });
}

/// The peer of both: the same columns of the same text, in a table of the same kind.
QMap<qint32, QStringList> split(const QString &text)
{
    QMap<qint32, QStringList> rows;
    for (const QString &line : text.split(QLatin1Char('\n'), Qt::SkipEmptyParts))
        rows.insert(rows.size(), line.split(QLatin1Char('|')));
    return rows;
}

void splitFull(benchmark::State &state)
{
    timeReading(state, 3, split);
}

void splitList(benchmark::State &state)
{
    timeReading(state, 2, split);
}

/// Fills the list of \a window as the reply of the update server does.
void showVersions(MainWindow &window, const QString &description)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("windows.txt"));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(description.toUtf8()) < 0)
        qFatal("Cannot write %s", qPrintable(path));
    file.close();
    QNetworkReply *reply = networkAccessManager->get(QNetworkRequest(QUrl::fromLocalFile(path)));
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    loop.exec();
    window.getVersions(reply);
}

/// Shows \a window with the list of versions, and returns that.
QTreeWidget *showList(MainWindow &window)
{
    window.show();
    QCoreApplication::processEvents();
    showVersions(window, makeDescription(listedRows, 2));
    return window.findChild<QTreeWidget *>();
}

/// Beta versions away and back again, each time until it is on the screen.
void toggleBeta(benchmark::State &state)
{
    MainWindow window;
    const QTreeWidget *tree = showList(window);
    auto *showBeta = window.findChild<QCheckBox *>();
    showBeta->setChecked(false);
    for (auto _ : state) {
        showBeta->click();
        QCoreApplication::processEvents();
        if (tree->topLevelItemCount() != listedRows)
            state.SkipWithError("the list does not show all rows");
        showBeta->click();
        QCoreApplication::processEvents();
    }
}

/// The peer: the same texts made and put into the same list, and sorted.
void fillTree(benchmark::State &state)
{
    const VersionTable versions = readVersionList(makeDescription(listedRows, 2));
    MainWindow window;
    QTreeWidget *tree = showList(window);
    tree->setSortingEnabled(false);
    for (auto _ : state) {
        for (const bool showBeta : {true, false}) {
            tree->clear();
            QList<QTreeWidgetItem *> items;
            int number = 0;
            for (auto row = versions.cbegin(); row != versions.cend(); ++row) {
                if (showBeta || row->at(column::type) != betaType)
                    items.append(new QTreeWidgetItem({QString::number(row.key()), row->at(column::version),
                                                      QLatin1String("Update ") + QString::number(++number),
                                                      row->at(column::reference), row->at(column::date),
                                                      row->at(column::info)}));
            }
            tree->addTopLevelItems(items);
            tree->sortItems(0, Qt::DescendingOrder);
            QCoreApplication::processEvents();
        }
    }
}

/// One round of the check for the running application. It finds none, so the round also makes up the address of the
/// version description file, but with this program's argument nothing is asked for.
void precheck(benchmark::State &state)
{
    MainWindow window;
    for (auto _ : state)
        window.precheckTimer();
}

/// One message in the debug log and on standard error.
void logLine(benchmark::State &state)
{
    for (auto _ : state)
        qDebug() << "unzipping" << QStringLiteral("Tavlopro/folder 12/file 345.dll");
}

/// The peer: the same line, ready to be written, in both places.
void printLine(benchmark::State &state)
{
    std::FILE *file = std::tmpfile();
    for (auto _ : state) {
        std::fprintf(stderr, "unzipping \"Tavlopro/folder 12/file 345.dll\" (:0, )\n");
        std::fprintf(file, "260501 12:00:00:000 [D][:0]  unzipping \"Tavlopro/folder 12/file 345.dll\"\n");
        std::fflush(file);
    }
    std::fclose(file);
}

BENCHMARK(readFull)->Arg(100)->Arg(10000)->Arg(1000000)->Unit(benchmark::kNanosecond);
BENCHMARK(splitFull)->Arg(100)->Arg(10000)->Arg(1000000)->Unit(benchmark::kNanosecond);
BENCHMARK(readList)->Arg(100)->Arg(10000)->Arg(1000000)->Unit(benchmark::kNanosecond);
BENCHMARK(splitList)->Arg(100)->Arg(10000)->Arg(1000000)->Unit(benchmark::kNanosecond);
BENCHMARK(toggleBeta)->Unit(benchmark::kNanosecond);
BENCHMARK(fillTree)->Unit(benchmark::kNanosecond);
BENCHMARK(precheck)->Unit(benchmark::kNanosecond);
BENCHMARK(logLine)->Unit(benchmark::kNanosecond);
BENCHMARK(printLine)->Unit(benchmark::kNanosecond);

} // namespace

int main(int argc, char *argv[])
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return EXIT_FAILURE;
    std::array<char, 10> program{"functions"};
    std::array<char, 8> argument{"nothing"};
    std::array<char *, 3> arguments{program.data(), argument.data(), nullptr};
    int count = 2;
    const QApplication application(count, arguments.data());

    const QTemporaryDir folder;
    QFile log(folder.filePath(QStringLiteral("debug_update.log")));
    setDebugLogFile(&log);
    qInstallMessageHandler(writeDebugLog);
    benchmark::RunSpecifiedBenchmarks();
    qInstallMessageHandler(nullptr);
    setDebugLogFile(nullptr);
    return EXIT_SUCCESS;
}
