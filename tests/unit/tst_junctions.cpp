// Folders that are one and the same although no link can be seen, as behind junctions. This program says which they
// are.

#include "install/cleaning.h"
#include "install/folderidentity.h"
#include "kit/qt/files.h"
#include "kit/qt/messagecatcher.h"

#include <QtTest>

using namespace freshen;

namespace {

/// This folder is the other one.
QString junction;
QString target;

} // namespace

/// Takes the place of the program's when it is linked.
QByteArray freshen::folderIdentity(const QString &path)
{
    return (path == junction ? target : path).toUtf8();
}

class JunctionsTest : public QObject
{
    Q_OBJECT

private slots:
    void folderThatLeadsBackIsNotEntered();
};

/// Within it, the files to keep would be taken for others.
void JunctionsTest::folderThatLeadsBackIsNotEntered()
{
    const QTemporaryDir folder;
    target = folder.path();
    junction = target + "/lib/back";
    writeFile(target + "/settings.ini", "kept");
    writeFile(target + "/old", "1234567890");
    writeFile(target + "/lib/old", "12345");
    writeFile(junction + "/settings.ini", "kept");
    QCOMPARE(cleanableBytes(target, {"settings.ini"}, 1), qint64(15));

    const MessageCatcher catcher;
    cleanFolder(target, false, {"settings.ini"});
    QCOMPARE(QStringList(treeOf(target).keys()),
             (QStringList{"lib/", "lib/back/", "lib/back/settings.ini", "settings.ini"}));
    QCOMPARE(catcher.warnings().value(0), "Leads back to " + logged(QDir(junction).canonicalPath()));
}

QTEST_GUILESS_MAIN(JunctionsTest)
#include "tst_junctions.moc"
