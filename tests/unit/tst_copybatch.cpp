#include "install/copybatch.h"
#include "kit/qt/files.h"
#include "kit/qt/messagecatcher.h"
#include "kit/qt/platform.h"

#include <QtTest>

using namespace freshen;

Q_DECLARE_METATYPE(BatchShell)

/// Runs batch files of its own: the few words in them mean the same to every command interpreter.
class CopyBatchTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void pathAndCommand();
    void line_data();
    void line();
    void batchFileHoldsTheLine();
    void batchFileReplacesAnOlderOne();
    void batchFileIsInTheCodePage();
    void batchFileThatCannotBeWrittenIsLogged_data();
    void batchFileThatCannotBeWrittenIsLogged();
    void longestPathIsTheCopyingPrograms();
    void run_data();
    void run();
    void outputIsRead();
    void missingBatchFile();
    void crash();
    void namesOfProcessErrors();

private:
    CopyBatch batch() const
    {
        return CopyBatch::in(m_folder->filePath("data folder"));
    }
    CopyResult runBatch(const QByteArray &content) const
    {
        writeFile(batch().path, content);
        return runCopyBatch(batch());
    }

    std::unique_ptr<QTemporaryDir> m_folder;
};

void CopyBatchTest::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(QDir(m_folder->path()).mkdir("data folder"));
}

void CopyBatchTest::pathAndCommand()
{
    const CopyBatch batch = CopyBatch::in("C:/data folder/freshen");
    QCOMPARE(batch.path, QDir::toNativeSeparators("C:/data folder/freshen/copyBatch.bat"));
    QCOMPARE(batch.command, '"' + batch.path + '"');
}

void CopyBatchTest::line_data()
{
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("destination");
    QTest::addColumn<BatchShell>("shell");
    QTest::addColumn<QString>("line");
    const BatchShell windows = BatchShell::CommandInterpreter;
    QTest::newRow("plain") << R"(C:\data\freshen\..\out\Tavlopro)"
                           << "C:/Tavlopro" << windows
                           << R"(xcopy.exe /E /Y /G /K "C:\data\freshen\..\out\Tavlopro" "C:/Tavlopro")";
    QTest::newRow("blanks") << "C:/a b"
                            << "C:/c d" << windows << R"(xcopy.exe /E /Y /G /K "C:/a b" "C:/c d")";
    QTest::newRow("signs that mean nothing in quotes")
        << "C:/a & b^(c)!"
        << "C:/d;e,f=g'h`i$j" << windows << R"(xcopy.exe /E /Y /G /K "C:/a & b^(c)!" "C:/d;e,f=g'h`i$j")";
    QTest::newRow("per cent signs") << "C:/100 %/%TEMP%"
                                    << "C:/%1" << windows << R"(xcopy.exe /E /Y /G /K "C:/100 %%/%%TEMP%%" "C:/%%1")";
    QTest::newRow("place holders in the paths, other shell")
        << "/%2"
        << "/%1" << BatchShell::Posix << R"(xcopy.exe /E /Y /G /K "/%2" "/%1")";
    QTest::newRow("signs of the other shell")
        << R"(/a$b`c"d\e)"
        << "/f&g" << BatchShell::Posix << R"(xcopy.exe /E /Y /G /K "/a\$b\`c\"d\\e" "/f&g")";
}

void CopyBatchTest::line()
{
    QFETCH(QString, source);
    QFETCH(QString, destination);
    QFETCH(BatchShell, shell);
    QTEST(copyCommand(source, destination, shell), "line");
}

void CopyBatchTest::batchFileHoldsTheLine()
{
    const QString path = batch().path;
    QVERIFY(messagesOf([&path] { QVERIFY(writeBatchFile(path, "one line")); }).isEmpty());
    QCOMPARE(readFile(path), "one line" + lineEnd());
}

void CopyBatchTest::batchFileReplacesAnOlderOne()
{
    writeFile(batch().path, "an older and longer line\nand another\n");
    QVERIFY(writeBatchFile(batch().path, "new"));
    QCOMPARE(readFile(batch().path), "new" + lineEnd());
}

void CopyBatchTest::batchFileIsInTheCodePage()
{
    const WesternCodePage codePage;
    QVERIFY(writeBatchFile(batch().path, "Prögramme ß"));
    QCOMPARE(readFile(batch().path), "Pr\xf6gramme \xdf" + lineEnd());
}

void CopyBatchTest::batchFileThatCannotBeWrittenIsLogged_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("no such folder") << "missing/copyBatch.bat";
    QTest::newRow("a folder in its place") << "folder";
    // Wine's user can write to any file, and no device is always full there.
    if (isWindows())
        return;
    QTest::newRow("no right to write it") << "read-only";
    QTest::newRow("full disk") << "full";
}

void CopyBatchTest::batchFileThatCannotBeWrittenIsLogged()
{
    QFETCH(QString, name);
    const OrdinaryUser user;
    const QTemporaryDir place;
    QVERIFY(QDir(place.path()).mkdir("folder"));
    writeFile(place.filePath("read-only"), "an older one");
    if (!isWindows()) {
        QVERIFY(QFile::setPermissions(place.filePath("read-only"), QFile::ReadOwner));
        QVERIFY(QFile::link("/dev/full", place.filePath("full")));
    }
    const QString path = place.filePath(name);
    MessageCatcher catcher;
    QVERIFY(!writeBatchFile(path, "line"));
    QCOMPARE(catcher.lines().size(), 1);
    QVERIFY(catcher.warnings().first().startsWith("Cannot write " + logged(path)));
}

void CopyBatchTest::longestPathIsTheCopyingPrograms()
{
    QCOMPARE(longestCopyPath(), isWindows() ? 254 : 4095);
}

void CopyBatchTest::run_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<bool>("succeeded");
    QTest::addColumn<int>("exitCode");
    QTest::newRow("good") << QByteArray("exit 0\n") << true << 0;
    for (int code = 1; code <= 5; ++code)
        QTest::addRow("exit code %d", code) << "exit " + QByteArray::number(code) + '\n' << false << code;
}

void CopyBatchTest::run()
{
    QFETCH(QByteArray, content);
    QFETCH(bool, succeeded);
    QFETCH(int, exitCode);
    MessageCatcher catcher;
    // Nothing of what the interpreter says about its own commands.
    const CopyResult result = runBatch(isWindows() ? "@" + content : content);
    QCOMPARE(result.succeeded, succeeded);
    QCOMPARE(result.exitCode, exitCode);
    QCOMPARE(result.errorText, "STD ERROR:\n");
    const QStringList expected = {
        "true",
        logged(batch().command),
        "true",
        R"("STD ERROR:\n")",
        "STD OUT:\n \"\"",
        R"(UnknownError "Unknown error" )" + QString::number(exitCode) + " NormalExit",
    };
    QCOMPARE(catcher.lines(), expected);
}

void CopyBatchTest::outputIsRead()
{
    MessageCatcher catcher;
    const CopyResult result = runBatch(isWindows() ? "@echo to the user\r\n@echo oops>&2\r\n@exit 4\r\n"
                                                   : "echo to the user\necho oops>&2\nexit 4\n");
    QVERIFY(!result.succeeded);
    QCOMPARE(result.exitCode, 4);
    QCOMPARE(result.errorText, QString("STD ERROR:\noops" + lineEnd()));
    QCOMPARE(catcher.lines().at(3), logged(result.errorText));
    QCOMPARE(catcher.lines().at(4), "STD OUT:\n " + logged("to the user" + lineEnd()));
    QVERIFY(catcher.lines().last().endsWith(" 4 NormalExit"));
}

void CopyBatchTest::missingBatchFile()
{
    const MessageCatcher catcher;
    const CopyResult result = runCopyBatch(batch());
    QVERIFY(!result.succeeded);
    QVERIFY(catcher.lines().contains(logged(batch().command)));
    QCOMPARE(catcher.lines().size(), 6);
}

void CopyBatchTest::crash()
{
    if (isWindows())
        QSKIP("A command interpreter cannot be made to crash from within a batch file.");
    MessageCatcher catcher;
    const CopyResult result = runBatch("kill -9 $$\n");
    QVERIFY(!result.succeeded);
    QCOMPARE(catcher.lines().at(2), "true");
    QVERIFY2(catcher.lines().last().startsWith("Crashed "), qUtf8Printable(catcher.lines().last()));
    QVERIFY2(catcher.lines().last().endsWith(" CrashExit"), qUtf8Printable(catcher.lines().last()));
}

void CopyBatchTest::namesOfProcessErrors()
{
    QCOMPARE(errorName(QProcess::FailedToStart), "FailedToStart");
    QCOMPARE(errorName(QProcess::Crashed), "Crashed");
    QCOMPARE(errorName(QProcess::Timedout), "Timedout");
    QCOMPARE(errorName(QProcess::ReadError), "ReadError");
    QCOMPARE(errorName(QProcess::WriteError), "WriteError");
    QCOMPARE(errorName(QProcess::UnknownError), "UnknownError");
}

QTEST_GUILESS_MAIN(CopyBatchTest)
#include "tst_copybatch.moc"
