// Replacing the installation and starting the new application.

#include "install/cleaning.h"
#include "install/copybatch.h"
#include "install/copyobstacle.h"
#include "install/installation.h"
#include "install/relaunch.h"
#include "ui/mainwindow.h"
#include "ui_mainwindow.h"
#include "versions/applicationsettings.h"

#include <QCoreApplication>
#include <QDebug>
#include <QDir>
#include <QFileInfo>
#include <QMessageBox>

namespace {

/// Names of the files that the cleaning leaves in the installation folder, as they are set now.
QStringList filesToKeep()
{
    return setting(applicationSettings(), key::filesToKeep).toStringList();
}

} // namespace

void MainWindow::installUpdate()
{
    disconnect(ui->multiButton, SIGNAL(clicked()), this, SLOT(installUpdate()));
    showStatus(tr("Installing update..."));
    ui->multiButton->setDisabled(true);
    ui->multiButton->setText(tr("Please wait!"));

    const QString destination = QDir::cleanPath(readHandOver(parentDir));
    qDebug() << "destDir" << destination;
    const QString unpacked = QDir::toNativeSeparators(parentDir + QLatin1String("/out/"));
    const QString package = packageFolder(unpacked);
    qDebug() << destination;
    const Executables executables = Executables::in(destination);
    if (executables.existing().isEmpty()) {
        qDebug() << "Testpath:" << executables.old << executables.current;
        QMessageBox::information(this, tr("Tavlopro Update"), tr("The destination path seems wrong. Aborting!"));
        return;
    }
    if (package.isEmpty()) {
        // Nothing to install: the installation stays as it is.
        qWarning() << "No unpacked package in" << unpacked;
        reportNoUpdate(QLatin1String("STD ERROR:\n") + unpacked);
        return;
    }
    const std::optional<QString> obstacle =
        copyObstacle(unpacked + package, destination, filesToKeep(), DiskSpace::at(destination));
    if (obstacle) {
        // Better the old version than half of the new one.
        qWarning() << "Copy not begun:" << *obstacle;
        reportNoUpdate(*obstacle);
        return;
    }

    const auto answer = QMessageBox::information(nullptr, tr("Tavlopro Update"),
                                                 tr("We need to clean the old version first. Do you agree to delete "
                                                    "all contents in:\n\n%1 ")
                                                     .arg(destination),
                                                 QMessageBox::Ok | QMessageBox::No);
    // Whoever declines keeps the old files; the installation goes on all the same.
    if (answer == QMessageBox::Ok)
        deleteTempDir(destination, false, filesToKeep());
    copyUpdate(unpacked + package, destination);
}

void MainWindow::copyUpdate(const QString &source, const QString &destination)
{
    const CopyBatch batch = CopyBatch::in(QCoreApplication::applicationDirPath());
    const bool isWritten = writeBatchFile(batch.path, copyCommand(source, destination, batchShell()));
    // The window cannot be drawn while it waits for the copy; so it shows by now what is going on.
    QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
    // Half a command would copy nothing, or something else, and might even say that it went well.
    const CopyResult result = isWritten ? runCopyBatch(batch) : CopyResult();
    if (!result.isGood) {
        // Not in the catalogues: shown in English in every language.
        showStatus(QStringLiteral("Error copying update!\n\n%1").arg(result.exitCode));
        qDebug() << "Error copying";
        return;
    }

    const QDir installed(destination);
    qDebug() << installed.absolutePath();
    qDebug() << installed.count();
    qDebug() << installed.entryList();
    const Executables executables = Executables::in(destination);
    if (executables.existing().isEmpty()) {
        qDebug() << "Testpath:" << executables.old << executables.current;
        reportNoUpdate(result.errorText);
        return;
    }
    deleteTempDir(QDir::toNativeSeparators(parentDir + QLatin1String("/out")), true, {});
    startTavlo();
}

void MainWindow::reportNoUpdate(const QString &errorText)
{
    QMessageBox::information(this, tr("Tavlopro Update"),
                             tr("Couldn't copy updated files. Aborting!\n\nError:\n%1").arg(errorText));
}

void MainWindow::deleteTempDir(const QString &path, bool removeSelf, QStringList filesToKeep)
{
    cleanFolder(path, removeSelf, filesToKeep);
}

void MainWindow::startTavlo()
{
    qDebug() << "startTavlo";
    const QString shell = shellProgram(QProcess::systemEnvironment());
    if (shell.isNull())
        qDebug() << "explorer not found";

    const Executables executables = Executables::in(readHandOver(parentDir));
    const QString executable = executables.existing();
    if (executable.isEmpty())
        qDebug() << "cant find file to start" << executables.current << executables.old;

    const QString command = relaunchCommand(shell, executable);
    qDebug() << "starting" << command;
    qDebug() << "starting" << command;
    const bool isStarted = startThroughShell(shell, executable);
    qDebug() << "success:" << isStarted;
    QCoreApplication::quit();
}

void MainWindow::processError(QProcess::ProcessError error)
{
    qDebug() << errorName(error);
}
