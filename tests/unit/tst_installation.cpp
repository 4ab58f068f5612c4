// What the updater finds out about the installation that it replaces before it touches it.

#include "install/batchprocess.h"
#include "install/copyobstacle.h"
#include "install/installation.h"
#include "kit/qt/foldertest.h"

#include <QStorageInfo>

using namespace freshen;

namespace {

int longestPath = 10000;

} // namespace

// They take the place of the program's when they are linked.
int freshen::longestCopyPath()
{
    return longestPath;
}
int freshen::longestCopyFolder()
{
    return longestPath - 1;
}

class InstallationTest : public FolderTest
{
    Q_OBJECT

private slots:
    void handOver()
    {
        QCOMPARE(readHandOver(folder()), QString());
        QVERIFY(isWarnedOf("Cannot read", file("settings.ini")));
        const Restorer codePage = useWesternCodePage();
        const QList<QPair<QByteArray, QString>> rows = {
            {"", ""}, {"C:/Prögrämme/ß\r\nsecond\n", "C:/Prögrämme/ß"}, {" C:/a/../b// ", " C:/a/../b// "}};
        for (const auto &[content, line] : rows) {
            writeFile(file("settings.ini"), content);
            QCOMPARE(readHandOver(folder()), line);
        }
    }

    void lastEntryIsThePackageFolder()
    {
        QVERIFY(!packageFolder(file("out")));
        // Each comes after those before it, without regard to case; files count too.
        for (const QString entry : {"a/", "B/", "b2/", "C größer/", "zip.txt"}) {
            writeFile(file("out/") + entry + (entry.endsWith('/') ? "file" : ""), "x");
            QCOMPARE(packageFolder(QDir::toNativeSeparators(file("out"))).value_or(QString()),
                     QString(entry).remove('/'));
        }
    }

    void executables()
    {
        const Executables found = Executables::in(file("Tavlo pro"));
        QVERIFY(!found.existing());
        for (const char *name : {"Tavlo pro/Tavlopc.exe", "Tavlo pro/Tavlopro.exe"}) {
            writeFile(file(name), "x");
            QCOMPARE(found.existing().value_or(QString()), QDir::toNativeSeparators(file(name)));
        }
    }

    void lackOfSpace_data()
    {
        const Table<QString, std::optional<DiskSpace>, QString> table;
        const QString settings = "settings.ini";
        table.row("just enough", settings, DiskSpace{301, 1}, "");
        table.row("a byte too few", settings, DiskSpace{300, 1}, "1001 bytes needed, 1000 bytes free");
        table.row("just enough blocks", settings, DiskSpace{400, 400}, "");
        table.row("a block too few", settings, DiskSpace{399, 400}, "1600 bytes needed, 1599 bytes free");
        table.row("nothing to keep", "", DiskSpace{0, 1}, "");
        table.row("space of many digits", settings, DiskSpace{Q_INT64_C(1) << 40, 1}, "");
        table.row("unknown", settings, std::nullopt, "");
    }
    void lackOfSpace()
    {
        const auto [fileToKeep, space, lack] = Table<QString, std::optional<DiskSpace>, QString>::current();
        const QList<QPair<QString, int>> files = {
            {"new/a", 1000},
            {"new/sub/b", 1},
            {"old/a", 600},
            {"old/settings.ini", 5000},
            // Kept only at the top.
            {"old/sub/settings.ini", 100},
            // Hidden files are neither copied nor removed, and of a link only the link.
            {"new/.hidden", 9000},
            {"old/.hidden", 9000},
            {"elsewhere", 9000},
        };
        for (const auto &[name, size] : files)
            writeFile(file(name), QByteArray(size, 'x'));
        QVERIFY(QFile::link(file("elsewhere"), file("old/link.lnk")));
        const QString begin = "Not enough space in " + QDir::toNativeSeparators(file("old")) + ": ";
        QCOMPARE(copyObstacle(file("new"), file("old"), {fileToKeep}, space).value_or(begin), begin + lack);
    }

    void spaceOfTheDisk()
    {
        // Of a new disk in memory, all would be free.
        writeFile(file("something"), "x");
        const QStorageInfo storage(folder());
        const DiskSpace space = DiskSpace::at(folder()).value_or(DiskSpace{});
        QVERIFY(space.available > 0);
        QVERIFY(space.available < storage.bytesTotal());
        // Qt for Windows does not know it.
        QVERIFY(isWindows() ? space.blockSize > 1 : space.blockSize == storage.blockSize());
    }

    void longPaths_data()
    {
        const Table<QString, QString, QString> table;
        table.row("file to be written", "new", "a longer folder", "file");
        table.row("file to be read", "a longer folder", "old", "file");
        table.row("empty folder", "new", "a longer folder", "folder");
    }
    void longPaths()
    {
        const auto [source, destination, entry] = Table<QString, QString, QString>::current();
        const bool isFolder = entry == "folder";
        if (isFolder)
            QVERIFY(QDir().mkpath(file(source + "/sub/folder")));
        else
            writeFile(file(source + "/sub/file"), "x");
        // As the window hands the source over.
        const QString nativeSource = QDir::toNativeSeparators(file(source));
        const QString longest = QDir::toNativeSeparators(file("a longer folder/sub/" + entry));
        longestPath = longest.size() + (isFolder ? 1 : 0);
        QVERIFY(!copyObstacle(nativeSource, file(destination), {}, std::nullopt));
        --longestPath;
        QCOMPARE(copyObstacle(nativeSource, file(destination), {}, std::nullopt).value_or(QString()),
                 "Path too long: " + longest);
        longestPath = 10000;
    }
};

QTEST_GUILESS_MAIN(InstallationTest)
#include "tst_installation.moc"
