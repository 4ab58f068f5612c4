#include "install/cleaning.h"
#include "install/folderidentity.h"
#include "kit/qt/foldertest.h"

using namespace freshen;

/// Cleans the folder "Tavlo pro".
class CleaningTest : public FolderTest
{
    Q_OBJECT

private slots:
    void onlyHiddenFilesAndThoseToKeepStay_data()
    {
        const Table<QStringList, QStringList> table;
        const QStringList two = {"logo.png", "settings.ini"};
        table.row("none", {}, {});
        table.row("two at the top, not their namesake in a subfolder", two, two);
        table.row("no names at the top", {"Settings.ini", "lib", "lib/settings.ini", "./logo.png", "*.ini", ""}, {});
    }
    void onlyHiddenFilesAndThoseToKeepStay()
    {
        const auto [filesToKeep, kept] = Table<QStringList, QStringList>::current();
        makeFiles({"a.exe", "settings.ini", "logo.png", "lib/settings.ini", "deep/er/a", ".hidden", "lib/.hidden"});
        for (const char *name : {"/a.exe", "/lib/settings.ini"})
            QVERIFY(QFile::setPermissions(path() + name, QFile::ReadOwner));
        writeFile(file("outside/file"), "stays");
        // Links to files, and shortcuts of Windows, are removed; what they lead to stays.
        QVERIFY(QFile::link(file("outside/file"), path() + "/lib/link.lnk"));
        if (isWindows()) {
            QVERIFY(QFile::link(file("outside"), path() + "/folder.lnk"));
            QVERIFY(QFile::setPermissions(path() + "/folder.lnk", QFile::ReadOwner));
            QVERIFY(QFile::link(file("missing"), path() + "/missing.lnk"));
        } else {
            // By itself, ":name" would be the name of a resource.
            makeFiles({":a", "lib/:"});
        }
        cleanFolder(path(), false, filesToKeep);
        QCOMPARE(treeOf(path()).keys(), QStringList({".hidden", "lib/", "lib/.hidden"}) + kept);
        QCOMPARE(log().lines().filter("hidden"), QStringList());
        QCOMPARE(readFile(file("outside/file")), QByteArray("stays"));
        // The one about the folder that holds a hidden file.
        QCOMPARE(log().lines(QtWarningMsg).size(), 1);
        QVERIFY(isWarnedOf("Cannot remove", path() + "/lib"));
    }

    void everyStepIsLogged()
    {
        makeFiles({"b.txt", "A.txt", "Sub/x.txt"});
        const QString top = logged(path());
        const QString sub = logged(path() + "/Sub");
        cleanFolder(path(), false, {"b.txt"});
        // Names are sorted without regard to case, files first.
        QCOMPARE(log().lines(),
                 (QStringList{"deleteTempDir " + top + " false", logged("A.txt"), logged("b.txt"), "skipping ...", sub,
                              "deleteTempDir " + sub + " true", logged("x.txt"), sub}));
        log().clear();
        cleanFolder(path(), true, {});
        QCOMPARE(log().lines(), (QStringList{"deleteTempDir " + top + " true", logged("b.txt"), top}));
        QVERIFY(!QFile::exists(path()));
    }

    /// So the files to keep stay, and many links take no longer than few.
    void eachFolderIsEnteredOnceByWhateverLink()
    {
        if (isWindows())
            QSKIP("Wine has no links to folders.");
        makeFiles({"settings.ini", "a/file", "b/file"});
        writeFile(file("outside/file"), "1234");
        const QMap<QString, QString> targets = {
            {"/a/up", path()}, {"/b/a", path() + "/a"}, {"/a/b", path() + "/b"}, {"/out", file("outside")}};
        for (auto it = targets.cbegin(); it != targets.cend(); ++it)
            QVERIFY(QFile::link(it.value(), path() + it.key()));
        QCOMPARE(cleanableBytes(path(), {"settings.ini"}, 1), qint64(1 + 1 + 4));

        cleanFolder(path(), false, {"settings.ini"});
        QCOMPARE(QStringList(treeOf(folder()).keys()).filter(QRegularExpression("file|ini")),
                 QStringList("Tavlo pro/settings.ini"));
        QStringList leadBack;
        for (const char *name : {"/a", "", "/b"})
            leadBack += "Leads back to " + logged(path() + name);
        QCOMPARE(log().lines(QtWarningMsg).filter("Leads back to"), leadBack);
    }

    void foldersAreKnownByWhatTheyAre()
    {
        makeFiles({"a/file", "b/file"});
        const QByteArray identity = folderIdentity(path() + "/a");
        QVERIFY(!identity.isEmpty());
        QCOMPARE(folderIdentity(path() + (isWindows() ? "/b/../A/" : "/b/../a/")), identity);
        QVERIFY(folderIdentity(path() + "/b") != identity);
        QCOMPARE(folderIdentity(path() + "/c"), QByteArray());
    }

    void whatCannotBeRemovedStaysAsItIs()
    {
        makeFiles({"a", "lib/held", "z"});
        const QString held = path() + "/lib/held";
        QVERIFY(QFile::setPermissions(held, QFile::ReadOwner));
        const QFile::Permissions before = QFile::permissions(held);
        {
            const Restorer lock = hold(held);
            cleanFolder(path(), false, {});
        }
        QCOMPARE(treeOf(path()).keys(), (QStringList{"lib/", "lib/held"}));
        QCOMPARE(QFile::permissions(held), before);
        QCOMPARE(log().lines(QtWarningMsg).size(), 2);
        QVERIFY(isWarnedOf("Cannot remove", held));
        QVERIFY(isWarnedOf("Cannot remove", path() + "/lib"));
    }

    /// To the system it is the current folder.
    void emptyPathCleansNothing()
    {
        makeFiles({"a"});
        const QString before = QDir::currentPath();
        QVERIFY(QDir::setCurrent(path()));
        cleanFolder(QString(), false, {});
        QDir::setCurrent(before);
        QVERIFY(QFile::exists(path() + "/a"));
        QCOMPARE(log().lines(), QStringList("No folder to clean"));
    }

private:
    QString path() const
    {
        return file("Tavlo pro");
    }
    void makeFiles(const QStringList &names) const
    {
        for (const QString &name : names)
            writeFile(path() + '/' + name, "x");
    }

    const Restorer m_user = becomeOrdinaryUser();
};

QTEST_GUILESS_MAIN(CleaningTest)
#include "tst_cleaning.moc"
