// The download of the chosen package: request, progress, abort, storing.

#include "kit/qt/dialogdriver.h"
#include "kit/qt/files.h"
#include "kit/qt/httpserver.h"
#include "kit/qt/messagecatcher.h"
#include "kit/qt/packagemaker.h"
#include "kit/qt/settings.h"
#include "kit/qt/windowtest.h"
#include "versions/deployment.h"

#include <QCheckBox>
#include <QLabel>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QPointer>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QTextDocument>
#include <QTextDocumentFragment>
#include <QTreeWidget>
#include <QtTest>

using namespace freshen;

namespace {

constexpr int megabyte = 1024 * 1024;

const QByteArray packageTarget = "/update/Tavlopc/windows/Tavlopc1.0.7200STABLE.zip";

/// What no ZIP reader takes for an archive, so that it stays as it was stored.
QByteArray noArchive(int size)
{
    return QByteArray(size, 'x');
}

/// Lets \a server send \a size bytes of a held answer. Progress is told at most every 100 ms, so that the last byte
/// comes later than the others.
void sendSlowly(HttpServer &server, int size)
{
    constexpr int beyondTheInterval = 150;
    server.release(size - 1);
    QTest::qWait(beyondTheInterval);
    server.release(1);
}

} // namespace

class MainWindowDownloadTest : public WindowTest
{
    Q_OBJECT

protected:
    void prepare() override;

private slots:
    void withoutAChoiceTheUserIsAsked_data();
    void withoutAChoiceTheUserIsAsked();
    void unknownRevisionIsReported_data();
    void unknownRevisionIsReported();
    void packageIsRequestedAndStoredUnderItsNames_data();
    void packageIsRequestedAndStoredUnderItsNames();
    void requestIsExact();
    void addressFollowsTheSettings_data();
    void addressFollowsTheSettings();
    void progressPageIsShown_data();
    void progressPageIsShown();
    void wordsOfTheServerAreNoRichText();
    void onlyOneDownloadRuns();
    void progressFollowsTheTransfer_data();
    void progressFollowsTheTransfer();
    void progressShowsMegabytes_data();
    void progressShowsMegabytes();
    void abortStopsTheDownload_data();
    void abortStopsTheDownload();
    void abortedDownloadCanBeClosed();
    void bodyIsStoredBehindItsLength_data();
    void bodyIsStoredBehindItsLength();
    void olderPackageIsReplaced();
    void failedDownloadIsStoredAsItCame_data();
    void failedDownloadIsStoredAsItCame();
    void replyIsDeleted();

private:
    /// Shows \a window with a list of \a lines, the newest of them chosen.
    void choose(TestWindow &window, const QByteArray &lines = "1.0.7200|Stable||1 May|Info\n");
    /// Like choose(), and downloads the package, which the server answers with \a answer. Returns when it was
    /// requested.
    void download(TestWindow &window, const HttpAnswer &answer);

    std::unique_ptr<HttpServer> m_server;
};

void MainWindowDownloadTest::prepare()
{
    m_server = std::make_unique<HttpServer>();
    useServer(*m_server);
    writeSetting("version_main", QStringLiteral("26"));
    writeSetting("version_minor", QStringLiteral("05"));
    writeSetting("LoginWindow/useBeta", true);
    setArguments({QStringLiteral("menu")});
}

void MainWindowDownloadTest::choose(TestWindow &window, const QByteArray &lines)
{
    m_server->prepare(versionFileTarget, HttpAnswer::with(lines));
    window.show();
    QTRY_VERIFY(window.tree().topLevelItemCount() > 0);
    window.tree().setCurrentItem(window.tree().topLevelItem(0));
}

void MainWindowDownloadTest::download(TestWindow &window, const HttpAnswer &answer)
{
    m_server->prepare(packageTarget, answer);
    choose(window);
    click(window.button());
    // A redirect makes it more than two.
    QTRY_VERIFY(m_server->requests().size() >= 2);
}

void MainWindowDownloadTest::withoutAChoiceTheUserIsAsked_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("en") << "Please choose a version to download";
    QTest::newRow("de") << "Bitte wählen Sie eine Version";
}

void MainWindowDownloadTest::withoutAChoiceTheUserIsAsked()
{
    QFETCH(QString, text);
    const Catalogue catalogue(QString::fromLatin1(QTest::currentDataTag()));
    DialogDriver dialogs;
    TestWindow window;
    choose(window);
    window.tree().setCurrentItem(nullptr);
    dialogs.expectAndClick(QMessageBox::Ok);
    click(window.button());
    const ShownBox expected = {QMessageBox::Information, QStringLiteral("Information"), text, QMessageBox::Ok};
    QCOMPARE(dialogs.boxes(), QVector<ShownBox>{expected});
    // Nothing else changes, and the button asks again.
    QCOMPARE(window.stackedWidget().currentIndex(), 0);
    QCOMPARE(window.selectedVersion, QString());
    dialogs.expectAndPress(Qt::Key_Return);
    QTest::keyClick(&window.button(), Qt::Key_Space);
    QCOMPARE(dialogs.boxes().size(), 2);
    QCOMPARE(m_server->requests().size(), 1);
}

void MainWindowDownloadTest::unknownRevisionIsReported_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("en") << "Error selecting version!";
    QTest::newRow("de") << "Fehler bei der Auswahl der Version!";
}

void MainWindowDownloadTest::unknownRevisionIsReported()
{
    QFETCH(QString, text);
    const Catalogue catalogue(QString::fromLatin1(QTest::currentDataTag()));
    TestWindow window;
    choose(window);
    window.versions.clear();
    click(window.button());
    QCOMPARE(window.label().text(), text);
    QCOMPARE(window.stackedWidget().currentIndex(), 0);
    QCOMPARE(window.selectedVersion, QString());
    QCOMPARE(m_server->requests().size(), 1);
    // The button stays connected.
    QVERIFY(disconnect(&window.button(), SIGNAL(clicked()), &window, SLOT(downloadVersion())));
}

void MainWindowDownloadTest::packageIsRequestedAndStoredUnderItsNames_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<bool>("extended");
    QTest::addColumn<QString>("osTag");
    QTest::addColumn<QByteArray>("onServer");
    QTest::addColumn<QString>("stored");
    const QString windows7 = QStringLiteral("WIN7");
    const auto add = [](const char *name, const char *line, bool extended, const QString &osTag, const char *onServer,
                        const char *stored) {
        QTest::newRow(name) << QByteArray(line) << extended << osTag << QByteArray(onServer)
                            << QString::fromLatin1(stored);
    };
    add("stable", "2.1.6020|Stable||d|i", false, windows7, "Tavlopc2.1.6020STABLE.zip", "Tavlopc2.1.6020STABLE.zip");
    add("extended", "2.1.6020|Stable||d|i", true, windows7, "Tavlopc2.1.6020STABLEWIN7X64.zip",
        "Tavlopc2.1.6020STABLEWIN7X64.zip");
    add("extended, empty system tag", "2.1.6020|Stable||d|i", true, QString(), "Tavlopc2.1.6020STABLEX64.zip",
        "Tavlopc2.1.6020STABLEX64.zip");
    add("beta 2084 is STABLE on the server", "1.0.2084|Beta||d|i", false, windows7, "Tavlopc1.0.2084STABLE.zip",
        "Tavlopc1.0.2084BETA.zip");
    add("beta 2085 is BETA on both sides", "1.0.2085|Beta||d|i", false, windows7, "Tavlopc1.0.2085BETA.zip",
        "Tavlopc1.0.2085BETA.zip");
    add("beta 2084, extended", "1.0.2084|Beta||d|i", true, windows7, "Tavlopc1.0.2084STABLEWIN7X64.zip",
        "Tavlopc1.0.2084BETAWIN7X64.zip");
    add("another type", "1.0.7100|special||d|i", false, windows7, "Tavlopc1.0.7100SPECIAL.zip",
        "Tavlopc1.0.7100SPECIAL.zip");
}

void MainWindowDownloadTest::packageIsRequestedAndStoredUnderItsNames()
{
    QFETCH(QByteArray, line);
    QFETCH(bool, extended);
    QFETCH(QString, osTag);
    QFETCH(QByteArray, onServer);
    QFETCH(QString, stored);
    writeSetting("extendedNaming", extended);
    TestWindow window;
    window.osTag = osTag;
    m_server->prepare("/update/Tavlopc/windows/" + onServer, HttpAnswer::with(noArchive(10)));
    choose(window, line + '\n');
    click(window.button());
    QTRY_VERIFY(!window.multiButton().isEnabled());
    QCOMPARE(m_server->targets().value(1), "/update/Tavlopc/windows/" + onServer);
    QCOMPARE(treeOf(window.parentDir).keys(), QStringList{stored});
}

void MainWindowDownloadTest::requestIsExact()
{
    TestWindow window;
    download(window, HttpAnswer::of(302, "Location", "/elsewhere.zip"));
    const HttpRequest &request = m_server->requests().at(1);
    QCOMPARE(request.line, QByteArray("GET " + packageTarget + " HTTP/1.1"));
    QCOMPARE(request.headers.value("user-agent"), QByteArray("Updater/2605windows"));
    QCOMPARE(request.headers.value("host"), "127.0.0.1:" + QByteArray::number(m_server->port()));
    QTRY_COMPARE(m_server->requests().size(), 3);
    QCOMPARE(m_server->targets().last(), QByteArray("/elsewhere.zip"));
}

void MainWindowDownloadTest::addressFollowsTheSettings_data()
{
    QTest::addColumn<QVariantMap>("settings");
    QTest::addColumn<QString>("address");
    const QString host = QStringLiteral("host2");
    const QString port = QStringLiteral("port2");
    const QString protocol = QStringLiteral("proto2");
    const QString path = QString::fromLatin1(packageTarget);
    QTest::newRow("port2 8080, proto2 http")
        << QVariantMap{{host, QStringLiteral("update.example")}, {port, 8080}, {protocol, QStringLiteral("http")}}
        << QStringLiteral("http://update.example:8080") + path;
    QTest::newRow("the port is always named")
        << QVariantMap{{host, QStringLiteral("update.example")}, {protocol, QStringLiteral("http")}}
        << QStringLiteral("http://update.example:443") + path;
    QTest::newRow("defaults") << QVariantMap{}
                              << QStringLiteral("https://%1:443").arg(QLatin1String(deployment::updateHost)) + path;
}

void MainWindowDownloadTest::addressFollowsTheSettings()
{
    QFETCH(QVariantMap, settings);
    QFETCH(QString, address);
    // A proxy of the test takes the request, which would leave it otherwise.
    HttpServer proxy;
    TestWindow window;
    choose(window);
    clearSettings();
    for (auto it = settings.constBegin(); it != settings.constEnd(); ++it)
        writeSetting(it.key().toLatin1().constData(), it.value());
    QNetworkProxy::setApplicationProxy(
        QNetworkProxy(QNetworkProxy::HttpProxy, QStringLiteral("127.0.0.1"), proxy.port()));
    takeLog();
    click(window.button());
    QCOMPARE(takeLog().first(), QStringLiteral("Get: \"%1\"").arg(address));
    QTRY_COMPARE(proxy.requests().size(), 1);
}

void MainWindowDownloadTest::progressPageIsShown_data()
{
    QTest::addColumn<QString>("label");
    QTest::addColumn<QString>("button");
    QTest::newRow("en") << "Downloading Tavlopro Software Update Stable 1.0.7200 ..."
                        << "Cancel";
    QTest::newRow("de") << "Lade das Tavlopro Software Update Stable 1.0.7200 ..."
                        << "Abbrechen";
}

void MainWindowDownloadTest::progressPageIsShown()
{
    const Catalogue catalogue(QString::fromLatin1(QTest::currentDataTag()));
    TestWindow window;
    download(window, HttpAnswer::held());
    QCOMPARE(window.stackedWidget().currentIndex(), 1);
    QCOMPARE(window.minimumSize(), QSize(460, 140));
    QCOMPARE(window.maximumSize(), QSize(460, 140));
    QTEST(window.label().text(), "label");
    QTEST(window.multiButton().text(), "button");
    QCOMPARE(window.selectedVersion, QStringLiteral("1.0.7200STABLE"));
    QVERIFY(window.downloadReply != nullptr);
}

void MainWindowDownloadTest::wordsOfTheServerAreNoRichText()
{
    TestWindow window;
    choose(window, "1.0.7200|<b>Stable</b>||d|i\n");
    click(window.button());
    const QString text = QStringLiteral("Downloading Tavlopro Software Update <b>Stable</b> 1.0.7200 ...");
    QCOMPARE(window.label().text(), text);
    QCOMPARE(window.label().textFormat(), Qt::PlainText);
    // A tool tip takes what looks like rich text for it.
    QVERIFY(Qt::mightBeRichText(window.label().toolTip()));
    QCOMPARE(QTextDocumentFragment::fromHtml(window.label().toolTip()).toPlainText(), text);
    QCOMPARE(window.progressBar().accessibleName(), text);
}

void MainWindowDownloadTest::onlyOneDownloadRuns()
{
    TestWindow window;
    download(window, HttpAnswer::held());
    window.button().click();
    QTest::qWait(100);
    QCOMPARE(m_server->requests().size(), 2);
}

void MainWindowDownloadTest::progressFollowsTheTransfer_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<bool>("announcesLength");
    QTest::addColumn<QString>("size");
    QTest::addColumn<int>("maximum");
    QTest::newRow("size known, en") << "en" << true << "1.5 of 3.0 MB downloaded" << 3 * megabyte;
    QTest::newRow("size known, de") << "de" << true << "1.5 von 3.0 MB heruntergeladen" << 3 * megabyte;
    QTest::newRow("size unknown, en") << "en" << false << "1.5 MB downloaded" << 0;
    QTest::newRow("size unknown, de") << "de" << false << "1.5 MB heruntergeladen" << 0;
}

void MainWindowDownloadTest::progressFollowsTheTransfer()
{
    QFETCH(QString, language);
    QFETCH(bool, announcesLength);
    QFETCH(QString, size);
    QFETCH(int, maximum);
    const Catalogue catalogue(language);
    HttpAnswer answer = HttpAnswer::with(noArchive(3 * megabyte));
    answer.announcesLength = announcesLength;
    answer.sentAtOnce = 0;
    TestWindow window;
    download(window, answer);
    sendSlowly(*m_server, megabyte + megabyte / 2);
    QTRY_COMPARE(window.sizeLabel().text(), size);
    QCOMPARE(window.progressBar().minimum(), 0);
    QCOMPARE(window.progressBar().maximum(), maximum);
    // The text may be right before the last of these bytes has been reported.
    if (announcesLength)
        QTRY_COMPARE(window.progressBar().value(), megabyte + megabyte / 2);

    m_server->release();
    QTRY_VERIFY(!window.multiButton().isEnabled());
    QCOMPARE(readFile(window.pathOf(QStringLiteral("Tavlopc1.0.7200STABLE.zip"))).size(), 3 * megabyte + 4);
}

void MainWindowDownloadTest::progressShowsMegabytes_data()
{
    QTest::addColumn<qint64>("received");
    QTest::addColumn<qint64>("total");
    QTest::addColumn<QString>("text");
    const auto add = [](qint64 received, qint64 total, const char *text) {
        QTest::newRow(text) << received << total << QString::fromLatin1(text);
    };
    add(1572864, -1, "1.5 MB downloaded");
    add(0, -1, "0.0 MB downloaded");
    add(0, 1048576, "0.0 of 1.0 MB downloaded");
    add(52428, 1048576, "0.0 of 1.0 MB downloaded, just below half a decimal");
    add(52429, 10485760, "0.1 of 10.0 MB downloaded");
    add(0, 0, "0.0 of 0.0 MB downloaded");
}

void MainWindowDownloadTest::progressShowsMegabytes()
{
    QFETCH(qint64, received);
    QFETCH(qint64, total);
    QFETCH(QString, text);
    TestWindow window;
    window.downloadProgress(received, total);
    QCOMPARE(window.sizeLabel().text(), text.section(QLatin1Char(','), 0, 0));
    QCOMPARE(window.progressBar().maximum(), total == -1 ? 0 : static_cast<int>(total));
    if (total > 0)
        QCOMPARE(window.progressBar().value(), static_cast<int>(received));
}

void MainWindowDownloadTest::abortStopsTheDownload_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<bool>("byKey");
    QTest::addColumn<QString>("size");
    QTest::addColumn<QString>("button");
    QTest::newRow("click, en") << "en" << false << "Download aborted!"
                               << "Close";
    QTest::newRow("key, de") << "de" << true << "Herunterladen abgebrochen!" << QStringLiteral("Schließen");
}

void MainWindowDownloadTest::abortStopsTheDownload()
{
    QFETCH(QString, language);
    QFETCH(bool, byKey);
    QFETCH(QString, size);
    QFETCH(QString, button);
    const Catalogue catalogue(language);
    HttpAnswer answer = HttpAnswer::with(noArchive(2 * megabyte));
    answer.sentAtOnce = 0;
    TestWindow window;
    download(window, answer);
    sendSlowly(*m_server, megabyte);
    QTRY_COMPARE(window.progressBar().value(), megabyte);
    const QPointer<QNetworkReply> reply = window.downloadReply;
    QCOMPARE(m_server->openConnections(), 1);
    takeLog();
    if (byKey)
        QTest::keyClick(&window.multiButton(), Qt::Key_Space);
    else
        click(window.multiButton());

    QCOMPARE(takeLog(), QStringList{QStringLiteral("download aborted")});
    QCOMPARE(window.sizeLabel().text(), size);
    QCOMPARE(window.progressBar().value(), 0);
    QCOMPARE(window.multiButton().text(), button);
    QVERIFY(window.multiButton().isEnabled());
    // The reply is not aborted but deleted by the event loop, and its connection with it.
    QVERIFY(!reply.isNull());
    QVERIFY(reply->isRunning());
    QTRY_VERIFY(reply.isNull());
    QVERIFY(window.downloadReply == nullptr);
    QTRY_COMPARE(m_server->openConnections(), 0);
    QVERIFY(treeOf(window.parentDir).isEmpty());
    QVERIFY(window.isVisible());
}

void MainWindowDownloadTest::abortedDownloadCanBeClosed()
{
    TestWindow window;
    download(window, HttpAnswer::held());
    click(window.multiButton());
    QVERIFY(quitsAfter([&window] { click(window.multiButton()); }));
    // Not even now the end of the reply is handled.
    QVERIFY(takeLog().filter(QStringLiteral("update stored")).isEmpty());
}

void MainWindowDownloadTest::bodyIsStoredBehindItsLength_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("nothing") << 0;
    QTest::newRow("one byte") << 1;
    QTest::newRow("258 bytes") << 258;
    QTest::newRow("more than one piece") << 3 * 64 * 1024 + 7;
}

void MainWindowDownloadTest::bodyIsStoredBehindItsLength()
{
    QFETCH(int, size);
    const QByteArray body = size == 0 ? QByteArray() : someBytes(size);
    TestWindow window;
    takeLog();
    download(window, HttpAnswer::with(body));
    QTRY_VERIFY(!window.multiButton().isEnabled());
    const QString path = window.parentDir + QLatin1String("/Tavlopc1.0.7200STABLE.zip");
    const QByteArray stored = readFile(path);
    QCOMPARE(stored.size(), size + 4);
    QCOMPARE(stored.left(4).toHex(), QByteArray::number(size, 16).rightJustified(8, '0'));
    QCOMPARE(stored.mid(4), body);
    QVERIFY(takeLog().contains(QStringLiteral("update stored in  ") + logged(QDir::toNativeSeparators(path))));
}

void MainWindowDownloadTest::olderPackageIsReplaced()
{
    TestWindow window;
    const QString path = window.pathOf(QStringLiteral("Tavlopc1.0.7200STABLE.zip"));
    writeFile(path, noArchive(1000));
    download(window, HttpAnswer::with("short"));
    QTRY_VERIFY(!window.multiButton().isEnabled());
    QCOMPARE(readFile(path), asStored("short"));
}

void MainWindowDownloadTest::failedDownloadIsStoredAsItCame_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<int>("sent");
    QTest::newRow("404 page") << 404 << 100;
    QTest::newRow("500 page") << 500 << 100;
    QTest::newRow("cut in the middle") << 200 << 50;
    QTest::newRow("cut before the first byte") << 200 << 0;
}

void MainWindowDownloadTest::failedDownloadIsStoredAsItCame()
{
    QFETCH(int, status);
    QFETCH(int, sent);
    DialogDriver dialogs;
    HttpAnswer answer = HttpAnswer::with(noArchive(100));
    answer.status = status;
    answer.sentAtOnce = sent;
    TestWindow window;
    download(window, answer);
    if (sent < 100) {
        QSignalSpy headers(window.downloadReply, &QNetworkReply::metaDataChanged);
        QTRY_VERIFY(!headers.isEmpty() || window.downloadReply->hasRawHeader("Content-Length"));
        m_server->cut();
    }
    QTRY_VERIFY(!window.multiButton().isEnabled());
    QCOMPARE(readFile(window.pathOf(QStringLiteral("Tavlopc1.0.7200STABLE.zip"))), asStored(noArchive(sent)));
    // Nobody but the log speaks of the network.
    QCOMPARE(warnings().filter(QStringLiteral("Download failed: \"")).size(), 1);
    QVERIFY(window.label().text().startsWith(QLatin1String("Error unzipping update!\n\nunzip(): zip.open(): ")));
    QVERIFY(dialogs.boxes().isEmpty());
}

void MainWindowDownloadTest::replyIsDeleted()
{
    TestWindow window;
    download(window, HttpAnswer::held(noArchive(10)));
    const QPointer<QNetworkReply> reply = window.downloadReply;
    m_server->release();
    QTRY_VERIFY(reply.isNull());
    QVERIFY(window.downloadReply == nullptr);
    QVERIFY(!disconnect(networkAccessManager, SIGNAL(finished(QNetworkReply *)), &window,
                        SLOT(readAndUnzipDownload(QNetworkReply *))));
}

FRESHEN_WINDOW_TEST_MAIN(MainWindowDownloadTest)
#include "tst_mainwindow_download.moc"
