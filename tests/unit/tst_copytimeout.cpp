#include "install/copybatch.h"
#include "kit/qt/files.h"
#include "kit/qt/messagecatcher.h"

#include <QtTest>

using namespace freshen;

/// The copy may take a minute and not longer; this test waits for the end of that minute.
class CopyTimeoutTest : public QObject
{
    Q_OBJECT

private slots:
    void batchThatDoesNotEnd();
};

void CopyTimeoutTest::batchThatDoesNotEnd()
{
    const bool isWindows = QOperatingSystemVersion::currentType() == QOperatingSystemVersion::Windows;
    const QTemporaryDir place;
    const CopyBatch batch = CopyBatch::in(place.path());
    // Both end by themselves, should the updater not end them.
    writeFile(batch.path, isWindows ? "@ping -n 90 127.0.0.1 >nul\r\n" : "exec sleep 90\n");

    MessageCatcher catcher;
    QElapsedTimer timer;
    timer.start();
    const CopyResult result = runCopyBatch(batch);
    QVERIFY2(timer.elapsed() >= 60000, qPrintable(QString::number(timer.elapsed())));
    QVERIFY2(timer.elapsed() < 85000, qPrintable(QString::number(timer.elapsed())));
    QVERIFY(!result.succeeded);
    QCOMPARE(catcher.debugLines().size(), 6);
    QCOMPARE(catcher.debugLines().at(0), "true");
    QCOMPARE(catcher.debugLines().at(2), "false");
}

QTEST_GUILESS_MAIN(CopyTimeoutTest)
#include "tst_copytimeout.moc"
