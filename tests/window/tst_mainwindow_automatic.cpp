// The mode "auto": the choice that is made for the user, and the request for its package.

#include "kit/qt/dialogdriver.h"
#include "kit/qt/httpserver.h"
#include "kit/qt/settings.h"
#include "kit/qt/windowtest.h"

#include <QLabel>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QOperatingSystemVersion>
#include <QPointer>
#include <QPushButton>
#include <QtTest>

using namespace freshen;

namespace {

using Lines = QList<QByteArray>;

QByteArray stable(int revision, const QByteArray &reference = "0")
{
    return "26.05." + QByteArray::number(revision) + "|Stable|" + reference + "|2026-05-01|Info";
}

QByteArray beta(int revision)
{
    return "26.05." + QByteArray::number(revision) + "|Beta|0|2026-05-01|Info";
}

QString connectionText(const QString &language)
{
    if (language == QLatin1String("de")) {
        return QStringLiteral(
            "Es konnte keine Verbindung zum Update-Server hergestellt werden:<br /><br />\"%1\"<br /><br/>Bitte "
            "stellen "
            "Sie sicher, dass...<ul><li>Ihre Internetverbindung aktiv ist.<li>Die richtigen Proxy-Einstellungen im "
            "Tavlopro-Anmeldefenster vorgenommen wurden (Tavlopro neu starten und die Update-Frage mit \"Nein\" "
            "beantworten, dann auf \"Einstellungen\" klicken).</ul>");
    }
    return QStringLiteral(
        "Connection to server could not be established:<br /><br />\"%1\"<br /><br/>Please make sure "
        "that...<ul><li>Your "
        "internet connection is up and running.<li>You made the right proxy settings in Tavlopro's login window "
        "(restart Tavlopro and answer \"No\" to the update question, then click on \"Proxy settings\").</ul>");
}

} // namespace

class MainWindowAutomaticTest : public WindowTest
{
    Q_OBJECT

protected:
    void prepare() override;

private slots:
    void newestEligibleVersionIsRequested_data();
    void newestEligibleVersionIsRequested();
    void packageIsNamedAfterTheRow_data();
    void packageIsNamedAfterTheRow();
    void rowsForOtherSystemsAreOnlyLogged();
    void testBuildsCountWhereTheyAreAllowed_data();
    void testBuildsCountWhereTheyAreAllowed();
    void labelNamesTheVersion_data();
    void labelNamesTheVersion();
    void logTellsTheChoice();
    void requestIsExact();
    void addressNamesThePortOnlyWhereOneIsSet_data();
    void addressNamesThePortOnlyWhereOneIsSet();
    void downloadIsConnected();
    void replyOfTheVersionFileIsDeleted();
    void failedConnectionIsReported_data();
    void failedConnectionIsReported();
    void noVersionIsReported_data();
    void noVersionIsReported();
    void noVersionIsReportedInTheLanguage_data();
    void noVersionIsReportedInTheLanguage();
    void noVersionCanBeReportedInAnyLanguage();

private:
    /// Lets the server offer \a lines.
    void offer(const Lines &lines);
    /// The name of the package that was requested after the version description file.
    [[nodiscard]] QByteArray requestedPackage() const;

    std::unique_ptr<HttpServer> m_server;
};

void MainWindowAutomaticTest::prepare()
{
    m_server = std::make_unique<HttpServer>();
    useServer(*m_server);
    setArguments({QStringLiteral("auto")});
    writeSetting("version_main", QStringLiteral("26"));
    writeSetting("version_minor", QStringLiteral("05"));
}

void MainWindowAutomaticTest::offer(const Lines &lines)
{
    m_server->prepare(versionFileTarget, HttpAnswer::with(lines.join('\n') + '\n'));
}

QByteArray MainWindowAutomaticTest::requestedPackage() const
{
    const QByteArray folder = "/update/Tavlopc/windows/";
    const QByteArray target = m_server->targets().value(1);
    return target.startsWith(folder) ? target.mid(folder.size()) : target;
}

void MainWindowAutomaticTest::newestEligibleVersionIsRequested_data()
{
    QTest::addColumn<bool>("useBeta");
    QTest::addColumn<Lines>("lines");
    QTest::addColumn<QByteArray>("package");
    QTest::newRow("a stable fix 7150 before the plain 7200")
        << false << Lines{stable(7100), stable(7200), stable(7150, "7100")}
        << QByteArray("Tavlopc26.05.7150STABLE.zip");
    QTest::newRow("without a fix the plain 7300")
        << false << Lines{stable(7300), stable(7100), beta(7400)} << QByteArray("Tavlopc26.05.7300STABLE.zip");
    QTest::newRow("beta 7400 of beta, stable and fix")
        << true << Lines{beta(7400), stable(7300), stable(7350, "7300")} << QByteArray("Tavlopc26.05.7400BETA.zip");
    QTest::newRow("beta wanted, stable 7500 newer")
        << true << Lines{beta(7400), stable(7500), stable(7350, "7300")} << QByteArray("Tavlopc26.05.7500STABLE.zip");
    QTest::newRow("beta wanted, fix 7500 newer")
        << true << Lines{beta(7400), stable(7300), stable(7500, "7300")} << QByteArray("Tavlopc26.05.7500STABLE.zip");
    QTest::newRow("the updater's own revision is installed again")
        << false << Lines{stable(7086), stable(7000)} << QByteArray("Tavlopc26.05.7086STABLE.zip");
    QTest::newRow("an old fix does not count")
        << false << Lines{stable(7200), stable(7000, "6900")} << QByteArray("Tavlopc26.05.7200STABLE.zip");
    QTest::newRow("of two lines with one revision the later")
        << false << Lines{stable(7200), "27.01.7200|Stable|0|d|i"} << QByteArray("Tavlopc27.01.7200STABLE.zip");
    QTest::newRow("a line that asks for a newer updater is left out")
        << false << Lines{stable(7200) + "|7087", stable(7100) + "|7086"} << QByteArray("Tavlopc26.05.7100STABLE.zip");
}

void MainWindowAutomaticTest::newestEligibleVersionIsRequested()
{
    QFETCH(bool, useBeta);
    QFETCH(Lines, lines);
    offer(lines);
    writeSetting("LoginWindow/useBeta", useBeta);
    const TestWindow window;
    QTRY_COMPARE(m_server->requests().size(), 2);
    QTEST(requestedPackage(), "package");
}

void MainWindowAutomaticTest::packageIsNamedAfterTheRow_data()
{
    QTest::addColumn<bool>("extendedNaming");
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QByteArray>("package");
    QTest::addColumn<QString>("selectedVersion");
    QTest::newRow("plain") << false << stable(7200) << QByteArray("Tavlopc26.05.7200STABLE.zip") << "26.05.7200STABLE";
    QTest::newRow("extended") << true << stable(7200) << QByteArray("Tavlopc26.05.7200STABLEWIN7X64.zip")
                              << "26.05.7200STABLE";
    QTest::newRow("beta, whose revision is never old enough to be renamed here")
        << false << beta(7200) << QByteArray("Tavlopc26.05.7200BETA.zip") << "26.05.7200BETA";
    QTest::newRow("unknown type of the own revision")
        << false << QByteArray("26.05.7086|special|0|d|i") << QByteArray("Tavlopc26.05.7086SPECIAL.zip")
        << "26.05.7086SPECIAL";
}

void MainWindowAutomaticTest::packageIsNamedAfterTheRow()
{
    QFETCH(bool, extendedNaming);
    QFETCH(QByteArray, line);
    offer({line});
    writeSetting("extendedNaming", extendedNaming);
    writeSetting("LoginWindow/useBeta", true);
    const TestWindow window;
    QTRY_COMPARE(m_server->requests().size(), 2);
    QTEST(requestedPackage(), "package");
    QTEST(window.selectedVersion, "selectedVersion");
}

void MainWindowAutomaticTest::rowsForOtherSystemsAreOnlyLogged()
{
    offer({stable(7100), stable(7300) + "|0|999.0"});
    const TestWindow window;
    QTRY_COMPARE(m_server->requests().size(), 2);
    QCOMPARE(requestedPackage(), QByteArray("Tavlopc26.05.7100STABLE.zip"));
    const QStringList log = takeLog();
    const QString name = QOperatingSystemVersion::current().name();
    QVERIFY(log.contains(QStringLiteral("t0 7086 7300")));
    QVERIFY(log.contains(QStringLiteral("WARNING: current os \"%1\" not eligible for 7300 - os needs update to \"%1\" "
                                        "\"999.0\"")
                             .arg(name)));
}

void MainWindowAutomaticTest::testBuildsCountWhereTheyAreAllowed_data()
{
    QTest::addColumn<QVariant>("allowed");
    QTest::addColumn<QString>("heldBack");
    QTest::newRow("missing") << QVariant() << "t0 7086 7086";
    QTest::newRow("not allowed") << QVariant(false) << "t0 7086 7086";
    QTest::newRow("allowed") << QVariant(true) << "t0 7300 7086";
}

void MainWindowAutomaticTest::testBuildsCountWhereTheyAreAllowed()
{
    QFETCH(QVariant, allowed);
    QFETCH(QString, heldBack);
    if (allowed.isValid())
        writeUpdaterSetting("allow_testbuild", allowed);
    // The application's store does not count.
    writeSetting("allow_testbuild", true);
    offer({stable(7100), "26.05.7300|Test|0|d|i|0|999.0"});
    const TestWindow window;
    QTRY_COMPARE(m_server->requests().size(), 2);
    const QStringList log = takeLog();
    QVERIFY(log.contains(heldBack));
    QCOMPARE(log.contains(QStringLiteral("WARNING: ignoring test build 7300")), !allowed.toBool());
}

void MainWindowAutomaticTest::labelNamesTheVersion_data()
{
    QTest::addColumn<QString>("label");
    QTest::newRow("en") << "Downloading Tavlopro Software Update Stable 26.05.7200 ...";
    QTest::newRow("de") << "Lade das Tavlopro Software Update Stable 26.05.7200 ...";
}

void MainWindowAutomaticTest::labelNamesTheVersion()
{
    const Catalogue catalogue(QString::fromLatin1(QTest::currentDataTag()));
    offer({stable(7200)});
    m_server->prepare("/update/Tavlopc/windows/Tavlopc26.05.7200STABLE.zip", HttpAnswer::held());
    const TestWindow window;
    QTRY_COMPARE(m_server->requests().size(), 2);
    QTEST(window.label().text(), "label");
    QTEST(window.label().toolTip(), "label");
}

void MainWindowAutomaticTest::logTellsTheChoice()
{
    offer({stable(7200), beta(7300)});
    m_server->prepare("/update/Tavlopc/windows/Tavlopc26.05.7200STABLE.zip", HttpAnswer::held());
    const TestWindow window;
    QTRY_COMPARE(m_server->requests().size(), 2);
    const QString server = QStringLiteral("http://127.0.0.1:%1/update/Tavlopc/").arg(m_server->port());
    const QStringList expected = {
        QStringLiteral("no proxy is used."),
        QStringLiteral("checking ..."),
        QStringLiteral("Get: \"%1VERSIONS/windows.txt\"").arg(server),
        QStringLiteral("Checking version... Current Tavlo: \"26\" . \"05\" \"WIN7\" \"X64\" Avail:\n "
                       "\"26.05.7200|Stable|0|2026-05-01|Info\\n26.05.7300|Beta|0|2026-05-01|Info\\n\""),
        QStringLiteral("Choosing (\"26.05.7200\", \"Stable\", \"0\", \"2026-05-01\", \"Info\") false 7300 7200"),
        QStringLiteral("Get: \"%1windows/Tavlopc26.05.7200STABLE.zip\"").arg(server),
    };
    QCOMPARE(takeLog(), expected);
}

void MainWindowAutomaticTest::requestIsExact()
{
    offer({stable(7200)});
    m_server->prepare("/update/Tavlopc/windows/Tavlopc26.05.7200STABLE.zip",
                      HttpAnswer::of(307, "Location", "/elsewhere.zip"));
    m_server->prepare("/elsewhere.zip", HttpAnswer::held());
    const TestWindow window;
    QTRY_COMPARE(m_server->requests().size(), 3);
    const HttpRequest &request = m_server->requests().at(1);
    QCOMPARE(request.line, QByteArray("GET /update/Tavlopc/windows/Tavlopc26.05.7200STABLE.zip HTTP/1.1"));
    QCOMPARE(request.headers.value("user-agent"), QByteArray("Updater/2605windows"));
    QCOMPARE(m_server->requests().at(2).target(), QByteArray("/elsewhere.zip"));
}

void MainWindowAutomaticTest::addressNamesThePortOnlyWhereOneIsSet_data()
{
    QTest::addColumn<QVariant>("port");
    QTest::addColumn<QString>("portPart");
    QTest::newRow("no port2") << QVariant() << "";
    QTest::newRow("port2") << QVariant(9) << ":9";
    QTest::newRow("port2 is the protocol's own") << QVariant(80) << ":80";
}

void MainWindowAutomaticTest::addressNamesThePortOnlyWhereOneIsSet()
{
    QFETCH(QVariant, port);
    QFETCH(QString, portPart);
    m_server->prepare(versionFileTarget, HttpAnswer::held(stable(7200)));
    HttpServer proxy;
    const TestWindow window;
    QTRY_COMPARE(m_server->requests().size(), 1);

    // The settings are read anew for the package. A proxy of the test takes the request, which would leave it
    // otherwise.
    clearSettings();
    writeSetting("proto2", QStringLiteral("http"));
    writeSetting("host2", QStringLiteral("update.example"));
    if (port.isValid())
        writeSetting("port2", port);
    QNetworkProxy::setApplicationProxy(
        QNetworkProxy(QNetworkProxy::HttpCachingProxy, QStringLiteral("127.0.0.1"), proxy.port()));
    m_server->release();
    QTRY_COMPARE(proxy.requests().size(), 1);
    QCOMPARE(takeLog().filter(QStringLiteral("Get:")).value(1),
             QStringLiteral("Get: \"http://update.example%1/update/Tavlopc/windows/Tavlopc26.05.7200STABLE.zip\"")
                 .arg(portPart));
}

void MainWindowAutomaticTest::downloadIsConnected()
{
    offer({stable(7200)});
    m_server->prepare("/update/Tavlopc/windows/Tavlopc26.05.7200STABLE.zip", HttpAnswer::held());
    TestWindow window;
    QTRY_COMPARE(m_server->requests().size(), 2);
    QVERIFY(window.downloadReply != nullptr);
    QVERIFY(disconnect(window.downloadReply, SIGNAL(downloadProgress(qint64, qint64)), &window,
                       SLOT(downloadProgress(qint64, qint64))));
    QVERIFY(disconnect(&window.multiButton(), SIGNAL(clicked()), &window, SLOT(abortDownload())));
    QVERIFY(!disconnect(&window.multiButton(), SIGNAL(clicked()), &window, SLOT(installUpdate())));
}

void MainWindowAutomaticTest::replyOfTheVersionFileIsDeleted()
{
    offer({stable(7200)});
    m_server->prepare("/update/Tavlopc/windows/Tavlopc26.05.7200STABLE.zip", HttpAnswer::held());
    const TestWindow window;
    QPointer<QNetworkReply> reply;
    bool isDeletedLater = false;
    // The window takes away all connections of its own.
    connect(networkAccessManager, &QNetworkAccessManager::finished, networkAccessManager,
            [&reply, &isDeletedLater](QNetworkReply *finished) {
                reply = finished;
                connect(finished, &QObject::destroyed, networkAccessManager,
                        [&isDeletedLater] { isDeletedLater = true; });
            });
    QTRY_COMPARE(m_server->requests().size(), 2);
    QTRY_VERIFY(isDeletedLater);
    QVERIFY(window.downloadReply != nullptr);
}

void MainWindowAutomaticTest::failedConnectionIsReported_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<bool>("isServerThere");
    QTest::addColumn<QString>("title");
    QTest::newRow("refused, en") << "en" << false << "Connection Failed";
    QTest::newRow("refused, de") << "de" << false << "Verbindung fehlgeschlagen";
    QTest::newRow("404, en") << "en" << true << "Connection Failed";
    QTest::newRow("404, de") << "de" << true << "Verbindung fehlgeschlagen";
}

void MainWindowAutomaticTest::failedConnectionIsReported()
{
    QFETCH(QString, language);
    QFETCH(bool, isServerThere);
    QFETCH(QString, title);
    const QString error =
        isServerThere
            ? QStringLiteral("Error transferring http://127.0.0.1:%1/update/Tavlopc/VERSIONS/windows.txt - server "
                             "replied: Answer")
                  .arg(m_server->port())
            : QStringLiteral("Connection refused");
    if (!isServerThere)
        m_server.reset();
    const Catalogue catalogue(language);
    DialogDriver dialogs;
    dialogs.expectAndClick(QMessageBox::Ok);
    TestWindow window;
    window.show();
    QTRY_COMPARE(dialogs.boxes().size(), 1);
    QTRY_VERIFY(!window.isVisible());
    const ShownBox expected = {QMessageBox::Critical, title, connectionText(language).arg(error), QMessageBox::Ok};
    QCOMPARE(dialogs.boxes().first(), expected);
    QCOMPARE(takeLog().last(), QStringLiteral("Connection failed: \"%1\"").arg(error));
    QVERIFY(window.downloadReply == nullptr);
}

void MainWindowAutomaticTest::noVersionIsReported_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QStringList>("logEnd");
    const QString choosing = QStringLiteral("Choosing () false 7086 7086");
    const QString none = QStringLiteral("No Version found");
    QTest::newRow("all rows below 7086, none 7086")
        << stable(7000) + "\n\n" + beta(7085) + "\n"
        << QStringList{choosing, none, QStringLiteral("\"26.05.7000|Stable|0|2026-05-01|Info\""),
                       QStringLiteral("\"26.05.7085|Beta|0|2026-05-01|Info\"")};
    QTest::newRow("empty file") << QByteArray() << QStringList{choosing, none};
    QTest::newRow("no version file at all")
        << QByteArray("<html>Log in</html>") << QStringList{choosing, none, QStringLiteral("\"<html>Log in</html>\"")};
    QTest::newRow("only beta versions, which are not wanted")
        << beta(7300)
        << QStringList{QStringLiteral("Choosing () false 7300 7086"), none,
                       QStringLiteral("\"26.05.7300|Beta|0|2026-05-01|Info\"")};
    QTest::newRow("a zero byte ends the file") << QByteArray("\0", 1) + stable(7300) << QStringList{choosing, none};
}

void MainWindowAutomaticTest::noVersionIsReported()
{
    QFETCH(QByteArray, body);
    QFETCH(QStringList, logEnd);
    m_server->prepare(versionFileTarget, HttpAnswer::with(body));
    DialogDriver dialogs;
    dialogs.expectAndPress(Qt::Key_Return);
    TestWindow window;
    window.show();
    QTRY_COMPARE(dialogs.boxes().size(), 1);
    QTRY_VERIFY(!window.isVisible());
    const QStringList log = takeLog();
    QCOMPARE(log.mid(log.size() - logEnd.size()), logEnd);
    QCOMPARE(m_server->requests().size(), 1);
    QVERIFY(window.downloadReply == nullptr);
}

void MainWindowAutomaticTest::noVersionIsReportedInTheLanguage_data()
{
    QTest::addColumn<QString>("title");
    QTest::newRow("en") << "Update Failed";
    QTest::newRow("de") << "Aktualisierung fehlgeschlagen";
}

void MainWindowAutomaticTest::noVersionIsReportedInTheLanguage()
{
    QFETCH(QString, title);
    const Catalogue catalogue(QString::fromLatin1(QTest::currentDataTag()));
    offer({stable(7000)});
    DialogDriver dialogs;
    dialogs.expectAndClick(QMessageBox::Ok);
    TestWindow window;
    window.show();
    QTRY_COMPARE(dialogs.boxes().size(), 1);
    // The text has no entry in the catalogues.
    const ShownBox expected = {QMessageBox::Critical, title,
                               QStringLiteral("Error reading version description file:\nUnknown error"),
                               QMessageBox::Ok};
    QCOMPARE(dialogs.boxes().first(), expected);
    QTRY_VERIFY(!window.isVisible());
}

/// No catalogue holds the text, but one could.
void MainWindowAutomaticTest::noVersionCanBeReportedInAnyLanguage()
{
    const MarkedTexts marked;
    offer({stable(7000)});
    DialogDriver dialogs;
    dialogs.expectAndClick(QMessageBox::Ok);
    const TestWindow window;
    QTRY_COMPARE(dialogs.boxes().size(), 1);
    const QString text = dialogs.boxes().first().text;
    QVERIFY2(text.startsWith(MarkedTexts::of(QStringLiteral("Error reading version description file:\n"))),
             qPrintable(text));
}

FRESHEN_WINDOW_TEST_MAIN(MainWindowAutomaticTest)
#include "tst_mainwindow_automatic.moc"
