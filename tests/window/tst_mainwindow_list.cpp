// The mode "menu": the list of versions, its filter, and what is shown of the chosen one.

#include "kit/qt/dialogdriver.h"
#include "kit/qt/httpserver.h"
#include "kit/qt/settings.h"
#include "kit/qt/windowtest.h"

#include <QCheckBox>
#include <QHeaderView>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPointer>
#include <QPushButton>
#include <QTextEdit>
#include <QTreeWidget>
#include <QtTest>

using namespace freshen;

namespace {

/// A list of ASCII or UTF-8 texts.
QStringList texts(std::initializer_list<const char *> list)
{
    QStringList result;
    for (const char *text : list)
        result.append(QString::fromUtf8(text));
    return result;
}

/// The texts of the visible columns of all rows, from the top down, columns separated by a bar.
QStringList shownRows(const TestWindow &window)
{
    QStringList rows;
    const QTreeWidget &tree = window.tree();
    for (int i = 0; i < tree.topLevelItemCount(); ++i) {
        QStringList columns;
        for (int column = 0; column < tree.columnCount(); ++column) {
            if (!tree.isColumnHidden(column))
                columns.append(tree.topLevelItem(i)->text(column));
        }
        rows.append(columns.join(QLatin1Char('|')));
    }
    return rows;
}

} // namespace

class MainWindowListTest : public WindowTest
{
    Q_OBJECT

protected:
    void prepare() override;

private slots:
    void rowsShowTheirColumns();
    void hiddenColumnsAndSortingAreSet();
    void linesAreListed_data();
    void linesAreListed();
    void faultyLinesAreLogged_data();
    void faultyLinesAreLogged();
    void logTellsTheFile();
    void emptyFileGivesAnEmptyList_data();
    void emptyFileGivesAnEmptyList();
    void betaFilterRebuildsTheList();
    void betaFilterTakesTheSpaceKey();
    void filterKeepsAllVersions();
    void orderIsThatOfTheTexts();
    void infoOfTheCurrentVersionIsShown();
    void noVersionIsChosenAtFirst();
    void enterStartsTheDownload();
    void doubleClickStartsTheDownload();
    void failedConnectionIsReported_data();
    void failedConnectionIsReported();
    void replyIsDeleted();

private:
    /// Lets the server offer \a lines and shows \a window until the reply has been read.
    void load(TestWindow &window, const QByteArray &lines);

    std::unique_ptr<HttpServer> m_server;
};

void MainWindowListTest::prepare()
{
    m_server = std::make_unique<HttpServer>();
    useServer(*m_server);
    setArguments({QStringLiteral("menu")});
}

void MainWindowListTest::load(TestWindow &window, const QByteArray &lines)
{
    m_server->prepare(versionFileTarget, HttpAnswer::with(lines));
    window.show();
    QTRY_VERIFY(window.tree().isSortingEnabled());
}

void MainWindowListTest::rowsShowTheirColumns()
{
    TestWindow window;
    load(window, "26.05.7200|Stable|7100|1 May|New\n");
    const QTreeWidgetItem *item = window.tree().topLevelItem(0);
    QStringList found;
    for (int column = 0; column < item->columnCount(); ++column)
        found.append(item->text(column));
    QCOMPARE(found, texts({"7200", "26.05.7200", "Update 1", "7100", "1 May", "New"}));
    QCOMPARE(item->type(), int(QTreeWidgetItem::Type));
    QCOMPARE(item->childCount(), 0);
}

void MainWindowListTest::hiddenColumnsAndSortingAreSet()
{
    TestWindow window;
    load(window, "26.05.7200|Stable||1 May|New\n");
    QList<int> hidden;
    for (int column = 0; column < window.tree().columnCount(); ++column) {
        if (window.tree().isColumnHidden(column))
            hidden.append(column);
    }
    QCOMPARE(hidden, QList<int>({0, 3, 5}));
    QCOMPARE(window.tree().sortColumn(), 0);
    QCOMPARE(window.tree().header()->sortIndicatorOrder(), Qt::DescendingOrder);
}

void MainWindowListTest::linesAreListed_data()
{
    QTest::addColumn<QByteArray>("lines");
    QTest::addColumn<QStringList>("rows");
    QTest::newRow("newest first") << QByteArray("1.0.7100|Stable||a|i\n1.0.7300|Stable||c|i\n1.0.7200|Stable||b|i\n")
                                  << texts({"1.0.7300|Stable|c", "1.0.7200|Stable|b", "1.0.7100|Stable|a"});
    QTest::newRow("beta versions are left out, other types are not")
        << QByteArray("1.0.1|Beta||a|i\n1.0.2|Test||b|i\n1.0.3|special||c|i\n1.0.4|beta||d|i\n")
        << texts({"1.0.4|beta|d", "1.0.3|special|c", "1.0.2|Test|b"});
    QTest::newRow("of two lines with one revision the later")
        << QByteArray("1.0.7200|Stable||old|i\n2.0.7200|Stable||new|i\n") << texts({"2.0.7200|Stable|new"});
    QTest::newRow("six columns: 7087 is refused, 7086 is not")
        << QByteArray("1.0.7201|Stable||a|i|7087\n1.0.7202|Stable||b|i|7086\n1.0.7203|Stable||c|i|text\n")
        << texts({"1.0.7203|Stable|c", "1.0.7202|Stable|b"});
    QTest::newRow("seven columns are never listed")
        << QByteArray("1.0.7200|Stable||a|i|0|6.1\n1.0.7100|Stable||b|i\n") << texts({"1.0.7100|Stable|b"});
    QTest::newRow("a reference makes an update, counted from the oldest")
        << QByteArray("1.0.7100|Stable|7000|a|i\n1.0.7200|Stable||b|i\n1.0.7300|Stable|0|c|i\n1.0.7400|x|text|d|i\n")
        << texts({"1.0.7400|Update 3|d", "1.0.7300|Update 2|c", "1.0.7200|Stable|b", "1.0.7100|Update 1|a"});
    QTest::newRow("empty lines") << QByteArray("\n\n1.0.7100|Stable||a|i\n\n") << texts({"1.0.7100|Stable|a"});
    QTest::newRow("a zero byte ends the file")
        << QByteArray("1.0.7100|Stable||a|i\n") + QByteArray(1, '\0') + QByteArray("\n1.0.7200|Stable||b|i\n")
        << texts({"1.0.7100|Stable|a"});
    QTest::newRow("UTF-8") << QByteArray("1.0.7100|Stable||3. März|i\n") << texts({"1.0.7100|Stable|3. März"});
}

void MainWindowListTest::linesAreListed()
{
    QFETCH(QByteArray, lines);
    TestWindow window;
    load(window, lines);
    QTEST(shownRows(window), "rows");
}

void MainWindowListTest::faultyLinesAreLogged_data()
{
    QTest::addColumn<QByteArray>("lines");
    QTest::addColumn<QStringList>("warnings");
    QTest::newRow("four columns") << QByteArray("1.0.7100|Stable||a\n")
                                  << texts({"WARNING: (\"1.0.7100\", \"Stable\", \"\", \"a\") does not have right "
                                            "number of cols"});
    QTest::newRow("version of two parts") << QByteArray("1.7100|Stable||a|i\n")
                                          << texts({"WARNING: (\"1\", \"7100\") does not have right number of "
                                                    "cols"});
    QTest::newRow("unreadable revision") << QByteArray("1.0.72a0|Stable||a|i|7000\n")
                                         << texts({"WARNING: cant read revision number \"72a0\""});
    QTest::newRow("unknown type") << QByteArray("1.0.7100|Test||a|i\n") << texts({"WARNING: \"Test\" is unknown type"});
    QTest::newRow("newer updater needed") << QByteArray("1.0.7200|Stable||a|i|7087\n")
                                          << texts({"WARNING: current version 7086 not eligible for 7200 - needs "
                                                    "update to 7087"});
    QTest::newRow("stable fixes") << QByteArray("1.0.7300|Stable|5|a|i|0\n1.0.7200|Stable|6|a|i|0\n"
                                                "1.0.7400|Stable|7|a|i\n")
                                  << texts({"latestStableFix 5 7300", "latestStableFix 6 7300"});
}

void MainWindowListTest::faultyLinesAreLogged()
{
    QFETCH(QByteArray, lines);
    TestWindow window;
    // The other lines are still read.
    load(window, lines + "9.9.9999|Stable||z|i\n");
    const QStringList log = takeLog();
    QTEST(QStringList(log.mid(4)), "warnings");
    QVERIFY(shownRows(window).contains(QStringLiteral("9.9.9999|Stable|z")));
}

void MainWindowListTest::logTellsTheFile()
{
    TestWindow window;
    load(window, "1.0.7100|Stable||a|i\n");
    QCOMPARE(takeLog().value(3),
             QStringLiteral("Checking version... Run: 26.05.7086 Avail: \"1.0.7100|Stable||a|i\\n\""));
}

void MainWindowListTest::emptyFileGivesAnEmptyList_data()
{
    QTest::addColumn<QByteArray>("lines");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("fully malformed") << QByteArray("<html>\n<p>|||||||</p>\n</html>\n");
}

void MainWindowListTest::emptyFileGivesAnEmptyList()
{
    QFETCH(QByteArray, lines);
    DialogDriver dialogs;
    TestWindow window;
    load(window, lines);
    QCOMPARE(window.tree().topLevelItemCount(), 0);
    QVERIFY(window.versions.isEmpty());
    QVERIFY(window.isVisible());
    QVERIFY(dialogs.boxes().isEmpty());
}

void MainWindowListTest::betaFilterRebuildsTheList()
{
    TestWindow window;
    load(window, "1.0.7100|Beta|1|a|i\n1.0.7200|Stable|2|b|i\n1.0.7300|Beta||c|i\n");
    const QStringList withoutBeta = texts({"1.0.7200|Update 1|b"});
    QCOMPARE(shownRows(window), withoutBeta);

    // The numbers count shown rows only.
    click(window.showBeta());
    QVERIFY(window.showBeta().isChecked());
    QCOMPARE(shownRows(window), texts({"1.0.7300|Beta|c", "1.0.7200|Update 2|b", "1.0.7100|Update 1|a"}));
    click(window.showBeta());
    QCOMPARE(shownRows(window), withoutBeta);

    QVERIFY(window.tree().isSortingEnabled());
    QVERIFY(window.tree().isColumnHidden(0));
    // The file is not fetched again.
    QCOMPARE(m_server->requests().size(), 1);
}

void MainWindowListTest::betaFilterTakesTheSpaceKey()
{
    writeSetting("LoginWindow/useBeta", true);
    TestWindow window;
    load(window, "1.0.7100|Beta||a|i\n");
    QCOMPARE(window.tree().topLevelItemCount(), 1);
    QTest::keyClick(&window.showBeta(), Qt::Key_Space);
    QCOMPARE(window.tree().topLevelItemCount(), 0);
}

void MainWindowListTest::filterKeepsAllVersions()
{
    TestWindow window;
    load(window, "1.0.7100|Beta||a|i\n1.0.7200|Stable||b|i\n");
    QCOMPARE(window.versions.keys(), QList<qint32>({7100, 7200}));
    QCOMPARE(window.versions.value(7100), texts({"1.0.7100", "Beta", "", "a", "i"}));
    click(window.showBeta());
    QCOMPARE(window.versions.size(), 2);
}

void MainWindowListTest::orderIsThatOfTheTexts()
{
    TestWindow window;
    load(window, "1.0.999|Stable||a|i\n1.0.1000|Stable||b|i\n");
    const QStringList expected = texts({"1.0.999|Stable|a", "1.0.1000|Stable|b"});
    QCOMPARE(shownRows(window), expected);
    click(window.showBeta());
    QCOMPARE(shownRows(window), expected);
}

void MainWindowListTest::infoOfTheCurrentVersionIsShown()
{
    TestWindow window;
    load(window, "1.0.7100|Stable||a|plain\n1.0.7200|Stable||b|<b>rich</b> text\n");
    window.tree().setFocus();
    window.tree().setCurrentItem(window.tree().topLevelItem(0));
    QCOMPARE(window.versionInfo().toPlainText(), QStringLiteral("rich text"));
    QTest::keyClick(&window.tree(), Qt::Key_Down);
    QCOMPARE(window.versionInfo().toPlainText(), QStringLiteral("plain"));
    // Selecting none clears it.
    window.tree().setCurrentItem(nullptr);
    QCOMPARE(window.versionInfo().toPlainText(), QString());

    window.tree().setCurrentItem(window.tree().topLevelItem(0));
    // So does the rebuilt list.
    click(window.showBeta());
    QCOMPARE(window.versionInfo().toPlainText(), QString());
}

void MainWindowListTest::noVersionIsChosenAtFirst()
{
    TestWindow window;
    load(window, "1.0.7100|Stable||a|plain\n");
    QVERIFY(window.tree().currentItem() == nullptr);
    QCOMPARE(window.versionInfo().toPlainText(), QString());
}

void MainWindowListTest::enterStartsTheDownload()
{
    TestWindow window;
    load(window, "1.0.7100|Stable||a|i\n1.0.7200|Stable||b|i\n");
    m_server->prepare("/update/Tavlopc/windows/Tavlopc1.0.7100STABLE.zip", HttpAnswer::held());
    window.tree().setCurrentItem(window.tree().topLevelItem(1));
    QTest::keyClick(&window.tree(), Qt::Key_Return);
    QTRY_COMPARE(m_server->requests().size(), 2);
    QCOMPARE(m_server->targets().last(), QByteArray("/update/Tavlopc/windows/Tavlopc1.0.7100STABLE.zip"));
}

void MainWindowListTest::doubleClickStartsTheDownload()
{
    TestWindow window;
    load(window, "1.0.7100|Stable||a|i\n1.0.7200|Stable||b|i\n");
    m_server->prepare("/update/Tavlopc/windows/Tavlopc1.0.7200STABLE.zip", HttpAnswer::held());
    const QPoint position = window.tree().visualItemRect(window.tree().topLevelItem(0)).center();
    QTest::mouseClick(window.tree().viewport(), Qt::LeftButton, {}, position);
    QTest::mouseDClick(window.tree().viewport(), Qt::LeftButton, {}, position);
    QTRY_COMPARE(m_server->requests().size(), 2);
    QCOMPARE(m_server->targets().last(), QByteArray("/update/Tavlopc/windows/Tavlopc1.0.7200STABLE.zip"));
}

void MainWindowListTest::failedConnectionIsReported_data()
{
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("textStart");
    QTest::newRow("en")
        << "Connection Failed"
        << "Connection to server could not be established:<br /><br />\"%1\"<br /><br/>Please make sure";
    QTest::newRow("de") << "Verbindung fehlgeschlagen"
                        << "Es konnte keine Verbindung zum Update-Server hergestellt werden:<br /><br />\"%1\"<br "
                           "/><br/>Bitte stellen Sie sicher";
}

void MainWindowListTest::failedConnectionIsReported()
{
    QFETCH(QString, title);
    QFETCH(QString, textStart);
    const Catalogue catalogue(QString::fromLatin1(QTest::currentDataTag()));
    m_server.reset();
    DialogDriver dialogs;
    dialogs.expectAndPress(Qt::Key_Escape);
    TestWindow window;
    window.show();
    QTRY_COMPARE(dialogs.boxes().size(), 1);
    QTRY_VERIFY(!window.isVisible());
    const ShownBox &box = dialogs.boxes().first();
    QCOMPARE(box.icon, QMessageBox::Critical);
    QCOMPARE(box.title, title);
    QVERIFY2(box.text.startsWith(textStart.arg(QLatin1String("Connection refused"))), qPrintable(box.text));
    QCOMPARE(box.buttons, QMessageBox::StandardButtons(QMessageBox::Ok));
    QCOMPARE(takeLog().last(), QStringLiteral("Connection failed: \"Connection refused\""));
    QVERIFY(window.versions.isEmpty());
}

void MainWindowListTest::replyIsDeleted()
{
    TestWindow window;
    QPointer<QNetworkReply> reply;
    bool isFinished = false;
    const QObject watcher;
    connect(networkAccessManager, &QNetworkAccessManager::finished, &watcher, [&](QNetworkReply *finished) {
        reply = finished;
        isFinished = true;
    });
    load(window, "1.0.7100|Stable||a|i\n");
    QVERIFY(isFinished);
    QTRY_VERIFY(reply.isNull());
}

FRESHEN_WINDOW_TEST_MAIN(MainWindowListTest)
#include "tst_mainwindow_list.moc"
