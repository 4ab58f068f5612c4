#include "install/cleaning.h"
#include "install/folderidentity.h"
#include "kit/qt/files.h"
#include "kit/qt/messagecatcher.h"
#include "kit/qt/platform.h"

#include <QtTest>

using namespace freshen;

class CleaningTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void remains_data();
    void remains();
    void everyStepIsLogged();
    void removesTheFolderItself();
    void namesWithColons();
    void hiddenFilesStay();
    void linkToAFolderIsFollowed();
    void linkThatLeadsBack();
    void foldersLinkedWithEachOther();
    void linksThatAreNoFolders_data();
    void linksThatAreNoFolders();
    void foldersAreToldApart();
    void readOnlyFilesAreRemoved();
    void fileThatCannotBeRemoved();
    void missingFolder();
    void emptyPath();

private:
    QString path() const
    {
        return m_folder->filePath("Tavlo pro");
    }
    void makeFiles(const QStringList &names) const
    {
        for (const QString &name : names)
            writeFile(path() + '/' + name, "x");
    }

    std::unique_ptr<QTemporaryDir> m_folder;
};

void CleaningTest::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(QDir().mkpath(path()));
}

void CleaningTest::remains_data()
{
    QTest::addColumn<QStringList>("files");
    QTest::addColumn<QStringList>("filesToKeep");
    QTest::addColumn<QStringList>("left");
    const QStringList installation = {"Tavlopro.exe", "settings.ini", "logo.png", "lib/settings.ini", "lib/deep/a.dll"};
    QTest::newRow("empty list: everything goes") << installation << QStringList() << QStringList();
    QTest::newRow("settings.ini stays at the top, not in a subfolder")
        << installation << QStringList{"settings.ini"} << QStringList{"settings.ini"};
    QTest::newRow("Settings.ini does not protect settings.ini")
        << installation << QStringList{"Settings.ini"} << QStringList();
    QTest::newRow("several") << installation << QStringList{"logo.png", "settings.ini"}
                             << QStringList{"logo.png", "settings.ini"};
    QTest::newRow("the name of a folder protects nothing") << installation << QStringList{"lib"} << QStringList();
    QTest::newRow("a path protects nothing")
        << installation << QStringList{"lib/settings.ini", "./logo.png"} << QStringList();
    QTest::newRow("no wild cards") << installation << QStringList{"*.ini", "logo.*"} << QStringList();
    QTest::newRow("part of a name protects nothing") << installation << QStringList{"settings", ""} << QStringList();
    QTest::newRow("names that are not there") << installation << QStringList{"user.ini"} << QStringList();
    QTest::newRow("umlauts") << QStringList{"größe.ini", "a.txt"} << QStringList{"größe.ini"}
                             << QStringList{"größe.ini"};
    QTest::newRow("nothing there") << QStringList() << QStringList{"logo.png"} << QStringList();
}

void CleaningTest::remains()
{
    QFETCH(QStringList, files);
    QFETCH(QStringList, filesToKeep);
    makeFiles(files);
    writeFile(m_folder->filePath("beside"), "stays");
    MessageCatcher catcher;
    cleanFolder(path(), false, filesToKeep);
    QTEST(QStringList(treeOf(path()).keys()), "left");
    QCOMPARE(catcher.warnings(), QStringList());
    QVERIFY(QFile::exists(m_folder->filePath("beside")));
}

void CleaningTest::everyStepIsLogged()
{
    makeFiles({"b.txt", "A.txt", "c.txt", "Sub/x.txt", "another/deep/y.txt"});
    const QString top = path();
    const QStringList expected = {
        "deleteTempDir " + logged(top) + " false",
        // Names are sorted without regard to case, files first.
        logged("A.txt"),
        logged("b.txt"),
        "skipping ...",
        logged("c.txt"),
        logged(top + "/another"),
        "deleteTempDir " + logged(top + "/another") + " true",
        logged(top + "/another/deep"),
        "deleteTempDir " + logged(top + "/another/deep") + " true",
        logged("y.txt"),
        logged(top + "/another/deep"),
        logged(top + "/another"),
        logged(top + "/Sub"),
        "deleteTempDir " + logged(top + "/Sub") + " true",
        logged("x.txt"),
        logged(top + "/Sub"),
    };
    QCOMPARE(messagesOf([&] { cleanFolder(top, false, {"b.txt"}); }), expected);
}

void CleaningTest::removesTheFolderItself()
{
    makeFiles({"a.txt", "b/c.txt"});
    const QStringList messages = messagesOf([this] { cleanFolder(path(), true, {}); });
    QVERIFY(!QFile::exists(path()));
    QCOMPARE(messages.first(), "deleteTempDir " + logged(path()) + " true");
    QCOMPARE(messages.last(), logged(path()));
    QVERIFY(QFile::exists(m_folder->path()));
}

/// By itself, ":name" would be the name of something inside the program.
void CleaningTest::namesWithColons()
{
    if (isWindows())
        QSKIP("A colon cannot be part of a name here.");
    makeFiles({":a", "lib/:", "b:c"});
    const MessageCatcher catcher;
    cleanFolder(path(), false, {"b:c"});
    QCOMPARE(QStringList(treeOf(path()).keys()), QStringList{"b:c"});
    QCOMPARE(catcher.warnings(), QStringList());
}

/// They are neither removed nor reported, and a subfolder that holds one stays.
void CleaningTest::hiddenFilesStay()
{
    makeFiles({".hidden", "seen", "lib/.hidden", "lib/seen", "empty/seen"});
    hideDotted(path());
    MessageCatcher catcher;
    cleanFolder(path(), false, {});
    QCOMPARE(QStringList(treeOf(path()).keys()), (QStringList{".hidden", "lib/", "lib/.hidden"}));
    QCOMPARE(catcher.lines().filter("hidden"), QStringList());
}

void CleaningTest::linkToAFolderIsFollowed()
{
    const QString outside = m_folder->filePath("outside");
    writeFile(outside + "/file", "goes");
    if (!QFile::link(outside, path() + "/link") || !QFileInfo(path() + "/link").isDir())
        QSKIP("There are no links to folders here.");
    cleanFolder(path(), false, {});
    QVERIFY(!QFile::exists(outside + "/file"));
    QVERIFY(QFile::exists(outside));
}

/// Each folder is entered once, whichever way it is reached.
void CleaningTest::linkThatLeadsBack()
{
    makeFiles({"lib/file", "file"});
    if (!QFile::link(path(), path() + "/lib/up") || !QFileInfo(path() + "/lib/up").isDir())
        QSKIP("There are no links to folders here.");
    const QStringList messages = messagesOf([this] { cleanFolder(path(), false, {}); });
    QVERIFY(!QFile::exists(path() + "/file"));
    QVERIFY(!QFile::exists(path() + "/lib/file"));
    QCOMPARE(messages.filter("deleteTempDir"), (QStringList{"deleteTempDir " + logged(path()) + " false",
                                                            "deleteTempDir " + logged(path() + "/lib") + " true",
                                                            "deleteTempDir " + logged(path() + "/lib/up") + " true"}));
}

/// Followed on every way, these links would take hours.
void CleaningTest::foldersLinkedWithEachOther()
{
    const int count = 12;
    for (int from = 0; from < count; ++from)
        makeFiles({QString("%1/file").arg(from)});
    for (int from = 0; from < count; ++from) {
        for (int to = 0; to < count; ++to) {
            if (from != to)
                QFile::link(path() + QString("/%1").arg(to), path() + QString("/%1/to %2").arg(from).arg(to));
        }
    }
    if (!QFileInfo(path() + "/0/to 1").isDir())
        QSKIP("There are no links to folders here.");
    const QStringList messages = messagesOf([this] { cleanFolder(path(), false, {}); });
    for (int from = 0; from < count; ++from)
        QVERIFY(!QFile::exists(path() + QString("/%1/file").arg(from)));
    // The top, each folder and each link once.
    QCOMPARE(messages.filter("deleteTempDir").size(), 1 + count + count * (count - 1));
}

/// Of a link to a file and of a shortcut to anything, only the link itself is removed.
void CleaningTest::linksThatAreNoFolders_data()
{
    QTest::addColumn<QString>("target");
    QTest::newRow("to a file") << "outside/file";
    if (!isWindows())
        return;
    QTest::newRow("to a folder") << "outside";
    QTest::newRow("to nothing") << "outside/missing";
}

void CleaningTest::linksThatAreNoFolders()
{
    QFETCH(QString, target);
    writeFile(m_folder->filePath("outside/file"), "stays");
    QVERIFY(QDir(path()).mkdir("lib"));
    for (const QString &name : {path() + "/link.lnk", path() + "/lib/link.lnk"})
        QVERIFY(QFile::link(m_folder->filePath(target), name));
    const MessageCatcher catcher;
    cleanFolder(path(), false, {});
    QCOMPARE(treeOf(path()), (QMap<QString, QByteArray>()));
    QCOMPARE(catcher.warnings(), QStringList());
    QCOMPARE(readFile(m_folder->filePath("outside/file")), QByteArray("stays"));
}

/// By where they are, not by what they are called.
void CleaningTest::foldersAreToldApart()
{
    makeFiles({"a/file", "b/file"});
    const QByteArray identity = folderIdentity(path() + "/a");
    QVERIFY(!identity.isEmpty());
    QCOMPARE(folderIdentity(path() + "/b/../a/"), identity);
    QVERIFY(folderIdentity(path() + "/b") != identity);
    QCOMPARE(folderIdentity(path() + "/c"), QByteArray());
    if (isWindows()) {
        QCOMPARE(folderIdentity(QDir::toNativeSeparators(path()) + "\\A"), identity);
    } else {
        QVERIFY(QFile::link(path() + "/a", path() + "/link"));
        QCOMPARE(folderIdentity(path() + "/link"), identity);
    }
}

void CleaningTest::readOnlyFilesAreRemoved()
{
    m_folder.reset();
    const OrdinaryUser user;
    init();
    makeFiles({"a", "lib/b"});
    for (const char *name : {"/a", "/lib/b"})
        QVERIFY(QFile::setPermissions(path() + name, QFile::ReadOwner));
    const MessageCatcher catcher;
    cleanFolder(path(), false, {});
    QCOMPARE(treeOf(path()), (QMap<QString, QByteArray>()));
    QCOMPARE(catcher.warnings(), QStringList());
}

void CleaningTest::fileThatCannotBeRemoved()
{
    m_folder.reset();
    const OrdinaryUser user;
    init();
    makeFiles({"a", "lib/a", "lib/b", "z"});
    const QString lib = path() + "/lib";
    const QString kept = lib + "/a";
    // Nothing is removed from a read-only folder, nor, on Windows, while somebody has it open.
    QFile held(kept);
    QVERIFY(held.open(QIODevice::ReadOnly));
    QVERIFY(QFile::setPermissions(kept, QFile::ReadOwner));
    const QFile::Permissions before = QFile::permissions(kept);
    QVERIFY(QFile::setPermissions(lib, QFile::ReadOwner | QFile::ExeOwner));
    MessageCatcher catcher;
    cleanFolder(path(), false, {});
    held.close();
    QFile::setPermissions(lib, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);

    QVERIFY(QFile::exists(kept));
    QCOMPARE(QFile::permissions(kept), before);
    // The rest goes on.
    QVERIFY(!QFile::exists(path() + "/a"));
    QVERIFY(!QFile::exists(path() + "/z"));
    QVERIFY(catcher.debugLines().contains(logged("a")));
    // Each is warned of, the folder too, which is not empty.
    QStringList left = {kept, lib + "/b", lib};
    if (isWindows())
        left.removeAt(1);
    QCOMPARE(catcher.warnings().size(), left.size());
    for (int i = 0; i < left.size(); ++i)
        QVERIFY2(catcher.warnings().at(i).startsWith("Cannot remove " + logged(left.at(i)) + " - \""),
                 qUtf8Printable(catcher.warnings().at(i)));
    QFile::setPermissions(kept, QFile::ReadOwner | QFile::WriteOwner);
}

void CleaningTest::missingFolder()
{
    const QString missing = m_folder->filePath("missing");
    MessageCatcher catcher;
    cleanFolder(missing, false, {});
    QCOMPARE(catcher.debugLines(), QStringList{"deleteTempDir " + logged(missing) + " false"});
    QVERIFY(!QFile::exists(missing));
}

/// To the system it is the current folder, which nobody meant.
void CleaningTest::emptyPath()
{
    makeFiles({"a"});
    const QString before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(path()));
    MessageCatcher catcher;
    cleanFolder(QString(), false, {});
    QDir::setCurrent(before);
    QVERIFY(QFile::exists(path() + "/a"));
    QCOMPARE(catcher.lines(), QStringList{"No folder to clean"});
}

QTEST_GUILESS_MAIN(CleaningTest)
#include "tst_cleaning.moc"
