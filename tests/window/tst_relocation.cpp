// The start without arguments: the updater copies itself out of the installation and starts the copy.

#include "kit/qt/windowtest.h"
#include "versions/deployment.h"

#include <QDir>
#include <QStandardPaths>

using namespace freshen;

class RelocationTest : public WindowTest
{
    Q_OBJECT

    const QString m_localData = QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation);
    const QString m_copy = QDir::toNativeSeparators(m_localData + "/freshen");
    const QString m_installation = QCoreApplication::applicationDirPath();

private slots:
    void init()
    {
        WindowTest::init();
        setArguments({});
        QDir(m_localData).removeRecursively();
        writeFile(m_installation + "/Freshen.exe", "the updater");
    }

    void updaterIsCopiedAndStarted()
    {
        writeFile(m_localData + "/settings.ini", "a folder of an earlier run");
        writeFile(m_localData + "/freshen/platforms/deep/old.dll", "of an earlier run");
        // The lowest that tells of a success.
        fakeSystem.elevatedResult = 33;
        TestWindow window;
        QVERIFY(quitsAfter([&window] { window.show(); }));

        const QMap<QString, QByteArray> expected = {
            {"freshen/", {}},
            {"freshen/Freshen.exe", "the updater"},
            {"freshen/imageformats/", {}},
            {"freshen/platforms/", {}},
            {"freshen/styles/", {}},
            {"settings.ini", m_installation.toUtf8()},
        };
        QCOMPARE(treeOf(m_localData), expected);
        const QStringList start = {"Freshen.exe", "menu", m_copy};
        QCOMPARE(fakeSystem.elevatedStarts, QVector<QStringList>{start});
        QVERIFY(networkAccessManager->findChild<QNetworkReply *>() == nullptr);
    }

    void failedStartIsShownAndLogged_data()
    {
        const Table<int, QStringList> table;
        table.row("no such file", 2, {"2", "ERROR_FILE_NOT_FOUND Freshen.exe"});
        table.row("no such folder", 3, {"3", "ERROR_PATH_NOT_FOUND " + logged(m_copy)});
        table.row("consent declined", 5, {"5", "ERROR_ACCESS_DENIED Freshen.exe"});
        table.row("highest code of a failure", 32, {"32"});
    }
    void failedStartIsShownAndLogged()
    {
        const auto [result, end] = Table<int, QStringList>::current();
        fakeSystem.elevatedResult = result;
        TestWindow window;
        m_dialogs->expect([&window](QMessageBox &box) {
            QCOMPARE(box.parent(), &window);
            // Otherwise the tags would be seen, and the link could not be clicked.
            QCOMPARE(box.textFormat(), Qt::RichText);
            QVERIFY((box.textInteractionFlags() & Qt::LinksAccessibleByMouse) != 0);
            DialogDriver::clicking(QMessageBox::Ok)(box);
        });
        QVERIFY(quitsAfter([&window] { window.show(); }));
        const QString box = "Critical: *Error starting Updater [Ok] We are sorry, but the Tavlopro update tool has an "
                            "error.<br/>Perhaps it has insufficent rights.<br/>You can also try to re-install Tavlopro "
                            "by downloading the current version from:<br/><html><a href=\"%1\">%1</a></html>";
        QCOMPARE(m_dialogs->boxes(), QStringList{box.arg(deployment::downloadPage)});
        const QStringList lines = takeLog();
        QCOMPARE(lines.mid(lines.size() - end.size()), end);
    }
};

FRESHEN_WINDOW_TEST_MAIN(RelocationTest)
#include "tst_relocation.moc"
