// The check that the application is closed, before anything else is done.

#include "kit/qt/dialogdriver.h"
#include "kit/qt/windowtest.h"
#include "versions/deployment.h"

#include <QAbstractButton>
#include <QTextDocument>
#include <QtTest>

using namespace freshen;

namespace {

const QString running = QStringLiteral("Tavlopc.exe");

/// Start of a window, in milliseconds from now, that is long ago for an application that has a second to close by
/// itself.
constexpr qint64 beyondSilence = -60000;

ShownBox expectedBox()
{
    return {QMessageBox::Information, QStringLiteral("Tavlopro Updater Precheck"),
            QStringLiteral("<html><p>Ihre Tavlopro-Anwendung läuft noch.</p><p>Bitte schließen Sie diese erst, um mit "
                           "der Installation fortfahren zu können.</p>"),
            QMessageBox::Retry};
}

/// What the log says of a window that is made and then finds the application closed.
bool hasHandedOver(const QStringList &log)
{
    return log.filter(QStringLiteral("Get:")).size() == 1;
}

} // namespace

class MainWindowPrecheckTest : public WindowTest
{
    Q_OBJECT

private slots:
    void closedApplicationLetsTheCheckStartAtOnce();
    void applicationClosedWithinTheFirstSecondIsNotMentioned();
    void roundsAreTenthsOfASecondApart();
    void runningApplicationIsMentionedAfterTheFirstSecond_data();
    void runningApplicationIsMentionedAfterTheFirstSecond();
    void textsOfTheBoxCanBeTranslated();
    void boxComesAgainWhileTheApplicationRuns();
    void everyWayToCloseTheBoxTriesAgain_data();
    void everyWayToCloseTheBoxTriesAgain();
    void noRoundRunsWhileTheBoxIsOpen();
    void cancelEndsTheUpdater();
    void otherNamesDoNotHoldTheCheckBack_data();
    void otherNamesDoNotHoldTheCheckBack();
    void unreadableListCountsAsClosed();
};

void MainWindowPrecheckTest::closedApplicationLetsTheCheckStartAtOnce()
{
    DialogDriver dialogs;
    setArguments({QStringLiteral("other")});
    TestWindow window;
    window.show();
    takeLog();
    QTRY_VERIFY(fakeSystem().rounds > 0);
    const QStringList expected = {QStringLiteral("checking ..."),
                                  QStringLiteral("Get: \"https://%1:443/update/Tavlopc/VERSIONS/windows.txt\"")
                                      .arg(QLatin1String(deployment::updateHost))};
    QCOMPARE(takeLog(), expected);

    // The check is over for good.
    QVERIFY(!window.precheckTrigger.isActive());
    QTest::qWait(250);
    QCOMPARE(fakeSystem().rounds, 1);
    QVERIFY(dialogs.boxes().isEmpty());
}

void MainWindowPrecheckTest::applicationClosedWithinTheFirstSecondIsNotMentioned()
{
    DialogDriver dialogs;
    setArguments({QStringLiteral("other")});
    fakeSystem().processes = QStringList{QStringLiteral("init"), running};
    TestWindow window;
    window.show();
    QTRY_VERIFY(fakeSystem().rounds >= 3);
    QStringList log = takeLog();
    QVERIFY(!hasHandedOver(log));

    fakeSystem().processes = QStringList{QStringLiteral("init")};
    const int rounds = fakeSystem().rounds;
    QTRY_VERIFY(!window.precheckTrigger.isActive());
    // The first round that no longer finds it.
    QCOMPARE(fakeSystem().rounds, rounds + 1);
    QVERIFY(hasHandedOver(takeLog()));
    QVERIFY(dialogs.boxes().isEmpty());
}

void MainWindowPrecheckTest::roundsAreTenthsOfASecondApart()
{
    setArguments({QStringLiteral("other")});
    fakeSystem().processes = QStringList{running};
    TestWindow window;
    QTRY_VERIFY(fakeSystem().rounds == 1);
    QVERIFY(window.precheckTrigger.isActive());
    QVERIFY(window.precheckTrigger.isSingleShot());
    QCOMPARE(window.precheckTrigger.interval(), 100);
}

void MainWindowPrecheckTest::runningApplicationIsMentionedAfterTheFirstSecond_data()
{
    addLanguages();
    QTest::newRow("no catalogue") << QString();
}

void MainWindowPrecheckTest::runningApplicationIsMentionedAfterTheFirstSecond()
{
    QFETCH(QString, language);
    const Catalogue catalogue(language);
    setArguments({QStringLiteral("other")});
    fakeSystem().processes = QStringList{running};
    TestWindow window;
    window.show();
    window.precheckTrigger.stop();

    DialogDriver dialogs;
    window.startTime = QDateTime::currentDateTime().addMSecs(-800);
    window.precheckTimer();
    QVERIFY(dialogs.boxes().isEmpty());
    QVERIFY(window.precheckTrigger.isActive());
    window.precheckTrigger.stop();

    dialogs.expect([](QMessageBox &box) {
        QVERIFY(box.isModal());
        QVERIFY(box.parent() == nullptr);
        // Not even the default button adds one.
        QCOMPARE(box.buttons().size(), 1);
        QVERIFY(Qt::mightBeRichText(box.text()));
        QCOMPARE(box.textFormat(), Qt::AutoText);
        fakeSystem().processes.clear();
        DialogDriver::click(box, QMessageBox::Retry);
    });
    window.startTime = QDateTime::currentDateTime().addMSecs(-1100);
    window.precheckTimer();
    QCOMPARE(dialogs.boxes(), QVector<ShownBox>{expectedBox()});
    QTRY_VERIFY(!window.precheckTrigger.isActive());
    QVERIFY(hasHandedOver(takeLog()));
}

/// No catalogue holds them, but one could.
void MainWindowPrecheckTest::textsOfTheBoxCanBeTranslated()
{
    const MarkedTexts marked;
    fakeSystem().processes = QStringList{running};
    TestWindow window;
    window.precheckTrigger.stop();
    window.startTime = QDateTime::currentDateTime().addMSecs(beyondSilence);

    DialogDriver dialogs;
    dialogs.expectAndPress(Qt::Key_Escape);
    window.precheckTimer();
    ShownBox expected = expectedBox();
    expected.title = MarkedTexts::of(expected.title);
    expected.text = MarkedTexts::of(expected.text);
    QCOMPARE(dialogs.boxes(), QVector<ShownBox>{expected});
}

void MainWindowPrecheckTest::boxComesAgainWhileTheApplicationRuns()
{
    setArguments({QStringLiteral("other")});
    fakeSystem().processes = QStringList{running};
    TestWindow window;
    window.show();
    window.startTime = QDateTime::currentDateTime().addMSecs(beyondSilence);
    const QDateTime start = window.startTime;

    DialogDriver dialogs;
    dialogs.expectAndClick(QMessageBox::Retry);
    dialogs.expect([&window](QMessageBox &box) {
        QCOMPARE(window.precheckTrigger.interval(), 100);
        fakeSystem().processes.clear();
        DialogDriver::click(box, QMessageBox::Retry);
    });
    QTRY_COMPARE(dialogs.boxes().size(), 2);
    QTRY_VERIFY(!window.precheckTrigger.isActive());
    QCOMPARE(fakeSystem().rounds, 3);
    // The box does not start the second anew.
    QCOMPARE(window.startTime, start);
}

void MainWindowPrecheckTest::everyWayToCloseTheBoxTriesAgain_data()
{
    QTest::addColumn<int>("key");
    QTest::newRow("Escape") << int(Qt::Key_Escape);
    QTest::newRow("Return") << int(Qt::Key_Return);
    QTest::newRow("Space") << int(Qt::Key_Space);
    QTest::newRow("close button") << 0;
}

void MainWindowPrecheckTest::everyWayToCloseTheBoxTriesAgain()
{
    QFETCH(int, key);
    setArguments({QStringLiteral("other")});
    fakeSystem().processes = QStringList{running};
    TestWindow window;
    window.show();
    window.startTime = QDateTime::currentDateTime().addMSecs(beyondSilence);

    DialogDriver dialogs;
    dialogs.expect([key](QMessageBox &box) {
        fakeSystem().processes.clear();
        if (key == 0)
            box.close();
        else
            QTest::keyClick(box.button(QMessageBox::Retry), Qt::Key(key));
    });
    QTRY_COMPARE(dialogs.boxes().size(), 1);
    QTRY_COMPARE(fakeSystem().rounds, 2);
    QVERIFY(hasHandedOver(takeLog()));
}

void MainWindowPrecheckTest::noRoundRunsWhileTheBoxIsOpen()
{
    setArguments({QStringLiteral("other")});
    fakeSystem().processes = QStringList{running};
    TestWindow window;
    window.show();
    window.startTime = QDateTime::currentDateTime().addMSecs(beyondSilence);

    DialogDriver dialogs;
    int roundsWhileOpen = -1;
    dialogs.expect([&roundsWhileOpen](QMessageBox &box) {
        QTest::qWait(350);
        roundsWhileOpen = fakeSystem().rounds;
        fakeSystem().processes.clear();
        DialogDriver::click(box, QMessageBox::Retry);
    });
    QTRY_COMPARE(dialogs.boxes().size(), 1);
    QTRY_COMPARE(fakeSystem().rounds, 2);
    QCOMPARE(roundsWhileOpen, 1);
}

void MainWindowPrecheckTest::cancelEndsTheUpdater()
{
    setArguments({QStringLiteral("other")});
    fakeSystem().processes = QStringList{running};
    TestWindow window;
    window.show();
    window.startTime = QDateTime::currentDateTime().addMSecs(beyondSilence);

    DialogDriver dialogs;
    // No button gives this answer; only from outside can the box be ended so.
    dialogs.expect([](QMessageBox &box) { box.done(QMessageBox::Cancel); });
    QVERIFY(quitsAfter([] {}));
    QVERIFY(!window.precheckTrigger.isActive());
    QVERIFY(!hasHandedOver(takeLog()));
}

void MainWindowPrecheckTest::otherNamesDoNotHoldTheCheckBack_data()
{
    QTest::addColumn<QStringList>("processes");
    QTest::newRow("capitals") << QStringList{QStringLiteral("TAVLOPC.EXE")};
    QTest::newRow("small letters") << QStringList{QStringLiteral("tavlopc.exe")};
    QTest::newRow("the newer name Tavlopro.exe") << QStringList{QStringLiteral("Tavlopro.exe")};
    QTest::newRow("longer") << QStringList{QStringLiteral("Tavlopc.exe.old"), QStringLiteral("MyTavlopc.exe")};
    QTest::newRow("no processes") << QStringList();
}

void MainWindowPrecheckTest::otherNamesDoNotHoldTheCheckBack()
{
    QFETCH(QStringList, processes);
    setArguments({QStringLiteral("other")});
    fakeSystem().processes = processes;
    TestWindow window;
    QTRY_VERIFY(fakeSystem().rounds > 0);
    QVERIFY(!window.precheckTrigger.isActive());
    QVERIFY(hasHandedOver(takeLog()));
}

void MainWindowPrecheckTest::unreadableListCountsAsClosed()
{
    DialogDriver dialogs;
    setArguments({QStringLiteral("other")});
    fakeSystem().processes = QStringList{running};
    fakeSystem().isListReadable = false;
    TestWindow window;
    window.startTime = QDateTime::currentDateTime().addMSecs(beyondSilence);
    QTRY_VERIFY(fakeSystem().rounds > 0);
    QVERIFY(!window.precheckTrigger.isActive());
    QVERIFY(hasHandedOver(takeLog()));
    QVERIFY(dialogs.boxes().isEmpty());
}

FRESHEN_WINDOW_TEST_MAIN(MainWindowPrecheckTest)
#include "tst_mainwindow_precheck.moc"
