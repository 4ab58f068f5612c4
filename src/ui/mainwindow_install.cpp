// Replacing the installation and starting the new application.

#include "install/cleaning.h"
#include "install/copybatch.h"
#include "install/copyobstacle.h"
#include "install/installation.h"
#include "install/relaunch.h"
#include "ui/mainwindow.h"
#include "ui/ui_mainwindow.h"
#include "versions/applicationsettings.h"

#include <QCoreApplication>
#include <QDebug>
#include <QDir>
#include <QFileInfo>
#include <QMessageBox>

using namespace freshen;

namespace {

/// Names of the files that the cleaning leaves in the installation folder, as they are set now.
QStringList filesToKeep()
{
    return setting(applicationSettings(), key::filesToKeep).toStringList();
}

/// Why the folder \a package of \a unpackedFolder cannot replace the installation in \a destination, for the user;
/// nothing where it can. The old version is better than half of the new one.
std::optional<QString> installationObstacle(const QString &unpackedFolder, const std::optional<QString> &package,
                                            const QString &destination)
{
    if (!package) {
        qWarning() << "No unpacked package in" << unpackedFolder;
        return QLatin1String(standardErrorHeading) + unpackedFolder;
    }
    std::optional<QString> obstacle =
        copyObstacle(unpackedFolder + *package, destination, filesToKeep(), DiskSpace::at(destination));
    if (obstacle)
        qWarning() << "Copy not begun:" << *obstacle;
    return obstacle;
}

} // namespace

void MainWindow::installUpdate()
{
    setMultiButtonSlot(nullptr, nullptr);
    showStatus(tr("Installing update..."));
    ui->multiButton->setDisabled(true);
    ui->multiButton->setText(tr("Please wait!"));

    const QString destination = QDir::cleanPath(readHandOver(parentDir));
    qDebug() << "destDir" << destination;
    const QString unpacked = QDir::toNativeSeparators(unpackedFolder() + QLatin1Char('/'));
    const std::optional<QString> package = packageFolder(unpacked);
    qDebug() << destination;
    const Executables executables = Executables::in(destination);
    if (!executables.existing()) {
        qDebug() << "Testpath:" << executables.old << executables.current;
        QMessageBox::information(this, tr("Tavlopro Update"), tr("The destination path seems wrong. Aborting!"));
        return;
    }
    if (const std::optional<QString> obstacle = installationObstacle(unpacked, package, destination)) {
        reportCopyFailure(*obstacle);
        return;
    }

    // The box has no parent, so it stands on its own in the task bar.
    const auto answer = QMessageBox::information(nullptr, tr("Tavlopro Update"),
                                                 tr("We need to clean the old version first. Do you agree to delete "
                                                    "all contents in:\n\n%1 ")
                                                     .arg(destination),
                                                 QMessageBox::Ok | QMessageBox::No);
    // Whoever declines keeps the old files; the installation goes on all the same.
    if (answer == QMessageBox::Ok)
        deleteTempDir(destination, false, filesToKeep());
    copyUpdate(unpacked + *package, destination);
}

void MainWindow::copyUpdate(const QString &source, const QString &destination)
{
    const CopyBatch batch = CopyBatch::in(QCoreApplication::applicationDirPath());
    const bool isWritten = writeBatchFile(batch.path, copyCommand(source, destination, batchShell()));
    // The window cannot be drawn while it waits for the copy, so let it be drawn first.
    QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
    // Half a command would copy nothing, or something else, and might even say that it went well.
    const CopyResult result = isWritten ? runCopyBatch(batch) : CopyResult();
    if (!result.succeeded) {
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
    if (!executables.existing()) {
        qDebug() << "Testpath:" << executables.old << executables.current;
        reportCopyFailure(result.errorText);
        return;
    }
    deleteTempDir(QDir::toNativeSeparators(unpackedFolder()), true, {});
    startTavlo();
}

void MainWindow::reportCopyFailure(const QString &errorText)
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
    const std::optional<QString> shell = shellProgram(QProcess::systemEnvironment());
    if (!shell)
        qDebug() << "explorer not found";

    const Executables executables = Executables::in(readHandOver(parentDir));
    const std::optional<QString> executable = executables.existing();
    if (!executable)
        qDebug() << "cant find file to start" << executables.current << executables.old;

    // The attempt is made and logged whatever is missing.
    const QString command = relaunchCommand(shell.value_or(QString()), executable.value_or(QString()));
    // The line is meant to stand there twice: support knows the log so.
    qDebug() << "starting" << command;
    qDebug() << "starting" << command;
    const bool isStarted = startThroughShell(shell.value_or(QString()), executable.value_or(QString()));
    qDebug() << "success:" << isStarted;
    QCoreApplication::quit();
}

void MainWindow::processError(QProcess::ProcessError error)
{
    qDebug() << errorName(error);
}
