// Fetching the chosen package: download, storing, extraction.

#include "download/extraction.h"
#include "download/packagestore.h"
#include "download/progress.h"
#include "download/versionlist.h"
#include "ui/mainwindow.h"
#include "ui/ui_mainwindow.h"
#include "versions/applicationsettings.h"

#include <QCoreApplication>
#include <QDebug>
#include <QDir>
#include <QMessageBox>
#include <QNetworkAccessManager>
#include <QNetworkReply>

using namespace freshen;

void MainWindow::downloadVersion()
{
    const QTreeWidgetItem *item = ui->versionsTreeWidget->currentItem();
    if (item == nullptr) {
        QMessageBox::information(this, QStringLiteral("Information"), tr("Please choose a version to download"));
        return;
    }
    const qint32 revision = item->text(listcolumn::revision).toInt();
    const VersionRow row = versions.value(revision);
    if (row.isEmpty()) {
        // The page with the label is not shown at this point; the text can be seen once it is.
        showStatus(tr("Error selecting version!"));
        return;
    }
    disconnect(ui->button, SIGNAL(clicked()), this, SLOT(downloadVersion()));
    startDownload(row, revision, PortInAddress::Always);
    showProgressPage();
}

void MainWindow::startDownload(const VersionRow &row, qint32 revision, PortInAddress portRule)
{
    selectedVersion = selectedVersionName(row);
    showStatus(tr("Downloading Tavlopro Software Update %1 %2 ...").arg(row.at(column::type), row.at(column::version)));

    const QString address = packageAddress(readUpdateServer(applicationSettings()),
                                           serverPackageName(row, revision, packageNaming()), portRule);
    qDebug() << "Get:" << address;
    downloadReply = networkAccessManager->get(requestFor(address));
    connect(downloadReply, SIGNAL(downloadProgress(qint64, qint64)), this, SLOT(downloadProgress(qint64, qint64)));
    expectReply(SLOT(readAndUnzipDownload(QNetworkReply *)));
    setMultiButtonSlot(this, SLOT(abortDownload()));
}

void MainWindow::downloadProgress(qint64 p_bytesReceived, qint64 p_bytesTotal)
{
    const QString received = megabytes(p_bytesReceived);
    if (p_bytesTotal == -1) {
        ui->sizeLabel->setText(tr("%1 MB downloaded").arg(received));
        // A bar without a range shows that something is going on.
        ui->progressBar->setRange(0, 0);
        return;
    }
    ui->sizeLabel->setText(tr("%1 of %2 MB downloaded").arg(received, megabytes(p_bytesTotal)));
    // The bar counts in 32 bits; a package beyond 2 GiB is out of its range.
    ui->progressBar->setMaximum(static_cast<int>(p_bytesTotal));
    ui->progressBar->setValue(static_cast<int>(p_bytesReceived));
}

void MainWindow::abortDownload()
{
    qDebug() << "download aborted";
    expectReply(nullptr);
    // Nothing is aborted here: the transfer ends when the event loop deletes the reply. That errors of TLS are ignored
    // until then is of no consequence, and meant so.
    downloadReply->ignoreSslErrors();
    setMultiButtonSlot(nullptr, nullptr);
    ui->sizeLabel->setText(tr("Download aborted!"));
    ui->progressBar->setValue(0);
    setMultiButtonSlot(qApp, SLOT(quit()));
    ui->multiButton->setText(tr("Close"));
    downloadReply->deleteLater();
}

void MainWindow::readAndUnzipDownload(QNetworkReply *p_reply)
{
    expectReply(nullptr);
    setMultiButtonSlot(nullptr, nullptr);

    // A failed download is stored as it came; the extraction tells what is wrong with it.
    if (const std::optional<QString> failure = failureOf(*p_reply))
        qWarning() << "Download failed:" << *failure;
    const QString path =
        QDir::toNativeSeparators(parentDir + QLatin1Char('/') + localPackageName(selectedVersion, packageNaming()));
    // Without a whole package the extraction fails, and its words are the user's.
    static_cast<void>(storePackage(*p_reply, path));
    p_reply->deleteLater();
    qDebug() << "update stored in " << path;

    QString errorText;
    if (unzip(path, errorText)) {
        setMultiButtonSlot(this, SLOT(installUpdate()));
        showStatus(tr("Update ready to install!"));
        ui->multiButton->setText(tr("Install Update and Relaunch Tavlopro..."));
        qDebug() << "update unzipped to " << QDir::toNativeSeparators(unpackedFolder());
    } else {
        showStatus(tr("Error unzipping update!\n\n%1").arg(errorText));
        ui->multiButton->setDisabled(true);
        qDebug() << "Error unzipping" << errorText;
    }
}

bool MainWindow::unzip(const QString &archivePath, QString &errorText)
{
    ui->sizeLabel->setText(QString());
    showStatus(tr("Extracting update..."));

    ExtractionObserver observer;
    observer.started = [this](int entries) {
        ui->progressBar->setMaximum(entries);
        ui->progressBar->setValue(0);
    };
    observer.beforeEntry = [] { QCoreApplication::processEvents(); };
    observer.entry = [this](int number) { ui->progressBar->setValue(number); };
    const ExtractionResult result = extractPackage(archivePath, unpackedFolder(), observer);
    errorText += result.errorText;
    return result.succeeded;
}
