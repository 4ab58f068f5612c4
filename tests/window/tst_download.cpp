// The chosen package on its way from the server into the folder "out".

#include "kit/qt/files.h"
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
        click(window.button);
        QTRY_COMPARE(m_server->targets().value(1), packageTarget);
    }

private slots:
    void init()
    {
        WindowTest::init();
        writeSetting("version_main", "26");
        writeSetting("version_minor", "05");
        writeSetting("LoginWindow/useBeta", true);
        setArguments({"menu"});
    }

    void withoutAChoiceTheUserIsAsked()
    {
        TestWindow window;
        choose(window);
        window.tree.setCurrentItem(nullptr);
        m_dialogs->expectAndClick(QMessageBox::Ok);
        click(window.button);
        QCOMPARE(m_dialogs->boxes(), QStringList{"Information: Information [Ok] *Please choose a version to download"});
        QCOMPARE(window.pages.currentIndex(), 0);

        window.tree.setCurrentItem(window.tree.topLevelItem(0));
        click(window.button);
        QTRY_COMPARE(m_server->targets(), (QByteArrayList{versionFileTarget, packageTarget}));
    }

    void unknownRevisionIsReported()
    {
        TestWindow window;
        choose(window);
        const auto versions = std::exchange(window.versions, {});
        click(window.button);
        QCOMPARE(window.label.text(), "*Error selecting version!");
        QCOMPARE(window.pages.currentIndex(), 0);

        window.versions = versions;
        click(window.button);
        QTRY_COMPARE(m_server->targets(), (QByteArrayList{versionFileTarget, packageTarget}));
    }

    void packageIsRequestedAndStoredUnderItsNames()
    {
        const QByteArray target = "/update/Tavlopc/windows/Tavlopc1.0.2084STABLEWIN7X64.zip";
        writeSetting("extendedNaming", true);
        m_server->prepare(target, {{}, 302, "Location: /moved.zip"});
        m_server->prepare("/moved.zip", {"no package"});
        TestWindow window;
        choose(window, "1.0.2084|Beta||d|i");
        click(window.button);
        QTRY_VERIFY(!window.multiButton.isEnabled());
        QCOMPARE(m_server->targets(), (QByteArrayList{versionFileTarget, target, "/moved.zip"}));
        QVERIFY(m_server->requests().at(1).contains("User-Agent: Updater/2605windows\r\n"));
        const QString stored = "Tavlopc1.0.2084BETAWIN7X64.zip";
        QCOMPARE(treeOf(window.parentDir), (QMap<QString, QByteArray>{{stored, asStored("no package")}}));
        QVERIFY(takeLog().contains("update stored in  " + logged(QDir::toNativeSeparators(window.pathOf(stored)))));
    }

    void addressFollowsTheSettingsAndAlwaysNamesThePort()
    {
        TestWindow window;
        choose(window);
        clearSettings();
        writeSetting("host2", "update.example");
        writeSetting("proto2", "http");
        // The test's server, as a proxy, takes the request.
        QNetworkProxy::setApplicationProxy({QNetworkProxy::HttpProxy, "127.0.0.1", m_server->port()});
        click(window.button);
        const QByteArray address = "http://update.example:443" + packageTarget;
        QTRY_COMPARE(m_server->targets().value(1), address);
        QVERIFY(takeLog().contains("Get: " + logged(address)));
    }

    void progressPageIsShown()
    {
        TestWindow window;
        choose(window, "1.0.7200|<b>Stable</b>||d|i");
        click(window.button);
        QCOMPARE(window.pages.currentIndex(), 1);
        QVERIFY(window.hasFixedSize());
        QCOMPARE(window.multiButton.text(), "*Cancel");
        // Words of the server are no rich text, and a tool tip takes what looks like it for that.
        const QString text = "*Downloading Tavlopro Software Update <b>Stable</b> 1.0.7200 ...";
        QCOMPARE(window.label.text(), text);
        QCOMPARE(window.label.textFormat(), Qt::PlainText);
        QVERIFY(Qt::mightBeRichText(window.label.toolTip()));
        QCOMPARE(QTextDocumentFragment::fromHtml(window.label.toolTip()).toPlainText(), text);
        QCOMPARE(window.progressBar.accessibleName(), text);
    }

    void onlyOneDownloadRuns()
    {
        TestWindow window;
        download(window, HttpAnswer::held());
        const QPointer<QNetworkReply> reply = window.downloadReply;
        window.button.click();
        QCOMPARE(window.downloadReply, reply);
    }

    void progressIsShownWithTheSizeIfThatIsKnown()
    {
        TestWindow window;
        window.downloadProgress(megabyte * 3 / 2, megabyte * 3);
        QCOMPARE(window.sizeLabel.text(), "*1.5 of 3.0 MB downloaded");
        QCOMPARE(window.progressBar.value(), megabyte * 3 / 2);
        QCOMPARE(window.progressBar.maximum(), megabyte * 3);
        window.downloadProgress(megabyte * 2, -1);
        QCOMPARE(window.sizeLabel.text(), "*2.0 MB downloaded");
        QCOMPARE(window.progressBar.minimum(), 0);
        QCOMPARE(window.progressBar.maximum(), 0);
    }

    void abortStopsTheDownload()
    {
        TestWindow window;
        download(window, HttpAnswer::held(QByteArray(megabyte, 'x')));
        // Progress is told at most every 100 ms, and only when something comes.
        QTRY_VERIFY((m_server->release(1), window.progressBar.value()) > 0);
        const QPointer<QNetworkReply> reply = window.downloadReply;
        takeLog();
        click(window.multiButton);
        QCOMPARE(takeLog(), QStringList{"download aborted"});
        QCOMPARE(window.sizeLabel.text(), "*Download aborted!");
        QCOMPARE(window.progressBar.value(), 0);
        QCOMPARE(window.multiButton.text(), "*Close");
        // The event loop ends the transfer.
        QVERIFY(reply->isRunning());
        QTRY_VERIFY(reply.isNull());
        QVERIFY(treeOf(window.parentDir).isEmpty());
        QVERIFY(window.isVisible());
        QVERIFY(quitsAfter([&window] { click(window.multiButton); }));
        QCOMPARE(takeLog(), QStringList());
    }

    void failedDownloadIsStoredAndReported()
    {
        TestWindow window;
        download(window, {"<html>Not found</html>", 404});
        const QPointer<QNetworkReply> reply = window.downloadReply;
        QTRY_VERIFY(!window.multiButton.isEnabled());
        QCOMPARE(warnings().filter("Download failed: ").size(), 1);
        const QRegularExpression expected("^\\*Error unzipping update!\n\n(unzip\\(\\): zip\\.open\\(\\): -?\\d+)$");
        const QString label = window.label.text();
        QVERIFY2(expected.match(label).hasMatch(), qUtf8Printable(label));
        QCOMPARE(window.label.toolTip(), label);
        QCOMPARE(takeLog().last(), "Error unzipping " + logged(expected.match(label).captured(1)));
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
        QTimer atEachChance;
        connect(&atEachChance, &QTimer::timeout, &window, [&] {
            if (window.progressBar.maximum() != entries.size())
                return;
            texts.append(window.label.text() + '|' + window.sizeLabel.text());
            // There is nothing to be aborted any more.
            window.multiButton.click();
            atEachChance.stop();
        });
        atEachChance.start(0);
        QList<int> values;
        connect(&window.progressBar, &QProgressBar::valueChanged, &window, [&](int value) {
            if (window.progressBar.maximum() == entries.size())
                values.append(value);
        });
        download(window, {makePackage(entries)});
        QTRY_COMPARE(window.label.text(), "*Update ready to install!");
        QCOMPARE(texts, QStringList{"*Extracting update...|"});
        // The value of the download leaves the new range, which resets the bar.
        QCOMPARE(values.mid(values.indexOf(1)), (QList<int>{1, 2, 3}));
        QCOMPARE(window.multiButton.text(), "*Install Update and Relaunch Tavlopro...");
        QVERIFY(window.multiButton.isEnabled());
        QCOMPARE(treeOf(window.parentDir), unpacked);
        const QStringList log = takeLog();
        QVERIFY(!log.contains("download aborted"));
        QCOMPARE(log.last(), "update unzipped to  " + logged(QDir::toNativeSeparators(window.pathOf("out"))));
    }
};

FRESHEN_WINDOW_TEST_MAIN(DownloadTest)
#include "tst_download.moc"
