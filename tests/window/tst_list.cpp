// The mode "menu": the list of versions, its filter, and what is shown of the chosen one.

#include "kit/qt/windowtest.h"
#include "versions/ownversion.h"

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

    /// The texts of all rows of \a window, those of the columns that can be seen, from the top down.
    static QStringList shownRows(const TestWindow &window)
    {
        QStringList rows;
        for (int row = 0; row < window.tree.topLevelItemCount(); ++row) {
            QStringList texts;
            for (int column = 0; column < window.tree.columnCount(); ++column) {
                if (!window.tree.isColumnHidden(column))
                    texts.append(window.tree.topLevelItem(row)->text(column));
            }
            rows.append(texts.join('|'));
        }
        return rows;
    }

private slots:
    void columnsHaveTheirCaptions()
    {
        TestWindow window;
        load(window, "1.0.7200|Stable|7100|1 May|New\n");
        QStringList captions;
        QStringList texts;
        for (int column = 0; column < window.tree.columnCount(); ++column) {
            captions.append(window.tree.headerItem()->text(column));
            texts.append(window.tree.topLevelItem(0)->text(column));
        }
        QCOMPARE(captions, QStringList({"SVN", "Version", "Typ", "Referenz", "Datum", "Info"}));
        QCOMPARE(texts, QStringList({"7200", "1.0.7200", "Update 1", "7100", "1 May", "New"}));
        QCOMPARE(shownRows(window), QStringList{"1.0.7200|Update 1|1 May"});
        QTRY_VERIFY2(networkAccessManager->findChild<QNetworkReply *>() == nullptr, "The reply is not deleted");
    }

    void checkBoxFiltersTheBetas_data()
    {
        const Table<bool> table;
        table.row("off at first", false);
        table.row("on at first", true);
    }
    void checkBoxFiltersTheBetas()
    {
        const auto [useBeta] = Table<bool>::current();
        writeSetting("LoginWindow/useBeta", useBeta);
        TestWindow window;
        load(window, "1.0.999|Stable|1|a|i\n1.0.1000|Beta|2|b|i\n1.0.1001|special|3|c|i\n2.0.1000|Beta|2|d|i\n");
        // Revisions, not versions, are ordered, and as texts; updates are numbered by them as numbers.
        const QStringList withBetas = {"1.0.999|Update 1|a", "1.0.1001|Update 3|c", "2.0.1000|Update 2|d"};
        const QStringList withoutBetas = {"1.0.999|Update 1|a", "1.0.1001|Update 2|c"};
        QCOMPARE(shownRows(window), useBeta ? withBetas : withoutBetas);
        click(window.showBeta);
        QCOMPARE(shownRows(window), useBeta ? withoutBetas : withBetas);
        QTest::keyClick(&window.showBeta, Qt::Key_Space);
        QCOMPARE(shownRows(window), useBeta ? withBetas : withoutBetas);
        QCOMPARE(m_server->targets().size(), 1);
    }

    void fileWithoutASoundLineGivesAnEmptyList_data()
    {
        const Table<QByteArray> table;
        table.row("empty", "");
        table.row("another page", "<html>\n<p>|||||||</p>\n</html>\n");
    }
    void fileWithoutASoundLineGivesAnEmptyList()
    {
        const auto [file] = Table<QByteArray>::current();
        TestWindow window;
        load(window, file);
        QCOMPARE(window.tree.topLevelItemCount(), 0);
        QVERIFY(window.isVisible());
    }

    void logTellsTheFileAndItsFaults()
    {
        TestWindow window;
        load(window, "1.0|Stable||a|i\n1.0.7100|Test||a|i\n");
        const QStringList expected = {
            "no proxy is used.",
            "checking ...",
            QString("Get: \"http://127.0.0.1:%1%2\"").arg(m_server->port()).arg(versionFileTarget),
            QString("Checking version... Run: %1 Avail: \"1.0|Stable||a|i\\n1.0.7100|Test||a|i\\n\"").arg(ownVersion),
            "WARNING: (\"1\", \"0\") does not have right number of cols",
            "WARNING: \"Test\" is unknown type",
        };
        QCOMPARE(takeLog(), expected);
        QCOMPARE(shownRows(window), QStringList{"1.0.7100|Test|a"});
    }

    void infoIsThatOfTheCurrentRow()
    {
        TestWindow window;
        load(window, "1.0.7100|Stable||a|plain\n1.0.7200|Stable||b|<b>rich</b> text\n");
        QVERIFY(window.tree.currentItem() == nullptr);
        QCOMPARE(window.versionInfo.toPlainText(), "");
        for (const char *info : {"rich text", "plain"}) {
            QTest::keyClick(&window.tree, Qt::Key_Down);
            QCOMPARE(window.versionInfo.toPlainText(), info);
        }
        click(window.showBeta);
        QCOMPARE(window.versionInfo.toPlainText(), "");
    }

    void returnDownloadsTheRow()
    {
        TestWindow window;
        load(window, "1.0.7100|Stable||a|i\n1.0.7200|Stable||b|i\n");
        window.tree.setCurrentItem(window.tree.topLevelItem(1));
        QTest::keyClick(&window.tree, Qt::Key_Return);
        QTRY_COMPARE(m_server->targets().value(1), "/update/Tavlopc/windows/Tavlopc1.0.7100STABLE.zip");
    }
};

FRESHEN_WINDOW_TEST_MAIN(ListTest)
#include "tst_list.moc"
