// The chosen package on its way from the server into the folder "out".

#include "kit/qt/packagemaker.h"
#include "kit/qt/windowtest.h"

#include <QDir>
#include <QPointer>
#include <QTextDocument>
#include <QTextDocumentFragment>

using namespace freshen;

namespace {

constexpr int megabyte = 1024 * 1024;

const QByteArray packageTarget = "/update/Tavlopc/windows/Tavlopc1.0.7200STABLE.zip";

} // namespace

class DownloadTest : public WindowTest
{
    Q_OBJECT

    /// Shows \a window with the version of \a line, and chooses that.
    void choose(TestWindow &window, const QByteArray &line = "1.0.7200|Stable||1 May|Info")
    {
        m_server->prepare(versionFileTarget, {line + '\n'});
        window.show();
        QTRY_COMPARE(window.tree.topLevelItemCount(), 1);
        window.tree.setCurrentItem(window.tree.topLevelItem(0));
    }

    /// Lets \a window download a package, and the server answer with \a answer.
    void download(TestWindow &window, const HttpAnswer &answer)
    {
        m_server->prepare(packageTarget, answer);
        choose(window);
        window.button.click();
        QTRY_COMPARE(m_server->targets().value(1), packageTarget);
    }

private slots:
    void init()
    {
        WindowTest::init();
        writeSettings({{"version_main", "26"}, {"version_minor", "05"}, {"LoginWindow/useBeta", true}});
        setArguments({"menu"});
    }

    void nothingIsDownloadedWithoutAKnownChoice()
    {
        TestWindow window;
        choose(window);
        window.tree.setCurrentItem(nullptr);
        m_dialogs->expect(QMessageBox::Ok);
        window.button.click();
        QCOMPARE(m_dialogs->boxes(), QStringList{"Information: Information [Ok] *Please choose a version to download"});

        window.tree.setCurrentItem(window.tree.topLevelItem(0));
        const auto versions = std::exchange(window.versions, {});
        window.button.click();
        QCOMPARE(window.label.text(), "*Error selecting version!");
        QCOMPARE(window.pages.currentIndex(), 0);

        window.versions = versions;
        window.button.click();
        QTRY_COMPARE(m_server->targets(), (QByteArrayList{versionFileTarget, packageTarget}));
    }

    void packageIsRequestedAndStoredUnderItsNames()
    {
        const QByteArray target = "/update/Tavlopc/windows/Tavlopc1.0.2084STABLEWIN7X64.zip";
        writeSettings({{"extendedNaming", true}});
        m_server->prepare(target, {"no package"});
        TestWindow window;
        choose(window, "1.0.2084|Beta||d|i");
        window.button.click();
        QTRY_VERIFY(!window.multiButton.isEnabled());
        QCOMPARE(m_server->targets(), (QByteArrayList{versionFileTarget, target}));
        QVERIFY(m_server->requests().at(1).contains("User-Agent: Updater/2605windows\r\n"));
        const QString stored = "Tavlopc1.0.2084BETAWIN7X64.zip";
        QCOMPARE(treeOf(window.parentDir), (QMap<QString, QByteArray>{{stored, asStored("no package")}}));
        QVERIFY(takeLog().contains("update stored in  " +
                                   logged(QDir::toNativeSeparators(window.parentDir + '/' + stored))));
    }

    void addressFollowsTheSettingsAndAlwaysNamesThePort()
    {
        TestWindow window;
        choose(window);
        clearSettings();
        writeSettings({{"host2", "update.example"}, {"proto2", "http"}});
        // The test's server, as a proxy, takes the request.
        QNetworkProxy::setApplicationProxy({QNetworkProxy::HttpProxy, "127.0.0.1", m_server->serverPort()});
        window.button.click();
        const QByteArray address = "http://update.example:443" + packageTarget;
        QTRY_COMPARE(m_server->targets().value(1), address);
        QVERIFY(takeLog().contains("Get: " + logged(address)));
    }

    void progressPageIsShown()
    {
        TestWindow window;
        choose(window, "1.0.7200|<b>Stable</b>||d|i");
        window.button.click();
        const QPointer<QNetworkReply> reply = window.downloadReply;
        window.button.click();
        QCOMPARE(window.downloadReply, reply);
        QCOMPARE(window.pages.currentIndex(), 1);
        QCOMPARE(window.multiButton.text(), "*Cancel");
        // Words of the server are no rich text, and a tool tip takes what looks like it for that.
        const QString text = "*Downloading Tavlopro Software Update <b>Stable</b> 1.0.7200 ...";
        QCOMPARE(window.label.text(), text);
        QCOMPARE(window.label.textFormat(), Qt::PlainText);
        QVERIFY(Qt::mightBeRichText(window.label.toolTip()));
        QCOMPARE(QTextDocumentFragment::fromHtml(window.label.toolTip()).toPlainText(), text);
        QCOMPARE(window.progressBar.accessibleName(), text);
    }

    void progressIsShownWithTheSizeIfThatIsKnown()
    {
        TestWindow window;
        window.downloadProgress(1101005, megabyte * 3);
        QCOMPARE(window.sizeLabel.text(), "*1.1 of 3.0 MB downloaded");
        QCOMPARE(window.progressBar.value(), 1101005);
        QCOMPARE(window.progressBar.maximum(), megabyte * 3);
        window.downloadProgress(Q_INT64_C(5120) * megabyte, -1);
        QCOMPARE(window.sizeLabel.text(), "*5120.0 MB downloaded");
        QCOMPARE(window.progressBar.minimum(), 0);
        QCOMPARE(window.progressBar.maximum(), 0);
    }

    void abortStopsTheDownload()
    {
        TestWindow window;
        download(window, HttpAnswer::held(QByteArray(megabyte, 'x')));
        // Qt reports progress at most every 100 ms, and only when something comes.
        QTRY_VERIFY((m_server->release(1), window.progressBar.value()) > 0);
        const QPointer<QNetworkReply> reply = window.downloadReply;
        takeLog();
        window.multiButton.click();
        QCOMPARE(takeLog(), QStringList{"download aborted"});
        QCOMPARE(window.sizeLabel.text(), "*Download aborted!");
        QCOMPARE(window.progressBar.value(), 0);
        QCOMPARE(window.multiButton.text(), "*Close");
        // The transfer ends in the event loop.
        QVERIFY(reply->isRunning());
        QTRY_VERIFY(reply.isNull());
        QVERIFY(treeOf(window.parentDir).isEmpty());
        QVERIFY(window.isVisible());
        QVERIFY(quitsAfter([&window] { window.multiButton.click(); }));
        QCOMPARE(takeLog(), QStringList());
    }

    void failedDownloadIsStoredAndReported_data()
    {
        const Table<HttpAnswer> table;
        table.row("an error", {"<html>Not found</html>", 404});
        table.row("less than announced", HttpAnswer::cutOff("<html>Not found</html>"));
    }
    void failedDownloadIsStoredAndReported()
    {
        const auto [answer] = Table<HttpAnswer>::current();
        TestWindow window;
        download(window, answer);
        const QPointer<QNetworkReply> reply = window.downloadReply;
        QTRY_VERIFY(!window.multiButton.isEnabled());
        QCOMPARE(log().lines(QtWarningMsg).filter("Download failed: ").size(), 1);
        const QString error = "unzip(): zip.open(): -1000";
        QCOMPARE(window.label.text(), "*Error unzipping update!\n\n" + error);
        QCOMPARE(window.label.toolTip(), window.label.text());
        QCOMPARE(takeLog().last(), "Error unzipping " + logged(error));
        QCOMPARE(treeOf(window.parentDir).values(), {asStored("<html>Not found</html>")});
        QVERIFY(window.isVisible());
        QTRY_VERIFY(reply.isNull());
    }

    void packageIsUnpackedAndOffered()
    {
        QList<PackageEntry> entries;
        QMap<QString, QByteArray> unpacked = {{"out/", {}}, {"out/Tavlopro/", {}}};
        for (const QByteArray name : {"Tavlopro/0", "Tavlopro/1", "Tavlopro/2"}) {
            entries.append({name, someBytes(5000)});
            unpacked.insert("out/" + name, entries.last().content);
        }
        TestWindow window;
        QStringList texts;
        QTimer idleTimer;
        connect(&idleTimer, &QTimer::timeout, &window, [&] {
            if (!window.label.text().startsWith("*Extracting"))
                return;
            texts.append(window.label.text() + '|' + window.sizeLabel.text());
            // There is nothing to be aborted any more.
            window.multiButton.click();
            idleTimer.stop();
        });
        idleTimer.start(0);
        const QSignalSpy values(&window.progressBar, &QProgressBar::valueChanged);
        download(window, {makePackage(entries)});
        QTRY_COMPARE(window.label.text(), "*Update ready to install!");
        QCOMPARE(texts, QStringList{"*Extracting update...|"});
        QCOMPARE(values.mid(values.size() - entries.size()), (QList<QVariantList>{{1}, {2}, {3}}));
        QCOMPARE(window.progressBar.maximum(), entries.size());
        QCOMPARE(window.multiButton.text(), "*Install Update and Relaunch Tavlopro...");
        QVERIFY(window.multiButton.isEnabled());
        QCOMPARE(treeOf(window.parentDir), unpacked);
        const QStringList log = takeLog();
        QVERIFY(!log.contains("download aborted"));
        QCOMPARE(log.last(), "update unzipped to  " + logged(QDir::toNativeSeparators(window.parentDir + "/out")));
    }
};

FRESHEN_WINDOW_TEST_MAIN(DownloadTest)
#include "tst_download.moc"
