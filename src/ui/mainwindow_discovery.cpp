// Finding out which versions there are: proxy, version request, automatic choice, version list.

#include "download/versionlist.h"
#include "ui/mainwindow.h"
#include "ui/ui_mainwindow.h"
#include "versions/applicationsettings.h"
#include "versions/automaticchoice.h"
#include "versions/proxysettings.h"
#include "versions/versiondescription.h"

#include <QAuthenticator>
#include <QCoreApplication>
#include <QDebug>
#include <QHeaderView>
#include <QMessageBox>
#include <QNetworkAccessManager>
#include <QNetworkReply>

using namespace freshen;

namespace {

// The catalogues hold a text that ends otherwise, so this one appears in English in every language; both are as the
// catalogues need them.
constexpr char readErrorText[] = "Error reading version description file:\n%1";
[[maybe_unused]] const char *const catalogueText =
    QT_TRANSLATE_NOOP("MainWindow", "Error reading version description file.");

/// The updater's own setting that makes test builds count as beta versions.
bool testBuildsAllowed()
{
    return setting(QSettings(), key::allowTestBuild, false).toBool();
}

/// Counts for the whole process, since all requests go through one manager.
CredentialOffers credentialOffers;

} // namespace

void MainWindow::applyProxySettings()
{
    const QSettings store = applicationSettings();
    const QNetworkProxy proxy = readProxy(store);
    QNetworkProxy::setApplicationProxy(proxy);
    if (proxy.type() == QNetworkProxy::NoProxy) {
        qDebug() << "no proxy is used.";
        return;
    }
    // The password stands in the log so that support can see what was really set.
    qDebug() << "setting proxy to:" << static_cast<int>(proxy.type()) << setting(store, key::proxyHost).toString()
             << setting(store, key::proxyPort).toInt() << setting(store, key::proxyUser).toString()
             << setting(store, key::proxyPassword).toString();
}

void MainWindow::authenticateProxy(QNetworkProxy proxy, QAuthenticator *auth)
{
    Q_UNUSED(proxy)
    if (!credentialOffers.isToBeAnswered())
        return;
    const QNetworkProxy known = QNetworkProxy::applicationProxy();
    auth->setUser(known.user());
    auth->setPassword(known.password());
}

void MainWindow::startVersionCheck()
{
    const QString address = versionFileAddress(readUpdateServer(applicationSettings()));
    qDebug() << "Get:" << address;
    const QNetworkRequest request = requestFor(address);

    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() <= 1) {
        if (!relocateToTempFolder())
            QTimer::singleShot(0, qApp, SLOT(quit()));
    } else if (arguments.at(1) == QLatin1String("auto")) {
        showProgressPage();
        expectReply(SLOT(getVersion(QNetworkReply *)));
        networkAccessManager->get(request);
    } else if (arguments.at(1) == QLatin1String("menu")) {
        ui->stackedWidget->setCurrentWidget(ui->chooseUpdate);
        expectReply(SLOT(getVersions(QNetworkReply *)));
        connect(ui->button, SIGNAL(clicked()), this, SLOT(downloadVersion()));
        networkAccessManager->get(request);
    }
}

QNetworkRequest MainWindow::requestFor(const QString &address) const
{
    return updateRequest(address, version_main, version_minor);
}

void MainWindow::getVersion(QNetworkReply *p_reply)
{
    expectReply(nullptr);
    const std::optional<QString> body = readVersionFileOrReport(*p_reply);
    if (!body)
        return;

    qDebug() << "Checking version... Current Tavlo:" << version_main << "." << version_minor << osTag << archTag
             << "Avail:\n"
             << *body;
    const VersionDescription description = readVersionDescription(*body, RunningSystem::current(), testBuildsAllowed);
    versions = description.versions;

    const Candidates newest = candidates(description.maxima);
    const qint32 revision = newest.choose(useBeta);
    const VersionRow row = versions.value(revision);
    qDebug() << "Choosing" << row << useBeta << newest.withBeta << newest.stable;
    if (row.isEmpty()) {
        reportNoVersion(*body, *p_reply);
        return;
    }
    startDownload(row, revision, PortInAddress::IfSet);
}

std::optional<QString> MainWindow::readVersionFileOrReport(QNetworkReply &reply)
{
    reply.deleteLater();
    const std::optional<QString> failure = failureOf(reply);
    if (!failure)
        return decodeVersionFile(reply.readAll());

    qDebug() << "Connection failed:" << *failure;
    QMessageBox::critical(
        this, tr("Connection Failed"),
        tr("Connection to server could not be established:<br /><br />\"%1\"<br /><br/>Please make sure that..."
           "<ul><li>Your internet connection is up and running.<li>You made the right proxy settings in Tavlopro's "
           "login window (restart Tavlopro and answer \"No\" to the update question, then click on \"Proxy "
           "settings\").</ul>")
            // The server's own words may be in it; the text around them is rich text.
            .arg(failure->toHtmlEscaped()));
    close();
    return std::nullopt;
}

void MainWindow::reportNoVersion(const QString &description, const QNetworkReply &reply)
{
    qDebug() << "No Version found";
    for (const QString &line : splitLines(description))
        qDebug() << line;
    // The transfer itself went well, so the reply's error text says no more than that.
    QMessageBox::critical(this, tr("Update Failed"), tr(readErrorText).arg(reply.errorString()));
    close();
}

void MainWindow::getVersions(QNetworkReply *p_reply)
{
    expectReply(nullptr);
    const std::optional<QString> body = readVersionFileOrReport(*p_reply);
    if (!body)
        return;

    qDebug() << "Checking version... Run:" << ownVersion << "Avail:" << *body;
    versions = readVersionList(*body);

    for (const int hidden : {listcolumn::revision, listcolumn::reference, listcolumn::info})
        ui->versionsTreeWidget->hideColumn(hidden);
    fillVersionTree();
}

void MainWindow::fillVersionTree()
{
    QList<QTreeWidgetItem *> items;
    for (const QStringList &row : listRows(versions, ui->showBetaCheckBox->isChecked()))
        items.append(new QTreeWidgetItem(row));
    // A list that is being sorted takes its rows one by one; enabling it sorts them all at once.
    ui->versionsTreeWidget->setSortingEnabled(false);
    ui->versionsTreeWidget->addTopLevelItems(items);
    ui->versionsTreeWidget->header()->setSortIndicator(listcolumn::revision, Qt::DescendingOrder);
    ui->versionsTreeWidget->setSortingEnabled(true);
}

void MainWindow::betaCheckBoxBlicked()
{
    ui->versionsTreeWidget->clear();
    fillVersionTree();
}

void MainWindow::currentItemChanged(QTreeWidgetItem *current, QTreeWidgetItem *previous)
{
    Q_UNUSED(previous)
    ui->versionInfo->setText(current != nullptr ? current->text(listcolumn::info) : QString());
}

void MainWindow::itemActivated(QTreeWidgetItem *item, int column)
{
    Q_UNUSED(item)
    Q_UNUSED(column)
    downloadVersion();
}
