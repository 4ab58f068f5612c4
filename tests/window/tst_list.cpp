// The mode "menu": the list of versions, its filter, and what is shown of the chosen one.

#include "kit/qt/windowtest.h"

using namespace freshen;

class ListTest : public WindowTest
{
    Q_OBJECT

    /// Lets the server offer \a lines and shows \a window until the list is there.
    void load(TestWindow &window, const QByteArray &lines)
    {
        setArguments({"menu"});
        m_server->prepare(versionFileTarget, {lines});
        window.show();
        QTRY_VERIFY(window.tree.isSortingEnabled());
    }

    /// Version, type and date of each row of \a window, from the top down.
    static QStringList rows(const TestWindow &window)
    {
        QStringList rows;
        for (int row = 0; row < window.tree.topLevelItemCount(); ++row) {
            const QTreeWidgetItem &item = *window.tree.topLevelItem(row);
            rows.append(QStringList{item.text(1), item.text(2), item.text(4)}.join('|'));
        }
        return rows;
    }

private slots:
    void columnsHaveTheirCaptions()
    {
        TestWindow window;
        load(window, "1.0.7200|Stable|7100|1 May|New\n");
        QStringList columns;
        for (int column = 0; column < window.tree.columnCount(); ++column)
            columns.append(window.tree.headerItem()->text(column) + ": " + window.tree.topLevelItem(0)->text(column) +
                           (window.tree.isColumnHidden(column) ? " (hidden)" : ""));
        const QStringList expected = {"SVN: 7200 (hidden)",      "Version: 1.0.7200", "Typ: Update 1",
                                      "Referenz: 7100 (hidden)", "Datum: 1 May",      "Info: New (hidden)"};
        QCOMPARE(columns, expected);
        QTRY_VERIFY2(networkAccessManager->findChild<QNetworkReply *>() == nullptr, "The reply is not deleted");
    }

    void checkBoxFiltersTheBetas()
    {
        writeSettings({{"LoginWindow/useBeta", true}});
        TestWindow window;
        load(window, "1.0.999|Stable|1|a|i\n1.0.1000|Beta|2|b|i\n1.0.1001|special|3|c|i\n2.0.1000|Beta|2|d|i\n");
        // Revisions, not versions, are ordered, and as texts; updates are numbered by them as numbers.
        const QStringList withBetas = {"1.0.999|Update 1|a", "1.0.1001|Update 3|c", "2.0.1000|Update 2|d"};
        const QStringList withoutBetas = {"1.0.999|Update 1|a", "1.0.1001|Update 2|c"};
        QCOMPARE(rows(window), withBetas);
        window.showBeta.click();
        QCOMPARE(rows(window), withoutBetas);
        window.showBeta.click();
        QCOMPARE(rows(window), withBetas);
        QCOMPARE(m_server->targets().size(), 1);
    }

    void keysShowTheInfoOfARowAndDownloadIt()
    {
        TestWindow window;
        load(window, "1.0.7100|Stable||a|plain\n1.0.7200|Stable||b|<b>rich</b> text\n");
        QVERIFY(window.tree.currentItem() == nullptr);
        QCOMPARE(window.versionInfo.toPlainText(), "");
        for (const char *info : {"rich text", "plain"}) {
            QTest::keyClick(&window.tree, Qt::Key_Down);
            QCOMPARE(window.versionInfo.toPlainText(), info);
        }
        window.showBeta.click();
        QCOMPARE(window.versionInfo.toPlainText(), "");
        for (const Qt::Key key : {Qt::Key_Down, Qt::Key_Return})
            QTest::keyClick(&window.tree, key);
        QTRY_COMPARE(m_server->targets().value(1), "/update/Tavlopc/windows/Tavlopc1.0.7200STABLE.zip");
    }

    void doubleClickDownloadsTheRow()
    {
        TestWindow window;
        load(window, "1.0.7100|Stable||a|i\n1.0.7200|Stable||b|i\n");
        const QPoint row = window.tree.visualItemRect(window.tree.topLevelItem(1)).center();
        QTest::mouseClick(window.tree.viewport(), Qt::LeftButton, {}, row);
        QTest::mouseDClick(window.tree.viewport(), Qt::LeftButton, {}, row);
        QTRY_COMPARE(m_server->targets().value(1), "/update/Tavlopc/windows/Tavlopc1.0.7100STABLE.zip");
    }
};

FRESHEN_WINDOW_TEST_MAIN(ListTest)
#include "tst_list.moc"
