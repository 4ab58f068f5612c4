#include "app/elevatedstart.h"
#include "kit/qt/files.h"

#include <QtTest>

#include <cstring>

using namespace freshen;

/// Starts a copy of this very program, which then notes how it was started.
class ElevatedStartTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void startsInTheFolderWithTheArgument();
    void missingProgram();
    void missingFolder();
    void programThatMayNotRun();

private:
    QTemporaryDir m_folder;
};

namespace {

/// The file into which the started copy writes its argument and its current folder.
const QString noteFile = QStringLiteral("note.txt");

int takeNote(const char *argument)
{
    // Under its own name only when complete.
    const QString draft = noteFile + QLatin1String(".draft");
    writeFile(draft, argument + QByteArray("\n") + QDir::currentPath().toUtf8());
    return QFile::rename(draft, noteFile) ? 0 : 1;
}

} // namespace

void ElevatedStartTest::initTestCase()
{
    QVERIFY(QFile::copy(QCoreApplication::applicationFilePath(), m_folder.filePath(QStringLiteral("Freshen.exe"))));
}

void ElevatedStartTest::startsInTheFolderWithTheArgument()
{
    const StartResult result =
        startElevated(QStringLiteral("Freshen.exe"), QStringLiteral("menu"), QDir::toNativeSeparators(m_folder.path()));
    QVERIFY2(result.isStarted(), qPrintable(QString::number(result.code)));
    const QString note = m_folder.filePath(noteFile);
    QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(note), 30000);
    const QString expected = QLatin1String("menu\n") + QDir(m_folder.path()).canonicalPath();
    QCOMPARE(QString::fromUtf8(readFile(note)), expected);
}

void ElevatedStartTest::missingProgram()
{
    QCOMPARE(
        startElevated(QStringLiteral("Missing.exe"), QStringLiteral("menu"), QDir::toNativeSeparators(m_folder.path()))
            .code,
        2);
}

void ElevatedStartTest::missingFolder()
{
    const StartResult result = startElevated(QStringLiteral("Freshen.exe"), QStringLiteral("menu"),
                                             QDir::toNativeSeparators(m_folder.filePath(QStringLiteral("missing"))));
    QVERIFY2(!result.isStarted(), qPrintable(QString::number(result.code)));
}

void ElevatedStartTest::programThatMayNotRun()
{
    const QString program = m_folder.filePath(QStringLiteral("Text.exe"));
    writeFile(program, "no program");
    if (QFileInfo(program).isExecutable())
        QSKIP("The name alone makes a file executable here.");
    QCOMPARE(startElevated(QStringLiteral("Text.exe"), QStringLiteral("menu"), m_folder.path()).code, 5);
}

int main(int argc, char *argv[])
{
    if (argc == 2 && std::strcmp(argv[1], "menu") == 0)
        return takeNote(argv[1]);
    QCoreApplication application(argc, argv);
    ElevatedStartTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_elevatedstart.moc"
