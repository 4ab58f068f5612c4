// Linked with the program's own main(): does one step of the window in a run that is otherwise as usual, prints how
// long it took, and quits. With these arguments the window starts nothing by itself.
//
//     steps extract PACKAGE            unpacks PACKAGE into the folder "out" above the program, and deletes it
//     steps clean FOLDER               empties FOLDER
//     steps copy SOURCE DESTINATION    copies what is in SOURCE with the copy batch
//     steps relocate                   copies the program into its temporary folder and starts the copy
//
// On standard output: {"seconds": ..., "stall": ...}. The stall is the longest time without event processing.

#include "install/copybatch.h"
#include "ui/mainwindow.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QStackedWidget>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

using namespace freshen;

namespace {

constexpr double perSecond = 1e-9;

/// Notes how long the step takes, and each time that it lets events be processed.
class Watch : public QObject
{
public:
    Watch()
    {
        m_clock.start();
        // Without an interval it is due whenever events are processed.
        m_tick.callOnTimeout(this, &Watch::look);
        m_tick.start(0);
    }

    void report()
    {
        look();
        static_cast<void>(std::printf("{\"seconds\": %.6f, \"stall\": %.6f}\n", static_cast<double>(m_last) * perSecond,
                                      static_cast<double>(m_longest) * perSecond));
        static_cast<void>(std::fflush(stdout));
    }

private:
    void look()
    {
        const qint64 now = m_clock.nsecsElapsed();
        m_longest = std::max(m_longest, now - m_last);
        m_last = now;
    }

    QElapsedTimer m_clock;
    QTimer m_tick;
    qint64 m_last = 0;
    qint64 m_longest = 0;
};

MainWindow *mainWindow()
{
    for (QWidget *widget : QApplication::topLevelWidgets()) {
        if (auto *window = qobject_cast<MainWindow *>(widget))
            return window;
    }
    return nullptr;
}

bool extract(MainWindow &window, const QString &package)
{
    window.findChild<QStackedWidget *>()->setCurrentIndex(1);
    QCoreApplication::processEvents();
    Watch watch;
    QString errorText;
    const bool succeeded = window.unzip(package, errorText);
    watch.report();
    return succeeded;
}

bool clean(MainWindow &window, const QString &folder)
{
    Watch watch;
    window.deleteTempDir(folder, false, {});
    watch.report();
    return QDir(folder).isEmpty();
}

bool copy(const QString &source, const QString &destination)
{
    Watch watch;
    const CopyBatch batch = CopyBatch::in(QCoreApplication::applicationDirPath());
    const bool isWritten = writeBatchFile(batch.path, copyCommand(source, destination, batchShell()));
    const bool isCopied = isWritten && runCopyBatch(batch).succeeded;
    watch.report();
    return isCopied;
}

bool relocate(MainWindow &window)
{
    Watch watch;
    const bool isStarted = window.relocateToTempFolder();
    watch.report();
    return isStarted;
}

bool doStep(MainWindow &window, const QStringList &arguments)
{
    const QString step = arguments.value(1);
    if (step == QLatin1String("extract"))
        return extract(window, arguments.value(2));
    if (step == QLatin1String("clean"))
        return clean(window, arguments.value(2));
    if (step == QLatin1String("copy"))
        return copy(arguments.value(2), arguments.value(3));
    return step == QLatin1String("relocate") && relocate(window);
}

void prepareStep()
{
    // The copy that the relocation starts has nothing to do.
    if (QCoreApplication::arguments().value(1) == QLatin1String("menu"))
        std::_Exit(EXIT_SUCCESS);
    // By then the window is shown and has found that it has nothing to do.
    constexpr int whenItIsQuiet = 100;
    QTimer::singleShot(whenItIsQuiet, qApp, [] {
        MainWindow *window = mainWindow();
        const bool succeeded = window != nullptr && doStep(*window, QCoreApplication::arguments());
        QCoreApplication::exit(succeeded ? EXIT_SUCCESS : EXIT_FAILURE);
    });
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(prepareStep)
