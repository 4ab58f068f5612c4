// How a package is made from an application folder.

#include "kit/qt/foldertest.h"
#include "kit/qt/table.h"
#include "publish/externalcommand.h"
#include "publish/packageentry.h"
#include "publish/packing.h"

#include <QCryptographicHash>
#include <QDir>

#include <cstdio>
#include <fstream>

using namespace freshen::publish;

namespace {

QStringList namesOf(const QList<PackedItem> &items)
{
    QStringList names;
    for (const PackedItem &item : items)
        names.append(item.name);
    return names;
}

const QDateTime someTime(QDate(2026, 7, 9), QTime(12, 34, 56), Qt::UTC);

} // namespace

class PublishPackTest : public FolderTest
{
    Q_OBJECT

private slots:
    void lists_data()
    {
        // Patterns, what is packed, what is left out, patterns that leave nothing out.
        const Table<QStringList, QStringList, QStringList, QStringList> table;
        const QStringList all = {".hidden", "B.txt", "a.pdb", "b/", "b/B.txt", "b/c/", "b/c/a.pdb", "empty/"};
        const auto without = [&all](const QStringList &names) {
            QStringList rest = all;
            for (const QString &name : names)
                rest.removeAll(name);
            return rest;
        };
        table.row("everything", {}, all, {}, {});
        table.row("by name, anywhere", {"*.pdb"}, without({"a.pdb", "b/c/a.pdb"}), {"a.pdb", "b/c/a.pdb"}, {});
        table.row("by path", {"b/*.txt"}, without({"b/B.txt"}), {"b/B.txt"}, {});
        table.row("a star is no slash", {"b/*.pdb"}, all, {}, {"b/*.pdb"});
        table.row("a folder with all in it", {"b"}, without({"b/", "b/B.txt", "b/c/", "b/c/a.pdb"}), {"b"}, {});
        table.row("capitals differ", {"b.TXT", "?.txt"}, without({"B.txt", "b/B.txt"}), {"B.txt", "b/B.txt"},
                  {"b.TXT"});
        table.row("two patterns for one file", {"a.*", "*.pdb", ".hidden"}, without({".hidden", "a.pdb", "b/c/a.pdb"}),
                  {".hidden", "a.pdb", "b/c/a.pdb"}, {});
    }
    void lists()
    {
        const auto [patterns, packed, excluded, useless] =
            Table<QStringList, QStringList, QStringList, QStringList>::current();
        layOut();
        const PackingList list = listFolder(folder(), patterns);
        QCOMPARE(list.failure, "");
        QCOMPARE(namesOf(list.items), packed);
        QCOMPARE(list.excluded, excluded);
        QCOMPARE(list.uselessPatterns, useless);
    }

    void foldersThatCannotBePacked_data()
    {
        const Table<QString, QString> table;
        table.row("missing", "none", "none: is no folder");
        table.row("a file", "B.txt", "B.txt: is no folder");
        if (!isWindows()) {
            table.row("with a link to a file", "links", "links/file: is a link");
            table.row("with a link to a folder", "cycle", "cycle/folder: is a link");
            table.row("with a file that cannot be read", "secret", "secret/file: cannot be read");
            table.row("with what is no file", "/dev", "is neither");
            table.row("with a name that is no text", "odd", "odd: has a file whose name is no UTF-8");
        }
    }
    void foldersThatCannotBePacked()
    {
        const auto [name, reason] = Table<QString, QString>::current();
        layOut();
        if (name == "links" || name == "cycle" || name == "secret" || name == "odd")
            writeFile(file(name + "/plain"), "x");
        QVERIFY(name != "links" || QFile::link(file("B.txt"), file("links/file")));
        QVERIFY(name != "cycle" || QFile::link(file("cycle"), file("cycle/folder")));
        if (name == "secret") {
            writeFile(file("secret/file"), "x");
            QVERIFY(QFile::setPermissions(file("secret/file"), QFile::Permissions()));
        }
        // Links of the system's are left out, so that its devices come to light.
        const QStringList patterns =
            name == "/dev" ? QStringList{"fd", "std*", "core", "initctl", "log"} : QStringList();
        const std::string odd = file("odd/").toStdString() + '\xfc';
        if (name == "odd")
            std::ofstream(odd) << 'x';
        const QString failure = listFolder(name.startsWith('/') ? name : file(name), patterns).failure;
        // What removes the folder does not see it either.
        std::remove(odd.c_str());
        QVERIFY2(failure.contains(reason), qPrintable(failure));
    }

    /// The bytes do not depend on anything but the names and contents of the files.
    void packageIsReproducible()
    {
        writeFile(file("in/Tavlopro.exe"), QByteArray(5000, 'x'));
        writeFile(file("in/data/größe.txt"), "x");
        writeFile(file("in/empty"), "");
        QVERIFY(QDir().mkpath(file("in/folder")));
        qint64 done = 0;
        const auto pack = [&](const QString &name) {
            return writePackage(file(name), listFolder(file("in"), {}).items, someTime,
                                [&done](qint64 bytes) { done = bytes; });
        };
        QCOMPARE(pack("first.zip"), "");
        QCOMPARE(done, 5001);
        QFile::setPermissions(file("in/data/größe.txt"), QFile::ReadOwner | QFile::ExeOwner);
        qputenv("TZ", "Asia/Tokyo");
        QCOMPARE(pack("second.zip"), "");
        qunsetenv("TZ");
        QCOMPARE(readFile(file("second.zip")), readFile(file("first.zip")));
        QCOMPARE(QCryptographicHash::hash(readFile(file("first.zip")), QCryptographicHash::Sha256).toHex(),
                 "6ba066373260a14f0c95833e468f3805cbd0d8e9ac988519b8d23e45aab89e59");

        QStringList seen;
        for (const PackageEntry &entry : readEntries(file("first.zip"))) {
            QVERIFY(entry.isUtf8);
            const bool isStarted = (entry.permissions & QFile::ExeOther) != 0;
            seen += QString("%1 %2%3").arg(entry.name).arg(entry.size).arg(isStarted ? " x" : "");
        }
        QCOMPARE(seen, (QStringList{"Tavlopro/ 0 x", "Tavlopro/Tavlopro.exe 5000 x", "Tavlopro/data/ 0 x",
                                    "Tavlopro/data/größe.txt 1", "Tavlopro/empty 0", "Tavlopro/folder/ 0 x"}));
    }

    /// What was there before stays where a package cannot be written.
    void packagesThatCannotBeWritten_data()
    {
        const Table<QString, QString> table;
        table.row("no folder", "file/p.zip", "p.zip: ");
        table.row("a file that is gone", "p.zip", "gone: ");
    }
    void packagesThatCannotBeWritten()
    {
        const auto [name, reason] = Table<QString, QString>::current();
        writeFile(file("file"), "");
        writeFile(file("p.zip"), "before");
        const QList<PackedItem> items = {{"file", file("file"), 0}, {"gone", file("gone"), 1}};
        const QString failure = writePackage(file(name), items, someTime, [](qint64) {});
        QVERIFY2(failure.contains(reason), qPrintable(failure));
        QCOMPARE(treeOf(folder()), (QMap<QString, QByteArray>{{"file", ""}, {"p.zip", "before"}}));
    }

    void times_data()
    {
        const Table<QString, QString> table;
        table.row("none", "", "1980-01-01T00:00:00Z");
        table.row("some", "1783600496", "2026-07-09T12:34:56Z");
        table.row("before an archive's first", "0", "1980-01-01T00:00:00Z");
        table.row("after an archive's last", "9999999999", "2107-12-31T23:59:58Z");
        table.row("no number", "yesterday", "");
    }
    void times()
    {
        const auto [epoch, time] = Table<QString, QString>::current();
        QCOMPARE(packingTime(epoch).value_or(QDateTime()).toString(Qt::ISODate), time);
    }

    void externalCommands_data()
    {
        const Table<QString, QString> table;
        table.row("empty", " ", "is empty");
        table.row("missing", "no-such-program", "no-such-program: ");
        if (!isWindows()) {
            table.row("ends well", "touch \"a file\"", "");
            table.row("ends with a code", "sh -c \"exit 3\"", "ended with 3");
        }
    }
    void externalCommands()
    {
        const auto [command, reason] = Table<QString, QString>::current();
        const QString failure = runExternalCommand(command, folder());
        QVERIFY2(reason.isEmpty() ? failure.isEmpty() : failure.contains(reason), qPrintable(failure));
        QCOMPARE(QFile::exists(file("a file")), reason.isEmpty());
    }

private:
    void layOut() const
    {
        for (const char *name : {".hidden", "B.txt", "a.pdb", "b/B.txt", "b/c/a.pdb"})
            writeFile(file(name), name);
        QVERIFY(QDir().mkpath(file("empty")));
    }

    const Restorer m_user = becomeOrdinaryUser();
};

QTEST_GUILESS_MAIN(PublishPackTest)
#include "tst_publishpack.moc"
