// A copy that does not end within the minute that it has. The test takes that minute.

#include "kit/qt/dialogdriver.h"
#include "kit/qt/files.h"
#include "kit/qt/installtest.h"

#include <QElapsedTimer>
#include <QLabel>
#include <QPushButton>
#include <QtTest>

using namespace freshen;

class MainWindowSlowCopyTest : public InstallTest
{
    Q_OBJECT

private slots:
    void copyThatDoesNotEndFails();
};

void MainWindowSlowCopyTest::copyThatDoesNotEndFails()
{
    // The copy itself would end well, 10 seconds too late.
    tools->setCopyPlan("sleep 70\n");
    DialogDriver dialogs;
    dialogs.expectAndClick(QMessageBox::No);
    TestWindow window;
    unpack(window);
    QElapsedTimer clock;
    clock.start();
    QVERIFY(!quitsAfter([&window] { click(window.multiButton()); }, 100));
    QVERIFY(clock.elapsed() >= 60000);
    QVERIFY2(clock.elapsed() < 68000, qPrintable(QString::number(clock.elapsed())));

    QVERIFY(window.label().text().startsWith(QLatin1String("Error copying update!\n\n")));
    QVERIFY(!window.multiButton().isEnabled());
    const QStringList log = takeLog();
    QCOMPARE(log.value(2), QStringLiteral("true"));
    QCOMPARE(log.value(4), QStringLiteral("false"));
    QCOMPARE(log.last(), QStringLiteral("Error copying"));
    QVERIFY(tools->shellArguments().isEmpty());
    QVERIFY(QFile::exists(window.pathOf(QStringLiteral("out/Tavlopro/Tavlopro.exe"))));
}

FRESHEN_WINDOW_TEST_MAIN(MainWindowSlowCopyTest)
#include "tst_mainwindow_slowcopy.moc"
