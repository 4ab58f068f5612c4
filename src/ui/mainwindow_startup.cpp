// The start of a run: the check that the application is closed, and the relocation.

#include "app/elevatedstart.h"
#include "app/selfrelocation.h"
#include "install/runningprocesses.h"
#include "ui/mainwindow.h"
#include "versions/deployment.h"

#include <QCoreApplication>
#include <QDebug>
#include <QDir>
#include <QMessageBox>
#include <QStandardPaths>

#include <chrono>

using namespace freshen;
using namespace std::chrono_literals;

namespace {

/// The executable whose process holds the updater back. The application's newer name is not looked for.
const QLatin1String blockingProcess("Tavlopc.exe");

/// Time between two rounds of the check.
constexpr std::chrono::milliseconds checkInterval = 100ms;

/// Time that the application has to close by itself before the user is asked.
constexpr std::chrono::milliseconds gracePeriod = 1s;

// Not in the catalogues, so these appear in every language as they stand. The check's text is the one German source
// text. Both are kept out of the tr() calls so that they are not collected into the catalogues.
constexpr char precheckTitle[] = "Tavlopro Updater Precheck";
constexpr char precheckText[] = "<html><p>Ihre Tavlopro-Anwendung läuft noch.</p><p>Bitte schließen Sie diese erst, um "
                                "mit der Installation fortfahren zu können.</p>";

// Not translated either.
const QLatin1String startErrorText("We are sorry, but the Tavlopro update tool has an error.\n"
                                   "Perhaps it has insufficent rights.\n"
                                   "You can also try to re-install Tavlopro by downloading the current version from:\n"
                                   "<html><a href=\"%1\">%1</a></html>");

} // namespace

void MainWindow::precheckTimer()
{
    qDebug() << "checking ...";
    QStringList processes;
    // Where the list cannot be read, the application counts as closed.
    listRunningProcesses(processes);
    if (!processes.contains(blockingProcess)) {
        startVersionCheck();
        return;
    }

    if (std::chrono::milliseconds(startTime.msecsTo(QDateTime::currentDateTime())) > gracePeriod) {
        // Without a parent, so that it also stands on its own before the window has been shown.
        // The box has no Cancel button although Cancel is its default; the static functions of QMessageBox would add
        // one. So the user cannot leave the check from here, only by closing the application.
        QMessageBox box(QMessageBox::Information, tr(precheckTitle), tr(precheckText), QMessageBox::Retry);
        box.setDefaultButton(QMessageBox::Cancel);
        if (box.exec() == QMessageBox::Cancel) {
            QTimer::singleShot(0, qApp, SLOT(quit()));
            return;
        }
    }
    precheckTrigger.start(checkInterval);
}

bool MainWindow::relocateToTempFolder()
{
    const RelocationPaths paths = relocationPaths(
        QCoreApplication::applicationDirPath(), QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation));
    qDebug() << paths.source << paths.temporary;
    QDir().mkpath(paths.temporary);
    if (!QDir(paths.temporary).exists()) {
        qDebug() << "Error creating path:" << paths.temporary;
        return false;
    }

    // What fails here is in the log, and shows where the copy is started or the installation begins.
    static_cast<void>(writeHandOver(paths));
    removeFolder(paths.temporary);
    QDir().mkpath(paths.temporary);
    copyUpdater(paths);

    const StartResult result = startElevated(QLatin1String(updaterFileName), QStringLiteral("menu"), paths.temporary);
    qDebug() << result.code;
    if (result.isStarted()) {
        QTimer::singleShot(0, qApp, SLOT(quit()));
        return true;
    }

    logStartFailure(result, paths);
    QMessageBox box(QMessageBox::Critical, tr("Error starting Updater"),
                    startErrorText.arg(QLatin1String(deployment::downloadPage)), QMessageBox::Ok, this);
    // As rich text, since the link is one; there, a line break is a tag.
    box.setTextFormat(Qt::RichText);
    box.setText(box.text().replace(QLatin1Char('\n'), QLatin1String("<br/>")));
    box.exec();
    return false;
}

bool MainWindow::removeFolder(const QString &path)
{
    return freshen::removeFolder(path);
}
