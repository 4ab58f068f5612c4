// The failures that no package can provoke: the ZIP reader reports them only when a file changes under its hands. Here
// the reader's own error codes are replaced when the program is linked.

#include "kit/qt/extractionrun.h"
#include "kit/qt/packagemaker.h"

#include <QtTest>
#include <quazip/quazip.h>
#include <quazip/quazipfile.h>

using namespace freshen;

namespace {

/// Minizip's code for an internal error.
constexpr int internalError = -104;

/// The question for an error code, counted from 1, from which on internalError is the answer; 0 for none.
int failingQuestion = 0;

int answer()
{
    if (failingQuestion == 1)
        return internalError;
    if (failingQuestion > 1)
        --failingQuestion;
    return UNZ_OK;
}

bool archiveFails = false;

} // namespace

int QuaZip::getZipError() const
{
    return archiveFails ? answer() : UNZ_OK;
}

int QuaZipFile::getZipError() const
{
    return archiveFails ? UNZ_OK : answer();
}

class ReaderErrorsTest : public QObject
{
    Q_OBJECT

private slots:
    void failure_data();
    void failure();
};

void ReaderErrorsTest::failure_data()
{
    QTest::addColumn<bool>("ofArchive");
    QTest::addColumn<int>("question");
    QTest::addColumn<QString>("text");
    QTest::newRow("entry name") << false << 1 << "unzip(): file.getFileName(): -104";
    QTest::newRow("entry read") << false << 2 << "testRead(): file.getFileName(): -104";
    QTest::newRow("entry close") << false << 3 << "testRead(): file.close(): -104";
    QTest::newRow("archive close") << true << 1 << "testRead(): zip.close(): -104";
}

void ReaderErrorsTest::failure()
{
    QFETCH(bool, ofArchive);
    QFETCH(int, question);
    QFETCH(QString, text);
    PackageEntry entry;
    entry.name = "a.txt";
    entry.content = "content";
    const QByteArray package = asStored(makePackage({entry}));
    QVERIFY(runExtraction(package).succeeded);

    archiveFails = ofArchive;
    failingQuestion = question;
    const ExtractionRun run = runExtraction(package);
    failingQuestion = 0;

    QVERIFY2(!run.succeeded, qPrintable(run.describe()));
    QCOMPARE(run.errorText, text);
    QVERIFY(run.messages.contains(text));
    QVERIFY(run.archiveIsLeft);
}

QTEST_GUILESS_MAIN(ReaderErrorsTest)

#include "tst_readererrors.moc"
