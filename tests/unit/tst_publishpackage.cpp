// What the publishing tool makes of a package.

#include "install/batchprocess.h"
#include "kit/qt/foldertest.h"
#include "kit/qt/packagemaker.h"
#include "kit/qt/table.h"
#include "publish/packagecheck.h"
#include "publish/packagedupdater.h"
#include "publish/packagelayout.h"
#include "publish/peversion.h"
#include "publish/progressbar.h"
#include "publish/report.h"
#include "publish/windowsname.h"

#include <QtEndian>

using namespace freshen::publish;

using Entry = freshen::publish::PackageEntry;
using StoredEntry = ::PackageEntry;

namespace {

Entry entry(const QString &name)
{
    Entry entry;
    entry.name = name;
    entry.isUtf8 = true;
    entry.permissions = QFile::ReadOwner | QFile::WriteOwner;
    return entry;
}

/// \a entry with \a value for its \a member.
template <typename Member>
Entry with(Entry entry, Member Entry::*member, const std::common_type_t<Member> &value)
{
    entry.*member = value;
    return entry;
}

/// The ids of \a findings, each with what it is about after the package's name.
QStringList told(const QList<Finding> &findings)
{
    QStringList texts;
    for (const Finding &finding : findings)
        texts.append(finding.kind.id + QString(finding.file).remove(0, QString("p.zip").size()));
    return texts;
}

template <typename Number>
QByteArray bytesOf(Number number)
{
    QByteArray bytes(sizeof number, '\0');
    qToLittleEndian(number, bytes.data());
    return bytes;
}

QByteArray padded(QByteArray bytes)
{
    return bytes.append((4 - bytes.size() % 4) % 4, '\0');
}

/// A block of a version resource: \a value is a text where \a isText, and \a inner are the blocks in it.
QByteArray block(const QString &key, const QByteArray &value, bool isText, const QByteArray &inner = {})
{
    QByteArray name;
    for (const QChar sign : key + QChar(QChar::Null))
        name += bytesOf(sign.unicode());
    const int length = isText ? value.size() / 2 : value.size();
    // The head is six bytes, so the name is padded together with it.
    const QByteArray rest =
        padded(QByteArray(6, '\0') + name).mid(6) + (inner.isEmpty() ? value : padded(value) + inner);
    return bytesOf<quint16>(static_cast<quint16>(6 + rest.size())) + bytesOf<quint16>(static_cast<quint16>(length)) +
           bytesOf<quint16>(isText ? 1 : 0) + rest;
}

QByteArray text(const QString &key, const QString &value)
{
    QByteArray bytes;
    for (const QChar sign : value + QChar(QChar::Null))
        bytes += bytesOf(sign.unicode());
    return padded(block(key, bytes, true));
}

QByteArray versionBlocks(const QString &version)
{
    const QByteArray texts = text("CompanyName", "FileVersion") + text("FileVersion", version);
    const QByteArray table = block("StringFileInfo", {}, true, block("040904B0", {}, true, texts));
    return block("VS_VERSION_INFO", QByteArray(52, '\x01'), false, table);
}

/// What of a program for Windows tells its version: \a resource, somewhere in it.
QByteArray program(const QByteArray &resource)
{
    return "MZ" + QByteArray(99, '\xcc') + resource + QByteArray(99, '\xcc');
}

} // namespace

class PublishPackageTest : public FolderTest
{
    Q_OBJECT

private slots:
    void progressLines_data()
    {
        const Table<qint64, qint64, int, QString> table;
        table.row("nothing", 0, 8, 0, "  0%");
        table.row("a part", 3, 8, 15, " 37%");
        table.row("all", 8, 8, 40, "100%");
        table.row("more than all", 9, 8, 40, "100%");
        table.row("of nothing", 0, 0, 40, "100%");
        table.row("beyond 32 bits", 3LL << 40, 4LL << 40, 30, " 75%");
    }
    void progressLines()
    {
        const auto [value, total, signs, percent] = Table<qint64, qint64, int, QString>::current();
        const QString bar = QString(signs, '#') + QString(40 - signs, ' ');
        QCOMPARE(progressLine("Packing %1", value, total), "Packing %1 [" + bar + "] " + percent);
    }

    void namesOnWindows_data()
    {
        // A name, its steps, the words of an objection.
        const Table<QString, QStringList, QString> table;
        const auto row = [&table](const char *name, const QStringList &steps, const QString &objection = {}) {
            table.row(name, name, steps, objection);
        };
        row("a/b.txt", {"a", "b.txt"});
        row("a\\b/", {"a", "b"});
        row("./a//./b", {"a", "b"});
        row(".hidden/..a", {".hidden", "..a"});
        row("a. /b .", {"a", "b"}, "at the end");
        for (const char *name : {"a/<", "a/>", "a/\"", "a/|", "a/?", "a/*", "\x1f/a"})
            row(name, QString(name).split('/'),
                QString::number(name[name[0] == 'a' ? 2 : 0], 16).rightJustified(4, '0'));
    }
    void namesOnWindows()
    {
        const auto [name, steps, objection] = Table<QString, QStringList, QString>::current();
        QCOMPARE(windowsSteps(name), steps);
        QCOMPARE(windowsObjection(name).isEmpty(), objection.isEmpty());
        QVERIFY(windowsObjection(name).contains(objection));
    }

    void entries_data()
    {
        const Table<Entry, QStringList> table;
        const auto row = [&table](const char *name, const Entry &entry, const char *id = nullptr) {
            table.row(name, entry, id == nullptr ? QStringList() : QStringList(QString(id) + "!" + entry.name));
        };
        const Entry plain = entry("T/a.txt");
        row("sound", plain);
        row("a name that the updater refuses", entry("T/../a"), "unsafe-name");
        row("a device", entry("T/con.txt"), "unsafe-name");
        row("beyond ASCII, marked", entry("T/ü"));
        row("beyond ASCII, not marked", with(entry("T/ü"), &Entry::isUtf8, false), "name-encoding");
        row("ASCII, not marked", with(plain, &Entry::isUtf8, false));
        row("marked, but no UTF-8", entry("T/\uFFFD"), "name-encoding");
        row("a sign that Windows does not take", entry("T/a?"), "name-not-for-windows");
        row("a full stop at the end", entry("T/a./b"), "name-not-for-windows");
        row("a backslash", entry("T\\a"), "backslash-in-name");
        row("a link", with(plain, &Entry::isLink, true), "link-entry");
        row("encrypted", with(plain, &Entry::isEncrypted, true), "encrypted-entry");
        row("stored", with(plain, &Entry::method, 0));
        row("another method", with(plain, &Entry::method, 9), "compression-method");
        row("read-only", with(plain, &Entry::permissions, QFile::ReadOwner), "read-only-entry");
        row("without permissions", with(plain, &Entry::permissions, QFile::Permissions()));
        row("hidden", with(plain, &Entry::attributes, 0x02), "hidden-entry");
        row("the system's", with(plain, &Entry::attributes, 0x04), "hidden-entry");
        row("archived", with(plain, &Entry::attributes, 0x20));

        // Installed below a path of 100 characters and a separator.
        const int longest = freshen::longestXcopyPath - 101;
        const int longestFolder = freshen::longestXcopyFolder - 101;
        const auto named = [](const QString &top, int length) { return entry(top + "/a/" + QString(length - 2, 'n')); };
        row("the longest file", named("T", longest));
        row("a longer file", named("T", longest + 1), "path-too-long");
        row("the longest folder", entry("T/" + QString(longestFolder, 'n') + "/"));
        row("a longer folder", entry("T/" + QString(longestFolder + 1, 'n') + "/"), "path-too-long");
        row("a file in a longer folder", entry("T/" + QString(longestFolder + 1, 'n') + "/a"), "path-too-long");
        // Unpacked below C:/Users/, 20 characters and /AppData/Local/Q.U.I.N.T.A./Tavlo3 Updater/freshen/../out/.
        const int longestUnpacked = freshen::longestXcopyPath - 87;
        row("the longest behind a long top", named(QString(30, 't'), longestUnpacked - 31));
        row("a longer one behind it", named(QString(30, 't'), longestUnpacked - 30), "path-too-long");
    }
    void entries()
    {
        const auto [entry, expected] = Table<Entry, QStringList>::current();
        QCOMPARE(told(checkEntries({entry}, "p.zip", usualLongestPath)), expected);
    }
    void longestPathIsAllowedFor()
    {
        const Entry longest = entry("T/" + QString(freshen::longestXcopyPath - 121, 'n'));
        QCOMPARE(told(checkEntries({longest}, "p.zip", 120)), QStringList());
        QCOMPARE(told(checkEntries({longest}, "p.zip", 121)), QStringList("path-too-long!" + longest.name));
    }

    void layouts_data()
    {
        const Table<QList<Entry>, QStringList> table;
        const QList<Entry> sound = {entry("T/Tavlopro.exe"), entry("T/Freshen.exe")};
        table.row("sound", sound, {});
        table.row("with its folders", sound + QList<Entry>{entry("T/"), entry("T/a/"), entry("t/A/"), entry("T/a/b")},
                  {});
        table.row("the older executable, in capitals", {entry("T/TAVLOPC.EXE"), entry("T/freshen.exe")}, {});
        table.row("no executable", {entry("T/a/Tavlopro.exe"), entry("T/Freshen.exe")}, {"no-executable"});
        table.row("a folder in its place", {entry("T/Tavlopro.exe/"), entry("T/Freshen.exe")}, {"no-executable"});
        table.row("no updater", {entry("T/Tavlopro.exe"), entry("T/a/Freshen.exe")}, {"no-updater"});
        table.row("empty", {}, {"top-folder"});
        table.row("two folders at the top", sound + QList<Entry>{entry("U/")}, {"top-folder"});
        table.row("one folder, in two spellings", sound + QList<Entry>{entry("t/a")}, {});
        table.row("a file at the top", {entry("Tavlopro.exe")}, {"top-folder"});
        table.row("a top that is not the same everywhere", {entry("Tävlo/Tavlopro.exe"), entry("Tävlo/Freshen.exe")},
                  {"top-folder-name"});
        table.row("any ASCII at the top", {entry("T ~!/Tavlopro.exe"), entry("T ~!/Freshen.exe")}, {});
        table.row("no permissions", sound + QList<Entry>{with(entry("T/a"), &Entry::permissions, QFile::Permissions())},
                  {"no-permissions"});
        table.row("twice the same", sound + QList<Entry>{entry("T/a"), entry("T/a")}, {"duplicate-entry!T/a"});
        table.row("capitals", sound + QList<Entry>{entry("T/aü"), entry("T/AÜ")}, {"colliding-names!T/AÜ"});
        table.row("letters that are no capitals", sound + QList<Entry>{entry("T/ß"), entry("T/SS")}, {});
        table.row("a file in the place of a folder", sound + QList<Entry>{entry("T/a/b"), entry("T/A")},
                  {"colliding-names!T/a/b"});
        table.row("a folder in the place of a file", sound + QList<Entry>{entry("T/a"), entry("T/A/")},
                  {"colliding-names!T/A/"});
    }
    void layouts()
    {
        const auto [entries, expected] = Table<QList<Entry>, QStringList>::current();
        QCOMPARE(told(checkLayout(entries, "p.zip")), expected);
    }

    void sizes_data()
    {
        const Table<qint64, QStringList> table;
        table.row("below 2 GiB", (2LL << 30) - 1, {});
        table.row("2 GiB", 2LL << 30, {"package-beyond-2-gib"});
        table.row("below 4 GiB", (4LL << 30) - 1, {"package-beyond-2-gib"});
        table.row("4 GiB", 4LL << 30, {"package-beyond-4-gib"});
    }
    void sizes()
    {
        const auto [bytes, expected] = Table<qint64, QStringList>::current();
        QCOMPARE(told(checkSize(bytes, "p.zip")), expected);
    }

    void versions_data()
    {
        const Table<QByteArray, QString> table;
        const QByteArray blocks = versionBlocks("26.05.7200");
        table.row("sound", program(blocks), "26.05.7200");
        table.row("empty", {}, "");
        table.row("no program", "#!/bin/sh\n" + blocks, "");
        table.row("no version", program({}), "");
        table.row("its name alone", "MZ" + blocks.mid(6), "");
        table.row("no such text", program(block("VS_VERSION_INFO", {}, false)), "");
        const QByteArray name = blocks.mid(6, 30);
        table.row("its name among other texts first", program(name + QByteArray(99, '\0') + blocks), "26.05.7200");
        const QByteArray deep = block("d", {}, true, text("FileVersion", "1"));
        table.row("the text deeper than it may be",
                  program(block("VS_VERSION_INFO", {}, true, block("b", {}, true, block("c", {}, true, deep)))), "");
        table.row("the text behind its end", program(block("VS_VERSION_INFO", {}, true) + text("FileVersion", "1")),
                  "");
        QByteArray endless = blocks;
        table.row("a block without a length", program(endless.replace(0, 2, QByteArray(2, '\0'))), "");
    }
    void versions()
    {
        const auto [bytes, version] = Table<QByteArray, QString>::current();
        QCOMPARE(peFileVersion(bytes), version);
    }
    /// Whatever is cut off or changed, the reading ends, within the bytes.
    void damagedVersions()
    {
        const QByteArray sound = program(versionBlocks("26.05.7200"));
        for (int position = 0; position < sound.size(); ++position) {
            for (const char byte : {'\0', '\x7f', '\xff'}) {
                QByteArray damaged = sound;
                damaged[position] = byte;
                QVERIFY(peFileVersion(damaged).size() < damaged.size());
            }
            QVERIFY(QString("26.05.7200").startsWith(peFileVersion(sound.left(position))));
        }
    }

    void packages_data()
    {
        const Table<QByteArray, QStringList, qint32> table;
        const StoredEntry application = {"T/Tavlopro.exe", "x"};
        const auto updater = [](const QString &version) {
            return StoredEntry{"T/Freshen.exe", program(versionBlocks(version))};
        };
        table.row("sound", makePackage({application, updater("26.05.7200")}), {}, 7200);
        table.row("a newer updater", makePackage({application, updater("26.05.7201")}), {}, 7201);
        table.row("an older updater", makePackage({application, updater("26.05.7199")}), {"old-updater!T/Freshen.exe"},
                  7199);
        table.row("an updater without a version", makePackage({application, {"T/Freshen.exe", "x"}}),
                  {"unknown-updater!T/Freshen.exe"}, 0);
        table.row("an updater with an odd version", makePackage({application, updater("7200")}),
                  {"unknown-updater!T/Freshen.exe"}, 0);
        StoredEntry damaged = {"T/a", "x"};
        damaged.checksum = 1;
        table.row("damaged", makePackage({application, updater("26.05.7200"), damaged}), {"package-not-unpacked"},
                  7200);
        table.row("no package", "<html>", {"top-folder", "package-not-unpacked"}, 0);
        StoredEntry locked = {"T/locked/", ""};
        locked.permissions = 0500;
        table.row("a folder that cannot be written to",
                  makePackage({application, updater("26.05.7200"), locked, {"T/locked/a", "x"}}),
                  {"read-only-entry!T/locked/"}, 7200);
        table.row("a folder that cannot be emptied",
                  makePackage({application, updater("26.05.7200"), {"T/locked/a", "x"}, locked}),
                  {"read-only-entry!T/locked/"}, 7200);
    }
    /// The package stays as it is, and nothing else does.
    void packages()
    {
        const auto [package, expected, revision] = Table<QByteArray, QStringList, qint32>::current();
        writeFile(file("p.zip"), package);
        QVERIFY(QDir(folder()).mkdir("scratch"));
        Report report(Format::Text, false, true, false);
        PackageCheckOptions options;
        options.scratchFolder = file("scratch");
        options.revision = 7200;
        const PackageCheck check = checkPackage(file("p.zip"), options, report);
        QCOMPARE(check.failure, "");
        QCOMPARE(check.updaterRevision.value_or(0), revision);
        QCOMPARE(told(report.findings()), expected);
        QCOMPARE(treeOf(folder()), (QMap<QString, QByteArray>{{"p.zip", package}, {"scratch/", {}}}));
    }

    void updatersInPackages_data()
    {
        const Table<QByteArray, qint32> table;
        const StoredEntry application = {"T/Tavlopro.exe", "x"};
        table.row("one with a version", makePackage({{"T/Freshen.exe", program(versionBlocks("26.05.7199"))}}), 7199);
        table.row("one without", makePackage({application, {"T/Freshen.exe", "x"}}), 7200);
        table.row("none", makePackage({application}), 0);
        table.row("no package", {}, 7200);
    }
    void updatersInPackages()
    {
        const auto [package, revision] = Table<QByteArray, qint32>::current();
        const DocumentRoot root = {folder(), "VERSIONS"};
        writeFile(root.packageFile("Tavlopc26.05.7200STABLE.zip"), package);
        QCOMPARE(updaterInPackage(root)({"26.05.7200", "Stable"}, 7200).value_or(0), revision);
    }

    void packagesThatCannotBeChecked_data()
    {
        const Table<QString, QString, QString> table;
        table.row("missing", "none.zip", "", "none.zip: ");
        table.row("no scratch folder", "p.zip", "none", "none");
    }
    void packagesThatCannotBeChecked()
    {
        const auto [name, scratch, reason] = Table<QString, QString, QString>::current();
        writeFile(file("p.zip"), makePackage({{"T/Tavlopro.exe", "x"}}));
        Report report(Format::Text, false, true, false);
        PackageCheckOptions options;
        options.scratchFolder = scratch.isEmpty() ? folder() : file(scratch);
        QVERIFY(checkPackage(file(name), options, report).failure.contains(reason));
        QCOMPARE(report.findings().size(), 0);
    }

private:
    const Restorer m_user = becomeOrdinaryUser();
};

QTEST_GUILESS_MAIN(PublishPackageTest)
#include "tst_publishpackage.moc"
