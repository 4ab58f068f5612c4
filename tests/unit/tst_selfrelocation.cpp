#include "app/selfrelocation.h"
#include "install/installation.h"
#include "kit/qt/foldertest.h"

using namespace freshen;

/// Relocates a made-up updater from the folder "installation" to "data/freshen".
class SelfRelocationTest : public FolderTest
{
    Q_OBJECT

private slots:
    void handOverNamesTheInstallation()
    {
        const Restorer codePage = useWesternCodePage();
        const RelocationPaths paths = relocationPaths(file("Prögramme/Tavlo pro"), file("data"));
        writeFile(handOver(), "of an earlier run, and longer than what is written now" + QByteArray(1000, 'x') + '\n');
        QVERIFY(writeHandOver(paths));
        QCOMPARE(QString::fromUtf8(readFile(handOver())), file("Prögramme/Tavlo pro"));
        // The copy looks for it in the folder above its own.
        QVERIFY(QDir().mkpath(paths.temporary));
        QCOMPARE(readHandOver(paths.temporary + "/.."), file("Prögramme/Tavlo pro"));
        QCOMPARE(log().lines(), QStringList());
    }

    /// So that both folders stand in one line.
    void handOverThatStaysIsWrittenOnTo()
    {
        writeFile(handOver(), "older");
        const Restorer lock = hold(handOver());
        QVERIFY(writeHandOver(paths()));
        QCOMPARE(QString::fromUtf8(readFile(handOver())), "older" + file("installation"));
        QVERIFY(isWarnedOf("Cannot remove", paths().handOver));
    }

    void handOverOnAFullDiskIsLogged()
    {
        if (isWindows())
            QSKIP("Windows has no device that is always full.");
        QVERIFY(QDir().mkpath(file("data")));
        QVERIFY(QFile::link("/dev/full", handOver()));
        const Restorer lock = hold(handOver());
        QVERIFY(!writeHandOver(paths()));
        QVERIFY(isWarnedOf("Cannot write", paths().handOver));
    }

    void everythingOfAnEarlierRunIsRemoved()
    {
        const QString old = file("freshen");
        writeFile(old + "/platforms/deeper/.hidden", "old");
        QVERIFY(QDir().mkpath(old + "/empty"));
        writeFile(file("elsewhere/letter.txt"), "mine");
        for (const char *target : {"elsewhere", "elsewhere/letter.txt", "missing"})
            QVERIFY(QFile::link(file(target), old + "/to " + QFileInfo(target).fileName() + ".lnk"));
        if (!isWindows())
            writeFile(old + "/:old", "old");
        const QStringList others = {"elsewhere/", "elsewhere/letter.txt"};
        QVERIFY(removeFolder(old));
        QCOMPARE(QStringList(treeOf(folder()).keys()), others);
        // A missing one counts as removed.
        QVERIFY(removeFolder(old));

        if (isWindows())
            QSKIP("Windows has no shortcut that is called like a folder.");
        QVERIFY(QFile::link(file("elsewhere"), old));
        QVERIFY(removeFolder(old));
        QCOMPARE(QStringList(treeOf(folder()).keys()), others);
    }

    void removalStopsAtWhatCannotBeRemoved()
    {
        const QString held = file("freshen/sub/file");
        writeFile(held, "stays");
        const Restorer lock = hold(held);
        QVERIFY(!removeFolder(file("freshen")));
        QVERIFY(QFile::exists(held));
        // Once, and not once more for each folder around it.
        QCOMPARE(log().lines(QtWarningMsg).size(), 1);
        QVERIFY(isWarnedOf("Cannot remove", held));
    }

    void executablePluginsAndLibrariesAreCopied()
    {
        const QStringList plugins = {"platforms/qwindows.dll", "imageformats/qico.dll",
                                     "styles/qwindowsvistastyle.dll"};
        QMap<QString, QByteArray> expected = {{"platforms/", {}}, {"imageformats/", {}}, {"styles/", {}}};
        for (const QString &name : QStringList{"Freshen.exe", "Qt5Core.dll", "zlib1.dll"} + plugins) {
            expected.insert(name, "content of " + name.toUtf8());
            writeFile(file("installation/") + name, expected[name]);
        }
        for (const char *other : {"Tavlopro.exe", "readme.txt", "platforms/qminimal.dll", "folder.dll/inside.dll"})
            writeFile(file("installation/") + other, "not copied");
        QVERIFY(QDir().mkpath(file("data/freshen")));
        copyUpdater(paths());
        QCOMPARE(treeOf(file("data/freshen")), expected);

        QStringList messages;
        for (const QString &name : plugins)
            messages += copied(name, "true");
        QCOMPARE(log().lines(), messages);
    }

    /// A plug-in says so with its result, everything else with a warning; the rest goes on.
    void filesThatCannotBeCopiedAreLogged()
    {
        for (const char *name : {"installation/a.dll", "installation/styles/qwindowsvistastyle.dll",
                                 "data/freshen/a.dll", "data/freshen/platforms"})
            writeFile(file(name), "x");
        copyUpdater(paths());
        QCOMPARE(log().lines(QtDebugMsg),
                 (QStringList{copied("platforms/qwindows.dll", "false"), copied("imageformats/qico.dll", "false"),
                              copied("styles/qwindowsvistastyle.dll", "true")}));
        QCOMPARE(log().lines(QtWarningMsg).size(), 3);
        QVERIFY(isWarnedOf("Cannot create", file("data/freshen/platforms")));
        QVERIFY(isWarnedOf("Cannot copy", file("installation/Freshen.exe")));
        QCOMPARE(QDir::fromNativeSeparators(log().lines(QtWarningMsg).last()),
                 "Copy failed " + logged(file("installation/a.dll")));
    }

private:
    QString handOver() const
    {
        return file("data/settings.ini");
    }
    RelocationPaths paths() const
    {
        return relocationPaths(file("installation"), file("data"));
    }
    /// The log line of the plug-in \a name.
    QString copied(const QString &name, const char *result) const
    {
        return logged(paths().source + '/' + name) + ' ' + logged(paths().temporary + '/' + name) + ' ' + result;
    }

    const Restorer m_user = becomeOrdinaryUser();
};

QTEST_GUILESS_MAIN(SelfRelocationTest)
#include "tst_selfrelocation.moc"
