#include "install/copybatch.h"
#include "kit/qt/foldertest.h"

using namespace freshen;
using namespace std::chrono_literals;

/// Runs batch files of its own: the few words in them mean the same to every command interpreter.
class CopyBatchTest : public FolderTest
{
    Q_OBJECT

private slots:
    void lineQuotesWhatTheShellWouldRead()
    {
        const auto check = [](BatchShell shell, const QString &folder, const QString &quoted) {
            QCOMPARE(copyCommand(folder + "/a", folder + "/b", shell),
                     "xcopy.exe /E /Y /G /K \"" + quoted + "/a\" \"" + quoted + "/b\"");
        };
        const QString plain = "C:\\a & b\\..\\^(c)!;d,e=f'g`h$i";
        check(BatchShell::CommandInterpreter, plain, plain);
        check(BatchShell::CommandInterpreter, "C:/100 %/%TEMP%/%1", "C:/100 %%/%%TEMP%%/%%1");
        check(BatchShell::Posix, "/%2/a$b`c\"d\\e&f", "/%2/a\\$b\\`c\\\"d\\\\e&f");
    }

    void fileHoldsTheLineInTheCodePage()
    {
        const Restorer codePage = useWesternCodePage();
        QCOMPARE(batch().path, QDir::toNativeSeparators(file("data folder/copyBatch.bat")));
        writeFile(batch().path, "an older and longer line\nand another\n");
        QVERIFY(writeBatchFile(batch().path, "Prögramme ß"));
        QCOMPARE(readFile(batch().path), "Pr\xf6gramme \xdf" + lineEnd());
    }

    void fileThatCannotBeWrittenIsLogged()
    {
        QVERIFY(!writeBatchFile(folder(), "line"));
        QVERIFY(isWarnedOf("Cannot write", folder()));
        if (isWindows())
            QSKIP("Windows has no device that is always full.");
        QVERIFY(!writeBatchFile("/dev/full", "line"));
        QVERIFY(isWarnedOf("Cannot write", "/dev/full"));
    }

    void resultAndOutput()
    {
        for (const int exitCode : {0, 4}) {
            log().clear();
            const CopyResult result = run({"echo to the user", "echo oops>&2", QString("exit %1").arg(exitCode)});
            QCOMPARE(result.succeeded, exitCode == 0);
            QCOMPARE(result.exitCode, exitCode);
            QCOMPARE(result.errorText, QString("STD ERROR:\noops" + lineEnd()));
            const QString end = QString("UnknownError \"Unknown error\" %1 NormalExit").arg(exitCode);
            QCOMPARE(log().lines(), (QStringList{"true", logged(batch().command), "true", logged(result.errorText),
                                                 "STD OUT:\n " + logged("to the user" + lineEnd()), end}));
        }
    }

    /// The program that copies goes on by itself.
    void copyThatTakesTooLongIsGivenUp()
    {
        // A test cannot wait for these.
        QVERIFY(CopyLimits().start == 60s && CopyLimits().copy == 60s);
        const QString copy = QDir::toNativeSeparators(file("copy"));
        const QString line =
            isWindows() ? "cmd.exe /c \"ping -n 6 127.0.0.1 >nul & echo x>%1\"" : "sh -c 'sleep 5; echo x >%1'";
        QVERIFY(!run({line.arg(copy), "exit 0"}, {60s, 2s}).succeeded);
        QCOMPARE(log().lines().value(2), "false");
        QVERIFY(!QFile::exists(copy));
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(copy), 30000);
    }

    void startHasALimitOfItsOwn()
    {
        // Rarely, a start takes no time at all.
        for (int round = 0; round < 3; ++round) {
            log().clear();
            run({"exit 0"}, {60s, 0s});
            QCOMPARE(log().lines().value(0), "true");
        }
    }

private:
    CopyBatch batch() const
    {
        return CopyBatch::in(file("data folder"));
    }
    CopyResult run(const QStringList &lines, const CopyLimits &limits = {}) const
    {
        QByteArray content;
        // Windows' own interpreter would repeat each line.
        for (const QString &line : lines)
            content += (isWindows() ? "@" : "") + line.toUtf8() + lineEnd();
        writeFile(batch().path, content);
        return runCopyBatch(batch(), limits);
    }
};

QTEST_GUILESS_MAIN(CopyBatchTest)
#include "tst_copybatch.moc"
