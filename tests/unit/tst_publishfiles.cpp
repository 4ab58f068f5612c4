// Files that are published as a whole or not at all.

#include "kit/qt/foldertest.h"
#include "kit/qt/table.h"
#include "publish/upload.h"
#include "publish/wholefile.h"

using namespace freshen::publish;

namespace {

const QString indexPath = "update/Tavlopc/VERSIONS/windows.txt";
const QString packages = "update/Tavlopc/windows/Tavlopc";
const QString beta = packages + "1.2.2000BETA.zip";
const QString betaAsStable = packages + "1.2.2000STABLE.zip";
const QString stable = packages + "1.2.7200STABLE.zip";
const QString extended = packages + "1.2.7200STABLEWIN7X64.zip";

} // namespace

class PublishFilesTest : public FolderTest
{
    Q_OBJECT

private slots:
    void aFileIsWrittenOrReplaced_data()
    {
        const Table<QString, QByteArray> table;
        table.row("new", "file", "content");
        table.row("in a new folder", "one/two/file", "content");
        table.row("in the place of another, longer one", "old", "new");
        table.row("empty", "old", "");
        table.row("several pieces", "old", QByteArray(3 * 1024 * 1024 + 1, 'x'));
    }
    void aFileIsWrittenOrReplaced()
    {
        const auto [name, content] = Table<QString, QByteArray>::current();
        writeFile(file("old"), "older and longer");
        writeFile(file("source"), content);
        QCOMPARE(writeWholeFile(file("target/" + name), content), QString());
        qint64 done = 0;
        QCOMPARE(copyWholeFile(file("source"), file(name), [&done](qint64 bytes) { done = bytes; }), QString());
        QCOMPARE(readFile(file("target/" + name)), content);
        QCOMPARE(readFile(file(name)), content);
        QCOMPARE(done, content.size());
        QVERIFY(haveSameContent(file(name), file("source")));
        // Nothing is left that had another name meanwhile.
        QCOMPARE(treeOf(folder()).keys().filter(QRegularExpression("(file|old)[^/]")), QStringList());
    }

    void aFailureLeavesWhatWasThere_data()
    {
        const Table<QString, QString> table;
        table.row("no source", "missing", "old");
        table.row("the source is a folder", "folder", "old");
        table.row("the target is a folder", "source", "folder");
        table.row("a file in the place of the target's folder", "source", "old/file");
    }
    void aFailureLeavesWhatWasThere()
    {
        const auto [source, target] = Table<QString, QString>::current();
        writeFile(file("source"), "new");
        writeFile(file("old"), "old");
        QVERIFY(QDir().mkdir(file("folder")));
        const auto before = treeOf(folder());
        const QString reason = copyWholeFile(file(source), file(target));
        const QString named = source == "source" ? target : source;
        QVERIFY2(reason.startsWith(QDir::toNativeSeparators(file(named)) + ": "), qPrintable(reason));
        if (source == "source")
            QVERIFY(!writeWholeFile(file(target), "new").isEmpty());
        // It can be opened, but not read.
        if (!isWindows())
            QVERIFY(!copyWholeFile("/proc/self/mem", file("old")).isEmpty());
        QCOMPARE(treeOf(folder()), before);
    }

    void leftoversOfKilledWritersAreRemoved()
    {
        const QStringList others = {"a.zip",         "a.zip.BACKUP", "a.zip.Former", "a.zip.abcd12", "a.zip.abcdE",
                                    "a.zip.abcdefG", "a.zip.latest", "a_zip.abcdeF", "ba.zip.abcdeF"};
        for (const QString &name : others + QStringList{"a.zip.abcdEF", "a.zip.ZYXwvu"})
            writeFile(file(name), "x");
        QCOMPARE(writeWholeFile(file("a.zip"), "new"), "");
        QCOMPARE(treeOf(folder()).keys(), others);
    }

    void whatIsMissingIsUploaded_data()
    {
        using Files = QMap<QString, QByteArray>;
        const Table<Files, QStringList> table;
        const Files all = {{betaAsStable, "s"}, {stable, "t"}, {extended, "u"}, {indexPath, "index"}};
        const auto with = [&all](const QString &path, const QByteArray &content) {
            Files files = all;
            files[path] = content;
            return files;
        };
        table.row("nothing is there", {}, {betaAsStable, stable, extended, indexPath});
        table.row("all is there", all, {});
        table.row("another index", with(indexPath, "old"), {"!" + indexPath});
        table.row("another package", with(stable, "T"), {"!" + stable});
        table.row("half a package", with(extended, ""), {"!" + extended});
        table.row("more than is listed", with(packages + "1.2.6000STABLE.zip", "old"), {});
    }
    void whatIsMissingIsUploaded()
    {
        const auto [there, uploads] = Table<QMap<QString, QByteArray>, QStringList>::current();
        const DocumentRoot root{file("root"), "VERSIONS"};
        // The last two name no package in the folder of the packages.
        const QByteArray text = "1.2.7200|Stable|||\n1.2.2000|Beta|||\n1/2.2.7300|Stable|||\n1.2.x|Stable|||\n";
        for (const QString &path : {betaAsStable, stable, extended, beta, packages + "1/2.2.7300STABLE.zip"})
            writeFile(file("root/" + path), path == betaAsStable ? "s" : path == stable ? "t" : "u");
        Index index = parseIndex(text);
        // What was read counts, whatever is in the file by now.
        writeFile(root.indexFile(), "changed meanwhile");
        for (auto entry = there.begin(); entry != there.end(); ++entry)
            writeFile(file("target/" + entry.key()),
                      entry.key() == indexPath && entry.value() == "index" ? text : entry.value());
        QStringList seen;
        qint64 compared = 0;
        for (const Upload &upload :
             missingUploads(root, index, {file("target"), "VERSIONS"}, [&compared](qint64 bytes) { compared = bytes; }))
            seen.append((upload.replaces ? "!" : "") + upload.path);
        QCOMPARE(seen, uploads);
        // Each package has one byte.
        QVERIFY(!uploads.isEmpty() || compared == 3);
        QCOMPARE(uploadOrder(root, index), (QStringList{betaAsStable, stable, extended, indexPath}));
    }

    void whatNoFolderHasIsMissing()
    {
        const DocumentRoot root{file("root"), "VERSIONS"};
        const QByteArray text = "1.2.7200|Stable|||\n1.2.2000|Beta|||\n1.2.x|Stable|||\n1.2.7300|Stable|||\n"
                                "1/2.2.7400|Stable|||\n";
        for (const QString &path :
             {"root/" + stable, "target/" + betaAsStable, "root/" + packages + "1/2.2.7400STABLE.zip"})
            writeFile(file(path), "");
        QStringList seen;
        for (const Finding &finding : checkUploads(root, parseIndex(text), {file("target"), "VERSIONS"}))
            seen.append(QString("%1:%2").arg(finding.kind.id).arg(finding.line));
        QCOMPARE(seen, QStringList({"missing-package:4", "missing-package:5"}));
    }

    void contentsAreCompared_data()
    {
        const Table<QByteArray, QByteArray, bool> table;
        const QByteArray large(1024 * 1024, 'x');
        table.row("the same", large + "a", large + "a", true);
        table.row("both empty", "", "", true);
        table.row("the last byte", large + "a", large + "b", false);
        table.row("longer", large, large + "b", false);
        table.row("one is missing", "", QByteArray(), false);
    }
    void contentsAreCompared()
    {
        const auto [first, second, areSame] = Table<QByteArray, QByteArray, bool>::current();
        writeFile(file("first"), first);
        if (!second.isNull())
            writeFile(file("second"), second);
        QCOMPARE(haveSameContent(file("first"), file("second")), areSame);
        QCOMPARE(haveSameContent(file("second"), file("first")), areSame);
    }
};

QTEST_GUILESS_MAIN(PublishFilesTest)
#include "tst_publishfiles.moc"
