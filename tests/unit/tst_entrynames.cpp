#include "kit/qt/extractionrun.h"
#include "kit/qt/files.h"
#include "kit/qt/packagemaker.h"

#include <QtTest>

using namespace freshen;

class EntryNamesTest : public QObject
{
    Q_OBJECT

private slots:
    void safeNames_data();
    void safeNames();
    void unsafeNames_data();
    void unsafeNames();
    void unsafeEntriesAreRefused_data();
    void unsafeEntriesAreRefused();
};

void EntryNamesTest::safeNames_data()
{
    QTest::addColumn<QString>("name");
    for (const char *name : {"Tavlopro.exe",
                             "Tavlopro/Tavlopro.exe",
                             "a/b/c.txt",
                             "a/",
                             "a/b/",
                             "a\\b\\c.txt",
                             "a b/c d",
                             ".hidden",
                             "a/.hidden",
                             "..a",
                             "a..",
                             "a..b",
                             "./a",
                             "a/./b",
                             "größe/ü.txt",
                             "console.txt",
                             "con1.txt",
                             "com.dll",
                             "com10.txt",
                             "auxiliary",
                             "nulls",
                             "a.con",
                             "lpt",
                             "-",
                             "~",
                             "%1",
                             "$MFT"})
        QTest::newRow(name) << name;
    QTest::newRow("300 characters") << QString(300, 'a');
}

void EntryNamesTest::safeNames()
{
    QFETCH(QString, name);
    QVERIFY(isSafeEntryName(name));
}

void EntryNamesTest::unsafeNames_data()
{
    QTest::addColumn<QString>("name");
    for (const char *name :
         {// Upwards.
          "..", "../a", "a/../b", "a/../../b", "a/..", "..\\a", "a\\..\\b", "a/..\\b", ".. /a", "a/.. ./b",
          // Windows drops full stops at the end of a name.
          "...", "a/.../b", ". ./a",
          // Absolute.
          "/", "/etc/passwd", "\\a", "//server/share/a", "\\\\server\\share\\a", "\\\\?\\C:\\a", "//./COM1",
          // Drives and streams.
          "C:/a", "c:\\a", "C:a", "a/C:/b", "a:stream", "a/b.txt:stream", "a::$DATA", ":",
          // Devices of Windows, whatever their case and extension.
          "con", "CON", "Con.txt", "a/prn", "aux/b", "nul.tar.gz", "com1", "COM9.dll", "lpt1", "lpt0.x", "conin$",
          "CONOUT$", "nul ", "nul .txt", "com\302\271", "LPT\302\263.log"})
        QTest::newRow(name) << name;
    QTest::newRow("no name at all") << QString();
    QTest::newRow("upwards before a zero") << QString("..") + QChar(QChar::Null);
    QTest::newRow("upwards before a zero, below") << QString("a/..") + QChar(QChar::Null) + "b";
    QTest::newRow("a device before a zero") << QString("nul") + QChar(QChar::Null) + ".txt";
}

void EntryNamesTest::unsafeNames()
{
    QFETCH(QString, name);
    QVERIFY(!isSafeEntryName(name));
}

void EntryNamesTest::unsafeEntriesAreRefused_data()
{
    QTest::addColumn<QByteArray>("name");
    for (const char *name : {"../evil", "folder/../../evil", "/evil", "..\\evil", "\\evil", "C:\\evil", "C:/evil",
                             "file:evil", "new/folder/../../../evil", "new/nul"})
        QTest::newRow(name) << QByteArray(name);
    QTest::newRow("the folder above, before a zero") << QByteArray("..\0b", 4);
}

void EntryNamesTest::unsafeEntriesAreRefused()
{
    QFETCH(QByteArray, name);
    PackageEntry first;
    first.name = "folder/first";
    first.content = "sound";
    PackageEntry second;
    second.name = name;
    second.content = "evil";
    PackageEntry third = first;
    third.name = "folder/third";

    const QTemporaryDir place;
    const QString home = place.filePath("one/two");
    QVERIFY(QDir().mkpath(home));
    const ExtractionRun run = runExtractionIn(home, makePackage({first, second, third}));
    QVERIFY(!run.succeeded);
    // The name as it is stored, but for zeros, once in the error text and once in the log.
    const QString stored = QString::fromUtf8(name.constData(), name.size());
    const QString message =
        "unzip(): unsafe entry name: " + QString(stored).replace(QChar::Null, QChar::ReplacementCharacter);
    QCOMPARE(run.errorText, message);
    QCOMPARE(run.messages.filter("unsafe"), QStringList{message});
    QCOMPARE(run.messages.last(), message);
    // Nothing was written for it, not even a folder, and the extraction stopped there.
    QCOMPARE(treeOf(place.path()).keys(), (QStringList{"one/", "one/two/", "one/two/Package.zip", "one/two/out/",
                                                       "one/two/out/folder/", "one/two/out/folder/first"}));
    QVERIFY(!QFile::exists("/evil"));
}

QTEST_GUILESS_MAIN(EntryNamesTest)
#include "tst_entrynames.moc"
