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

namespace freshen {

/// The one network access manager of the process. The window creates it; it is never deleted, since replies may outlive
/// the window.
extern QNetworkAccessManager *networkAccessManager;

} // namespace freshen

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

    /// Copies the updater into its temporary folder and starts the copy with elevated privileges. Returns whether the
    /// copy was started; the end of this process is scheduled then. Otherwise the user has been told, unless there is
    /// not even the temporary folder.
    bool relocateToTempFolder();

    /// Removes the folder \a path with everything in it; returns whether it is gone. Only forwards, as a step of the
    /// relocation.
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
    /// directly in it. Only forwards, as a step of the installation.
    void deleteTempDir(const QString &path, bool removeSelf, QStringList filesToKeep);

public slots:
    /// Gives \a auth the credentials of the application's proxy, at most once in a row. \a proxy is not looked at.
    void authenticateProxy(QNetworkProxy proxy, QAuthenticator *auth);
    /// Automatic mode: takes the version file from \a p_reply, chooses a version and starts its download.
    void getVersion(QNetworkReply *p_reply);
    /// Manual mode: takes the version file from \a p_reply and lists the versions.
    void getVersions(QNetworkReply *p_reply);
    /// Stores the package that \a p_reply brought, unpacks it and offers its installation.
    void readAndUnzipDownload(QNetworkReply *p_reply);
    /// One round of the check that the application is closed.
    void precheckTimer();
    /// Replaces the installation by the unpacked package and starts the application.
    void installUpdate();
    /// Has the desktop shell start the application, and ends the updater.
    void startTavlo();
    /// Starts the download of the version that is selected in the list.
    void downloadVersion();
    /// Shows how much of the package has come, in bytes; a total of -1 is unknown.
    void downloadProgress(qint64 p_bytesReceived, qint64 p_bytesTotal);
    /// Logs \a error, an error of a process. Nothing is connected to it.
    void processError(QProcess::ProcessError error);
    /// Shows or hides the beta versions.
    void betaCheckBoxBlicked();
    /// Gives up the download.
    void abortDownload();
    /// Shows the information about the version \a current, if there is one; \a previous is not looked at.
    void currentItemChanged(QTreeWidgetItem *current, QTreeWidgetItem *previous);
    /// Starts the download as downloadVersion() does; \a item and \a column are not looked at.
    void itemActivated(QTreeWidgetItem *item, int column);

private:
    /// Sees and sets the state of a run.
    friend class TestWindow;

    void readApplicationSettings();
    void buildForm();
    void protectLogoFile();
    void showProgressPage();
    void showStatus(const QString &text);
    /// The folder that the package is unpacked into.
    [[nodiscard]] QString unpackedFolder() const;
    [[nodiscard]] freshen::PackageNaming packageNaming() const;

    /// Lets the network manager's next reply come to \a slot and to no other; with nullptr, to none.
    void expectReply(const char *slot);
    /// Lets the button of the progress page call \a slot of \a receiver and nothing else; with nullptr, nothing.
    void setMultiButtonSlot(const QObject *receiver, const char *slot);

    [[nodiscard]] QNetworkRequest requestFor(const QString &address) const;
    [[nodiscard]] std::optional<QString> readVersionFileOrReport(QNetworkReply &reply);
    void reportNoVersion(const QString &description, const QNetworkReply &reply);
    void fillVersionTree();
    void startDownload(const freshen::VersionRow &row, qint32 revision, freshen::PortInAddress portRule);
    void copyUpdate(const QString &source, const QString &destination);
    void reportCopyFailure(const QString &errorText);

    std::unique_ptr<Ui::MainWindow> ui;
    QString version_main;
    QString version_minor;
    QString version_state;
    QString selectedVersion;
    bool useBeta = false;
    bool extendedNaming = false;
    QString osTag;
    QString archTag = freshen::architectureTag;
    QString parentDir;
    freshen::VersionTable versions;
    QPointer<QNetworkReply> downloadReply;
    QDateTime startTime;
    QTimer precheckTrigger;
};
