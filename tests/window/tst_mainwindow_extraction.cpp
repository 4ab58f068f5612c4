// The extraction of the stored package, and what the window makes of its result.

#include "kit/qt/dialogdriver.h"
#include "kit/qt/files.h"
#include "kit/qt/httpserver.h"
#include "kit/qt/packagemaker.h"
#include "kit/qt/settings.h"
#include "kit/qt/windowtest.h"

#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QtTest>

using namespace freshen;

namespace {

const QByteArray packageTarget = "/update/Tavlopc/windows/Tavlopc26.05.7200STABLE.zip";

QList<PackageEntry> entries(int count)
{
    QList<PackageEntry> result;
    for (int i = 0; i < count; ++i) {
        PackageEntry entry;
        entry.name = "Tavlopro/" + QByteArray::number(i);
        entry.content = someBytes(5000 + i, static_cast<quint32>(i + 1));
        result.append(entry);
    }
    return result;
}

/// Two sound entries and then one whose checksum does not match.
QByteArray damagedPackage()
{
    QList<PackageEntry> list = entries(3);
    list.last().checksum = 1;
    return makePackage(list);
}

} // namespace

class MainWindowExtractionTest : public WindowTest
{
    Q_OBJECT

protected:
    void prepare() override;

private slots:
    void successOffersTheInstallation_data();
    void successOffersTheInstallation();
    void logTellsTheSuccess();
    void abortIsOverBeforeTheExtraction();
    void statusIsShownMeanwhile_data();
    void statusIsShownMeanwhile();
    void progressCountsEntries();
    void packageWithoutEntriesIsASuccess();
    void failureIsShown_data();
    void failureIsShown();
    void logTellsTheFailure();
    void damagedEntryLeavesTheEarlierOnes();
    void archiveThatCannotBeDeletedIsNoFailure();

private:
    /// Lets \a window download \a package, and waits for the end of the extraction.
    void download(TestWindow &window, const QByteArray &package);
    /// The path of the stored package.
    [[nodiscard]] static QString stored(const TestWindow &window);

    std::unique_ptr<HttpServer> m_server;
};

void MainWindowExtractionTest::prepare()
{
    m_server = std::make_unique<HttpServer>();
    useServer(*m_server);
    writeSetting("version_main", QStringLiteral("26"));
    setArguments({QStringLiteral("auto")});
    m_server->prepare(versionFileTarget, HttpAnswer::with("26.05.7200|Stable||d|i\n"));
}

void MainWindowExtractionTest::download(TestWindow &window, const QByteArray &package)
{
    m_server->prepare(packageTarget, HttpAnswer::with(package));
    window.show();
    const QString button = window.multiButton().text();
    QTRY_VERIFY(!window.multiButton().isEnabled() || window.multiButton().text() != button);
}

QString MainWindowExtractionTest::stored(const TestWindow &window)
{
    return QDir::toNativeSeparators(window.parentDir + QLatin1String("/Tavlopc26.05.7200STABLE.zip"));
}

void MainWindowExtractionTest::successOffersTheInstallation_data()
{
    QTest::addColumn<QString>("label");
    QTest::addColumn<QString>("button");
    QTest::newRow("en") << "Update ready to install!"
                        << "Install Update and Relaunch Tavlopro...";
    QTest::newRow("de") << "Update bereit zur Installation!"
                        << "Installieren und Tavlopro neu starten...";
}

void MainWindowExtractionTest::successOffersTheInstallation()
{
    const Catalogue catalogue(QString::fromLatin1(QTest::currentDataTag()));
    TestWindow window;
    download(window, makePackage(entries(2)));
    QTEST(window.label().text(), "label");
    QTEST(window.multiButton().text(), "button");
    QVERIFY(window.multiButton().isEnabled());
    QCOMPARE(window.sizeLabel().text(), QString());
    // The archive behind its length of 4 bytes opened normally, and is gone.
    const QMap<QString, QByteArray> expected = {{QStringLiteral("out/"), {}},
                                                {QStringLiteral("out/Tavlopro/"), {}},
                                                {QStringLiteral("out/Tavlopro/0"), entries(2).at(0).content},
                                                {QStringLiteral("out/Tavlopro/1"), entries(2).at(1).content}};
    QCOMPARE(treeOf(window.parentDir), expected);
    QVERIFY(disconnect(&window.multiButton(), SIGNAL(clicked()), &window, SLOT(installUpdate())));
}

void MainWindowExtractionTest::logTellsTheSuccess()
{
    TestWindow window;
    download(window, makePackage(entries(1)));
    QStringList log = takeLog();
    log.replaceInStrings(QStringLiteral("\\\\"), QStringLiteral("\\"));
    QCOMPARE(log.at(log.size() - 4), QStringLiteral("update stored in  \"%1\"").arg(stored(window)));
    QVERIFY(log.at(log.size() - 3).startsWith(QLatin1String("set permission true ")));
    QCOMPARE(log.at(log.size() - 2),
             QStringLiteral("unzipping \"%1\"").arg(QDir::toNativeSeparators(QStringLiteral("Tavlopro/0"))));
    QCOMPARE(log.last(), QStringLiteral("update unzipped to  \"%1\"")
                             .arg(QDir::toNativeSeparators(window.parentDir + QLatin1String("/out"))));
}

void MainWindowExtractionTest::abortIsOverBeforeTheExtraction()
{
    TestWindow window;
    // Presses the button while the entries are unpacked: it has no role then.
    QTimer presses;
    int pressed = 0;
    connect(&presses, &QTimer::timeout, &window, [&] {
        if (window.progressBar().maximum() == 30 && window.progressBar().value() < 30) {
            window.multiButton().click();
            ++pressed;
        }
    });
    presses.start(0);
    download(window, makePackage(entries(30)));
    QVERIFY(pressed > 0);
    QCOMPARE(window.label().text(), QStringLiteral("Update ready to install!"));
    QVERIFY(!takeLog().contains(QStringLiteral("download aborted")));
    QVERIFY(!disconnect(&window.multiButton(), SIGNAL(clicked()), &window, SLOT(abortDownload())));
}

void MainWindowExtractionTest::statusIsShownMeanwhile_data()
{
    QTest::addColumn<QString>("label");
    // The English catalogue adds a blank.
    QTest::newRow("en") << "Extracting update ...";
    QTest::newRow("de") << "Entpacke Update ...";
    QTest::newRow("no catalogue") << "Extracting update...";
}

void MainWindowExtractionTest::statusIsShownMeanwhile()
{
    QFETCH(QString, label);
    const Catalogue catalogue(QString::fromLatin1(QTest::currentDataTag()));
    TestWindow window;
    QTimer looks;
    QStringList labels;
    QStringList sizes;
    connect(&looks, &QTimer::timeout, &window, [&] {
        if (window.progressBar().maximum() == 30 && window.progressBar().value() < 30) {
            labels.append(window.label().text());
            sizes.append(window.sizeLabel().text());
        }
    });
    looks.start(0);
    download(window, makePackage(entries(30)));
    labels.removeDuplicates();
    sizes.removeDuplicates();
    QCOMPARE(labels, QStringList{label});
    QCOMPARE(sizes, QStringList{QString()});
}

void MainWindowExtractionTest::progressCountsEntries()
{
    TestWindow window;
    QList<int> values;
    connect(&window.progressBar(), &QProgressBar::valueChanged, &window, [&](int value) {
        if (window.progressBar().maximum() == 5)
            values.append(value);
    });
    download(window, makePackage(entries(5)));
    QCOMPARE(window.progressBar().maximum(), 5);
    // The download's value leaves the new range, which resets the bar.
    QCOMPARE(values.mid(values.indexOf(1)), QList<int>({1, 2, 3, 4, 5}));
}

void MainWindowExtractionTest::packageWithoutEntriesIsASuccess()
{
    TestWindow window;
    download(window, makePackage({}));
    QCOMPARE(window.label().text(), QStringLiteral("Update ready to install!"));
    QVERIFY(treeOf(window.parentDir).isEmpty());
}

void MainWindowExtractionTest::failureIsShown_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<QByteArray>("package");
    QTest::addColumn<QRegularExpression>("label");
    const auto add =
        [](const char *name, const QByteArray &package, const char *message) {
            QTest::addRow("%s, en", name)
                << QStringLiteral("en") << package
                << QRegularExpression(QStringLiteral("^Error unzipping update!\n\n%1$").arg(QLatin1String(message)));
            QTest::addRow("%s, de", name)
                << QStringLiteral("de") << package
                << QRegularExpression(
                       QStringLiteral("^Fehler beim Auspacken der Aktualisierung!\n\n%1$").arg(QLatin1String(message)));
        };
    add("no archive", "<html>Not found</html>", R"(unzip\(\): zip\.open\(\): -?\d+)");
    add("empty", "", R"(unzip\(\): zip\.open\(\): -?\d+)");
    add("damaged entry", damagedPackage(), R"(testRead\(\): file\.close\(\): -105)");
}

void MainWindowExtractionTest::failureIsShown()
{
    QFETCH(QString, language);
    QFETCH(QByteArray, package);
    QFETCH(QRegularExpression, label);
    const Catalogue catalogue(language);
    DialogDriver dialogs;
    TestWindow window;
    download(window, package);
    QVERIFY2(label.match(window.label().text()).hasMatch(), qPrintable(window.label().text()));
    QCOMPARE(window.label().toolTip(), window.label().text());
    QVERIFY(!window.multiButton().isEnabled());
    QCOMPARE(window.multiButton().text(),
             language == QLatin1String("de") ? QStringLiteral("Abbrechen") : QStringLiteral("Cancel"));
    QVERIFY(!disconnect(&window.multiButton(), SIGNAL(clicked()), &window, SLOT(installUpdate())));
    QVERIFY(window.isVisible());
    QVERIFY(dialogs.boxes().isEmpty());
    // The archive stays.
    QCOMPARE(readFile(stored(window)), asStored(package));
}

void MainWindowExtractionTest::logTellsTheFailure()
{
    TestWindow window;
    download(window, damagedPackage());
    QCOMPARE(takeLog().last(), QStringLiteral("Error unzipping \"testRead(): file.close(): -105\""));
}

void MainWindowExtractionTest::damagedEntryLeavesTheEarlierOnes()
{
    TestWindow window;
    download(window, damagedPackage());
    QCOMPARE(readFile(window.pathOf(QStringLiteral("out/Tavlopro/0"))), entries(3).at(0).content);
    QCOMPARE(readFile(window.pathOf(QStringLiteral("out/Tavlopro/1"))), entries(3).at(1).content);
}

void MainWindowExtractionTest::archiveThatCannotBeDeletedIsNoFailure()
{
    TestWindow window;
    const QString path = stored(window);
    // On Windows an open file stays; elsewhere it is gone before the program wants to delete it.
    QFile holder(path);
    QTimer waits;
    connect(&waits, &QTimer::timeout, &window, [&] {
        if (window.progressBar().maximum() == 30 && !holder.isOpen() && holder.open(QIODevice::ReadOnly))
            QFile::remove(path);
    });
    waits.start(0);
    download(window, makePackage(entries(30)));
    QVERIFY(holder.isOpen());
    QCOMPARE(window.label().text(), QStringLiteral("Update ready to install!"));
    QVERIFY(window.multiButton().isEnabled());
    QVERIFY(disconnect(&window.multiButton(), SIGNAL(clicked()), &window, SLOT(installUpdate())));
    QVERIFY(warnings().contains(QStringLiteral("unzip(): Cannot remove ZIP file: %1").arg(path)));
}

FRESHEN_WINDOW_TEST_MAIN(MainWindowExtractionTest)
#include "tst_mainwindow_extraction.moc"
