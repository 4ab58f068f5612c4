#include "install/installation.h"
#include "kit/qt/files.h"
#include "kit/qt/messagecatcher.h"
#include "kit/qt/platform.h"

#include <QtTest>

using namespace freshen;

class InstallationTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void handOver_data();
    void handOver();
    void missingHandOver();
    void packageFolderInUnpackedFolder_data();
    void packageFolderInUnpackedFolder();
    void missingUnpackedFolder();
    void executables_data();
    void executables();

private:
    std::unique_ptr<QTemporaryDir> m_folder;
};

void InstallationTest::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
}

void InstallationTest::handOver_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("line");
    QTest::newRow("as the updater writes it") << QByteArray("C:/Program Files/Tavlopro") << "C:/Program Files/Tavlopro";
    QTest::newRow("empty") << QByteArray("") << "";
    QTest::newRow("line end") << QByteArray("C:/Tavlopro\n") << "C:/Tavlopro";
    QTest::newRow("line end of Windows") << QByteArray("C:/Tavlopro\r\n") << "C:/Tavlopro";
    QTest::newRow("only the first line") << QByteArray("first\nsecond\n") << "first";
    QTest::newRow("empty first line") << QByteArray("\nsecond\n") << "";
    QTest::newRow("UTF-8") << QByteArray("C:/Prögrämme/ß") << "C:/Prögrämme/ß";
    QTest::newRow("not cleaned, not trimmed") << QByteArray(" C:/a/../b// ") << " C:/a/../b// ";
}

void InstallationTest::handOver()
{
    QFETCH(QByteArray, content);
    const WesternCodePage codePage;
    const QString parentDir = m_folder->filePath("freshen/..");
    QVERIFY(QDir().mkpath(m_folder->filePath("freshen")));
    writeFile(m_folder->filePath("settings.ini"), content);
    QCOMPARE(handOverFile(parentDir), parentDir + "/settings.ini");
    QTEST(readHandOver(parentDir), "line");
}

void InstallationTest::missingHandOver()
{
    const MessageCatcher catcher;
    QCOMPARE(readHandOver(m_folder->path()), QString());
    QVERIFY(QDir().mkpath(m_folder->filePath("settings.ini")));
    QCOMPARE(readHandOver(m_folder->path()), QString());
    QCOMPARE(catcher.warnings().size(), 2);
    for (const QString &warning : catcher.warnings())
        QVERIFY(warning.startsWith("Cannot read \"" + handOverFile(m_folder->path()) + "\" - "));
}

void InstallationTest::packageFolderInUnpackedFolder_data()
{
    QTest::addColumn<QStringList>("entries");
    QTest::addColumn<QString>("last");
    QTest::newRow("empty") << QStringList() << "";
    QTest::newRow("one folder") << QStringList{"Tavlopro/"} << "Tavlopro";
    QTest::newRow("several folders") << QStringList{"a/", "c/", "b/"} << "c";
    QTest::newRow("sorted without regard to case") << QStringList{"B/", "a/", "C/", "b2/"} << "C";
    QTest::newRow("capitals do not come first") << QStringList{"a/", "B/"} << "B";
    QTest::newRow("files count too") << QStringList{"folder/", "zip.txt"} << "zip.txt";
    QTest::newRow("names with blanks and umlauts") << QStringList{"Tavlopro 26 größer/"} << "Tavlopro 26 größer";
}

void InstallationTest::packageFolderInUnpackedFolder()
{
    QFETCH(QStringList, entries);
    const QString out = m_folder->filePath("out/");
    QVERIFY(QDir().mkpath(out));
    for (const QString &entry : entries) {
        if (entry.endsWith('/'))
            QVERIFY(QDir(out).mkdir(entry.chopped(1)));
        else
            writeFile(out + entry, "x");
    }
    QTEST(packageFolder(QDir::toNativeSeparators(out)).value_or(QString()), "last");
}

void InstallationTest::missingUnpackedFolder()
{
    QVERIFY(!packageFolder(m_folder->filePath("out/")));
}

void InstallationTest::executables_data()
{
    QTest::addColumn<QStringList>("files");
    QTest::addColumn<QString>("existing");
    QTest::newRow("none") << QStringList{"Freshen.exe"} << "";
    QTest::newRow("only the old one") << QStringList{"Tavlopc.exe"} << "Tavlopc.exe";
    QTest::newRow("only the present one") << QStringList{"Tavlopro.exe"} << "Tavlopro.exe";
    QTest::newRow("both, the present one first") << QStringList{"Tavlopc.exe", "Tavlopro.exe"} << "Tavlopro.exe";
}

void InstallationTest::executables()
{
    QFETCH(QStringList, files);
    QFETCH(QString, existing);
    const QString folder = m_folder->filePath("Tavlo pro");
    for (const QString &file : files)
        writeFile(folder + '/' + file, "x");
    const Executables found = Executables::in(folder);
    QCOMPARE(found.current, QDir::toNativeSeparators(folder + "/Tavlopro.exe"));
    QCOMPARE(found.old, QDir::toNativeSeparators(folder + "/Tavlopc.exe"));
    const QString expected = existing.isEmpty() ? QString() : QDir::toNativeSeparators(folder + '/' + existing);
    QCOMPARE(found.existing().value_or(QString()), expected);
}

QTEST_GUILESS_MAIN(InstallationTest)
#include "tst_installation.moc"
