#pragma once

#include "download/packagename.h"
#include "versions/updateserver.h"
#include "versions/versionline.h"

#include <QDateTime>
#include <QMainWindow>
#include <QNetworkProxy>
#include <QPointer>
#include <QProcess>
#include <QString>
#include <QTimer>

#include <memory>
#include <optional>

class QAuthenticator;
class QNetworkAccessManager;
class QNetworkReply;
class QNetworkRequest;
class QTreeWidgetItem;

namespace Ui {
class MainWindow;
}

/// The one network access manager of the process. The window creates it; it is never deleted, since replies may outlive
/// the window.
extern QNetworkAccessManager *networkAccessManager;

/// The updater's one window, and the owner of the state of one update run. The run moves from the check that the
/// application is closed through the version request, the choice, the download and the extraction to the installation
/// and the start of the new application; timers, replies and buttons drive it through the slots.
///
/// The class is in the global namespace because its name is the context of the translations. The slots' names and their
/// order are fixed, odd spelling included: connections are made by their signature texts.
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    /// Reads the application's settings, applies its proxy, builds the form and arms the check that starts the run.
    explicit MainWindow(QWidget *parent = nullptr);
    ~MainWindow() override;
    Q_DISABLE_COPY(MainWindow)

    /// Copies the updater into its temporary folder and starts the copy with raised rights. Returns whether the copy
    /// was started; the end of this process is scheduled then. Otherwise the user has been told, unless there is not
    /// even the temporary folder.
    bool relocateToTempFolder();

    /// Removes the folder \a path with everything in it; returns whether it is gone.
    bool removeFolder(const QString &path);

    /// Takes the proxy of the application's settings for all requests of the process.
    void applyProxySettings();

    /// Decides the mode from the command line: relocates the updater, or shows the mode's page and requests the version
    /// description file. Called once the application has been found closed.
    void startVersionCheck();

    /// Unpacks the stored package \a archivePath into the folder "out" and shows the progress. Returns whether all of
    /// it was unpacked; failures are appended to \a errorText.
    bool unzip(const QString &archivePath, QString &errorText);

    /// Removes what lies in \a path, and the folder itself with \a removeSelf, except the files \a filesToKeep that lie
    /// directly in it.
    void deleteTempDir(const QString &path, bool removeSelf, QStringList filesToKeep);

public slots:
    void authenticateProxy(QNetworkProxy proxy, QAuthenticator *auth);
    void getVersion(QNetworkReply *p_reply);
    void getVersions(QNetworkReply *p_reply);
    void readAndUnzipDownload(QNetworkReply *p_reply);
    void precheckTimer();
    void installUpdate();
    void startTavlo();
    void downloadVersion();
    void downloadProgress(qint64 p_bytesReceived, qint64 p_bytesTotal);
    void processError(QProcess::ProcessError error);
    void betaCheckBoxBlicked();
    void abortDownload();
    void currentItemChanged(QTreeWidgetItem *current, QTreeWidgetItem *previous);
    void itemActivated(QTreeWidgetItem *item, int column);

protected:
    std::unique_ptr<Ui::MainWindow> ui;
    QString version_main;
    QString version_minor;
    QString version_state;
    QString selectedVersion;
    bool useBeta = false;
    bool extendedNaming = false;
    QString osTag;
    QString archTag = QStringLiteral("X64");
    QString parentDir;
    VersionTable versions;
    QPointer<QNetworkReply> downloadReply;
    QDateTime startTime = QDateTime::currentDateTime();
    QTimer precheckTrigger;

private:
    void readApplicationSettings();
    void buildForm();
    void keepLogo();
    void showProgressPage();
    void showStatus(const QString &text);
    [[nodiscard]] PackageNaming packageNaming() const;
    [[nodiscard]] QNetworkRequest requestFor(const QString &address) const;
    [[nodiscard]] std::optional<QString> takeDescription(QNetworkReply &reply);
    void reportNoVersion(const QString &description, const QNetworkReply &reply);
    void fillVersionTree();
    void startDownload(const VersionRow &row, qint32 revision, PortInAddress portRule, Qt::ConnectionType connection);
    void copyUpdate(const QString &source, const QString &destination);
    void reportNoUpdate(const QString &errorText);
};
