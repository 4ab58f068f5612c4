// The failures that no package can provoke: the ZIP reader reports them only when a file changes while it is read. Here
// the reader's own error codes are replaced when the program is linked.

#include "download/extraction.h"
#include "kit/qt/foldertest.h"
#include "kit/qt/packagemaker.h"

#include <quazip/quazip.h>
#include <quazip/quazipfile.h>

namespace {

/// Minizip's code for an internal error.
constexpr int internalError = -104;

// How often the reader still says that all is well.
int soundAnswersOfArchive = 0;
int soundAnswersOfEntry = 0;

int answer(int &soundAnswers)
{
    return soundAnswers-- > 0 ? UNZ_OK : internalError;
}

} // namespace

int QuaZip::getZipError() const
{
    return answer(soundAnswersOfArchive);
}

int QuaZipFile::getZipError() const
{
    return answer(soundAnswersOfEntry);
}

class ReaderErrorsTest : public FolderTest
{
    Q_OBJECT

private slots:
    void failure_data()
    {
        const Table<int, int, QString> table;
        table.row("entry name", 9, 0, "unzip(): file.getFileName(): -104");
        table.row("entry read", 9, 1, "testRead(): file.getFileName(): -104");
        table.row("entry close", 9, 2, "testRead(): file.close(): -104");
        table.row("archive close", 0, 9, "testRead(): zip.close(): -104");
        table.row("none", 9, 9, "");
    }
    void failure()
    {
        const QString archive = file("Package.zip");
        writeFile(archive, makePackage({PackageEntry{"folder/file"}}));
        QString text;
        std::tie(soundAnswersOfArchive, soundAnswersOfEntry, text) = Table<int, int, QString>::current();
        const freshen::ExtractionResult result = freshen::extractPackage(archive, file("out"), {});
        QCOMPARE(result.errorText, text);
        QCOMPARE(result.succeeded, text.isEmpty());
        QCOMPARE(log().lines(QtWarningMsg).join('\n'), text);
        QCOMPARE(QFile::exists(archive), !text.isEmpty());
    }
};

QTEST_GUILESS_MAIN(ReaderErrorsTest)
#include "tst_readererrors.moc"
