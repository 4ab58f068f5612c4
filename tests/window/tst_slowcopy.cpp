// The one test that waits for the whole minute that a copy has.

#include "kit/qt/installtest.h"

#include <QElapsedTimer>

class SlowCopyTest : public InstallTest
{
    Q_OBJECT

private slots:
    void copyThatTakesLongerThanAMinuteHasFailedButGoesOn()
    {
        qputenv("FRESHEN_TEST_COPY", "wait");
        m_dialogs->expectAndClick(QMessageBox::No);
        QElapsedTimer clock;
        clock.start();
        click(m_window->multiButton);
        QVERIFY2(clock.elapsed() >= 60000, qPrintable(QString::number(clock.elapsed())));
        QCOMPARE(m_window->label.text(), "Error copying update!\n\n0");
        QVERIFY(!m_window->multiButton.isEnabled());
        const QStringList log = takeLog();
        QCOMPARE(log.value(4), "false");
        QCOMPARE(log.last(), "Error copying");
        QVERIFY(QFile::exists(m_window->pathOf("out/Tavlopro/Tavlopro.exe")));
        QVERIFY(!installed().contains("Tavlopro.exe"));
        QTRY_COMPARE_WITH_TIMEOUT(installed().value("Tavlopro.exe"), "new", 30000);
    }
};

FRESHEN_WINDOW_TEST_MAIN(SlowCopyTest)
#include "tst_slowcopy.moc"
