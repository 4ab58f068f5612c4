#include "download/progress.h"

#include <QtTest>

using namespace freshen;

class ProgressTest : public QObject
{
    Q_OBJECT

private slots:
    void megabytesHaveOneDecimal_data();
    void megabytesHaveOneDecimal();
};

void ProgressTest::megabytesHaveOneDecimal_data()
{
    QTest::addColumn<qint64>("bytes");
    QTest::addColumn<QString>("text");
    QTest::newRow("nothing") << Q_INT64_C(0) << "0.0";
    QTest::newRow("one byte") << Q_INT64_C(1) << "0.0";
    QTest::newRow("one megabyte") << Q_INT64_C(1048576) << "1.0";
    QTest::newRow("1572864 bytes show as 1.5") << Q_INT64_C(1572864) << "1.5";
    QTest::newRow("just below a half of the decimal") << Q_INT64_C(1101004) << "1.0";
    QTest::newRow("just above a half of the decimal") << Q_INT64_C(1101005) << "1.1";
    QTest::newRow("rounded up to the next megabyte") << Q_INT64_C(2087000) << "2.0";
    QTest::newRow("a million bytes are no megabyte") << Q_INT64_C(1000000) << "1.0";
    QTest::newRow("ten million bytes") << Q_INT64_C(10000000) << "9.5";
    QTest::newRow("beyond 32 bits") << Q_INT64_C(5368709120) << "5120.0";
}

void ProgressTest::megabytesHaveOneDecimal()
{
    QFETCH(qint64, bytes);
    QTEST(megabytes(bytes), "text");
}

QTEST_GUILESS_MAIN(ProgressTest)
#include "tst_progress.moc"
