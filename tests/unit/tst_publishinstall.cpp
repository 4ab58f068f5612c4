// The updater is the judge of packages: what the publishing tool passes is installed as it was packed, and what it
// refuses is not.

#include "download/extraction.h"
#include "download/packagestore.h"
#include "install/batchprocess.h"
#include "install/copyobstacle.h"
#include "install/installation.h"
#include "kit/qt/foldertest.h"
#include "kit/qt/packagemaker.h"
#include "kit/qt/table.h"
#include "publish/packagecheck.h"
#include "publish/report.h"

#include <QBuffer>
#include <QDir>
#include <QRandomGenerator>

using namespace freshen;
using namespace freshen::publish;

using StoredEntry = ::PackageEntry;

// They take the place of the program's when they are linked: the limits are those of Windows everywhere.
int freshen::longestCopyPath()
{
    return longestXcopyPath;
}
int freshen::longestCopyFolder()
{
    return longestXcopyFolder;
}

namespace {

constexpr quint16 utf8 = 1 << 11;
constexpr quint16 encrypted = 1;
constexpr quint16 link = 0120777;

StoredEntry entry(const QByteArray &name, const QByteArray &content = "content")
{
    StoredEntry entry;
    entry.name = name;
    entry.content = name.endsWith('/') ? QByteArray() : content;
    entry.permissions = name.endsWith('/') ? 0755 : 0644;
    entry.flags = utf8;
    return entry;
}

template <typename Member>
StoredEntry with(StoredEntry entry, Member StoredEntry::*member, const std::common_type_t<Member> &value)
{
    entry.*member = value;
    return entry;
}

/// What makes a package unsafe.
struct Fault
{
    const char *name;
    QList<StoredEntry> entries;
    /// It shows on Windows alone.
    bool isOfWindows = false;
};

QList<Fault> faults()
{
    const QByteArray longName(longestXcopyPath - 110, 'n');
    return {
        {"a second folder at the top", {entry("U/a")}},
        {"a file at the top", {entry("z.txt")}},
        {"a name that leads upwards", {entry("T/../../a")}},
        {"an absolute name", {entry("/a")}},
        {"a device", {entry("T/nul.txt")}},
        {"a long path", {entry("T/" + longName + "/123456789")}},
        {"a file that is a folder", {entry("T/a", "x"), entry("T/a/b", "x")}},
        {"a folder that is a file", {entry("T/a/b", "x"), entry("T/a", "x")}},
        {"a wrong checksum", {with(entry("T/a"), &StoredEntry::checksum, 1)}},
        {"an unknown method", {with(entry("T/a"), &StoredEntry::method, 12)}},
        {"an encrypted entry",
         {with(with(entry("T/a"), &StoredEntry::flags, encrypted), &StoredEntry::data, QByteArray(20, 'e'))}},
        {"another name before the data", {with(entry("T/a"), &StoredEntry::localName, "T/bb")}},
        {"a link", {with(entry("T/a"), &StoredEntry::permissions, link)}},
        {"a damaged directory", {with(entry("T/a"), &StoredEntry::directorySignature, 1)}},
        {"no UTF-8 in spite of the mark", {entry("T/\xfc")}},
        {"a name without the mark", {with(entry("T/ü"), &StoredEntry::flags, 0)}, true},
        {"capital and small letters", {entry("T/a", "1"), entry("T/A", "2")}, true},
        {"a full stop at the end", {entry("T/a.")}, true},
        {"a character that is no part of a name", {entry("T/a?")}, true},
    };
}

/// What is harmless.
QList<StoredEntry> soundEntries()
{
    return {
        entry("T/größe.txt"),
        entry("T/plain/a b/c.d.e"),
        entry("T/folder/"),
        entry("T/.hidden"),
        entry("T/stored", QByteArray(10000, 'x')),
        with(entry("T/ascii"), &StoredEntry::flags, 0),
        with(entry("T/program.exe"), &StoredEntry::permissions, 0755),
        with(entry("T/none"), &StoredEntry::permissions, 0),
        entry("T/" + QByteArray(longestXcopyPath - 101, 'n')),
    };
}

QList<StoredEntry> application()
{
    return {entry("T/"), entry("T/Tavlopro.exe"), entry("T/Freshen.exe")};
}

/// What a package of \a entries is meant to install.
QMap<QString, QByteArray> meant(const QList<StoredEntry> &entries)
{
    QMap<QString, QByteArray> tree;
    for (const StoredEntry &entry : entries) {
        const QString decoded = QString::fromUtf8(entry.name);
        const bool isUtf8 = !decoded.contains(QChar::ReplacementCharacter);
        const QString name = (isUtf8 ? decoded : QString::fromLatin1(entry.name)).section('/', 1);
        for (int end = name.indexOf('/'); end >= 0; end = name.indexOf('/', end + 1))
            tree.insert(name.left(end + 1), {});
        if (!name.isEmpty() && !name.endsWith('/'))
            tree.insert(name, entry.permissions == link ? "what it leads to" : entry.content);
    }
    return tree;
}

} // namespace

class PublishInstallTest : public FolderTest
{
    Q_OBJECT

private slots:
    void faultyPackages_data()
    {
        // The entries, and whether it is a fault here.
        const Table<QList<StoredEntry>, bool> table;
        for (const Fault &fault : faults())
            table.row(fault.name, application() + fault.entries, isWindows() || !fault.isOfWindows);
        table.row("no executable", {entry("T/"), entry("T/Freshen.exe")}, true);
        table.row("nothing", {}, true);
    }
    void faultyPackages()
    {
        const auto [entries, isFault] = Table<QList<StoredEntry>, bool>::current();
        const Restorer codePage = useWesternCodePage();
        QVERIFY(!passes(entries));
        QVERIFY(!isFault || !isInstalled(entries));
    }

    /// Any of the harmless entries, and any two faults together, in any order.
    void randomPackages()
    {
        QRandomGenerator random(1);
        const QList<Fault> all = faults();
        const QList<StoredEntry> sound = soundEntries();
        int passed = 0;
        for (int round = 0; round < 200; ++round) {
            QList<StoredEntry> entries = application();
            for (const StoredEntry &entry : sound) {
                if (random.bounded(2) == 1)
                    entries.insert(static_cast<int>(random.bounded(entries.size() + 1)), entry);
            }
            for (int number = random.bounded(3); number > 0; --number)
                entries += all.at(random.bounded(all.size())).entries;
            if (passes(entries)) {
                ++passed;
                QVERIFY(isInstalled(entries));
            }
        }
        QVERIFY(passed > 50 && passed < 100);
    }

private:
    /// Whether the publishing tool passes the package.
    bool passes(const QList<StoredEntry> &entries)
    {
        writeFile(file("p.zip"), makePackage(entries));
        Report report(Format::Text, false, true, false);
        PackageCheckOptions options;
        options.scratchFolder = folder();
        const PackageCheck check = checkPackage(file("p.zip"), options, report);
        return check.failure.isEmpty() && report.verdict() == ExitCode::Clean;
    }
    /// Whether the updater installs the package as it is meant.
    bool isInstalled(const QList<StoredEntry> &entries)
    {
        const QString unpacked = file("out");
        QDir(unpacked).removeRecursively();
        QBuffer body;
        body.setData(makePackage(entries));
        if (!body.open(QIODevice::ReadOnly) || !storePackage(body, file("stored.zip")))
            return false;
        QDir().mkpath(unpacked);
        if (!extractPackage(file("stored.zip"), unpacked, {}).succeeded)
            return false;
        const QString source = unpacked + '/' + packageFolder(unpacked).value_or("none");
        const QString destination = QString(usualLongestPath, 'd');
        return QFileInfo(source).isDir() && Executables::in(source).existing().has_value() &&
               !copyObstacle(source, destination, {}, std::nullopt) && treeOf(source) == meant(entries);
    }

    const Restorer m_user = becomeOrdinaryUser();
};

QTEST_GUILESS_MAIN(PublishInstallTest)
#include "tst_publishinstall.moc"
