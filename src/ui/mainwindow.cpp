#include "ui/mainwindow.h"

#include "ui/ui_mainwindow.h"
#include "versions/applicationsettings.h"

#include <QDebug>
#include <QNetworkAccessManager>
#include <QSettings>
#include <QTextDocument>
#include <QTextDocumentFragment>

using namespace freshen;

QNetworkAccessManager *freshen::networkAccessManager = nullptr;

namespace {

/// The updater's own version number, as the title shows it.
constexpr int titleVersion = 96;

/// Size of the window while it shows the progress page.
constexpr int progressPageWidth = 460;
constexpr int progressPageHeight = 140;

/// The application's logo is kept by every installation, whatever the application's settings say.
const QLatin1String logoFile("logo.png");

} // namespace

MainWindow::MainWindow(QWidget *parent) : QMainWindow(parent), ui(std::make_unique<Ui::MainWindow>())
{
    parentDir = QCoreApplication::applicationDirPath() + QLatin1String("/..");
    protectLogoFile();

    networkAccessManager = new QNetworkAccessManager;
    connect(networkAccessManager, SIGNAL(proxyAuthenticationRequired(QNetworkProxy, QAuthenticator *)), this,
            SLOT(authenticateProxy(QNetworkProxy, QAuthenticator *)));
    applyProxySettings();

    buildForm();
    readApplicationSettings();
    if (version_main.isEmpty())
        showStatus(tr("No Version of Tavlopro found!"));

    startTime = QDateTime::currentDateTime();
    precheckTrigger.setSingleShot(true);
    connect(&precheckTrigger, SIGNAL(timeout()), this, SLOT(precheckTimer()));
    precheckTrigger.start(0);

    osTag = operatingSystemTag(RunningSystem::current());

    connect(ui->showBetaCheckBox, SIGNAL(clicked()), this, SLOT(betaCheckBoxBlicked()));
    connect(ui->versionsTreeWidget, SIGNAL(currentItemChanged(QTreeWidgetItem *, QTreeWidgetItem *)), this,
            SLOT(currentItemChanged(QTreeWidgetItem *, QTreeWidgetItem *)));
    connect(ui->versionsTreeWidget, SIGNAL(itemActivated(QTreeWidgetItem *, int)), this,
            SLOT(itemActivated(QTreeWidgetItem *, int)));
}

MainWindow::~MainWindow() = default;

void MainWindow::protectLogoFile()
{
    QSettings store = applicationSettings();
    QStringList filesToKeep = setting(store, key::filesToKeep).toStringList();
    if (filesToKeep.contains(logoFile))
        return;
    filesToKeep.append(logoFile);
    store.setValue(QLatin1String(key::filesToKeep), filesToKeep);
    store.sync();
    if (store.status() != QSettings::NoError)
        qWarning() << "Cannot write" << key::filesToKeep << "to" << store.fileName() << "-" << store.status();
}

void MainWindow::buildForm()
{
    ui->setupUi(this);
    // The title is the same in every language.
    setWindowTitle(QStringLiteral("Tavlopro Updater - Version %1").arg(titleVersion));

    // Names for screen readers, where no text of the widget itself says what it is.
    ui->versionsTreeWidget->setAccessibleName(ui->versionsGroupBox->title());
    ui->versionInfo->setAccessibleName(QTextDocumentFragment::fromHtml(ui->infoLabel->text()).toPlainText());
    ui->infoLabel->setBuddy(ui->versionInfo);
    showStatus(ui->label->text());
}

void MainWindow::readApplicationSettings()
{
    const QSettings store = applicationSettings();
    version_main = setting(store, key::versionMain).toString();
    version_state = setting(store, key::versionState).toString();
    version_minor = setting(store, key::versionMinor).toString();
    useBeta = setting(store, key::useBeta, false).toBool();
    extendedNaming = setting(store, key::extendedNaming, false).toBool();
    ui->showBetaCheckBox->setChecked(useBeta);
}

void MainWindow::showProgressPage()
{
    ui->stackedWidget->setCurrentWidget(ui->autoUpdate);
    setFixedSize(progressPageWidth, progressPageHeight);
}

QString MainWindow::unpackedFolder() const
{
    return parentDir + QLatin1String("/out");
}

PackageNaming MainWindow::packageNaming() const
{
    return {extendedNaming, osTag, archTag};
}

void MainWindow::expectReply(const char *slot)
{
    disconnect(networkAccessManager, SIGNAL(finished(QNetworkReply *)), this, nullptr);
    if (slot != nullptr)
        connect(networkAccessManager, SIGNAL(finished(QNetworkReply *)), this, slot);
}

void MainWindow::setMultiButtonSlot(const QObject *receiver, const char *slot)
{
    disconnect(ui->multiButton, SIGNAL(clicked()), nullptr, nullptr);
    if (slot != nullptr)
        connect(ui->multiButton, SIGNAL(clicked()), receiver, slot);
}

void MainWindow::showStatus(const QString &text)
{
    // Some of it comes from the server: it is shown as it is written, never as rich text.
    ui->label->setTextFormat(Qt::PlainText);
    ui->label->setText(text);
    // The label is one line high; the tool tip shows the texts that are not.
    ui->label->setToolTip(Qt::mightBeRichText(text) ? Qt::convertFromPlainText(text) : text);
    ui->progressBar->setAccessibleName(text);
}
