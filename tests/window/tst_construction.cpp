// The window before anything is asked for: settings, fixed names, texts and form.

#include "kit/qt/platform.h"
#include "kit/qt/windowtest.h"
#include "versions/applicationsettings.h"

#include <QDir>
#include <QMetaMethod>

using namespace freshen;

class ConstructionTest : public WindowTest
{
    Q_OBJECT

private slots:
    void settingsAreRead_data()
    {
        // The version, whether betas are wanted and so marked, and whether package names are extended.
        const Table<QVariantMap, QVariantList> table;
        table.row("nothing", {}, {"", "", "", false, false, false});
        table.row("version", {{"version_main", "26"}, {"version_minor", "05"}, {"version_state", "RC"}},
                  {"26", "05", "RC", false, false, false});
        table.row("beta", {{"LoginWindow/useBeta", true}}, {"", "", "", true, true, false});
        table.row("no beta as text", {{"LoginWindow/useBeta", "false"}}, {"", "", "", false, false, false});
        table.row("extended names", {{"extendedNaming", true}}, {"", "", "", false, false, true});
    }
    void settingsAreRead()
    {
        const auto [stored, members] = Table<QVariantMap, QVariantList>::current();
        for (auto it = stored.cbegin(); it != stored.cend(); ++it)
            writeSetting(it.key().toLatin1(), it.value());
        const TestWindow window;
        const QVariantList read = {window.version_main, window.version_minor,        window.version_state,
                                   window.useBeta,      window.showBeta.isChecked(), window.extendedNaming};
        QCOMPARE(read, members);
    }

    void logoIsAlwaysKept_data()
    {
        const Table<QVariant, QStringList> table;
        table.row("no list", {}, {"logo.png"});
        table.row("case counts", QStringList{"b", "Logo.png"}, {"b", "Logo.png", "logo.png"});
        table.row("already there", QStringList{"logo.png", "a"}, {"logo.png", "a"});
        table.row("a single text", "a", {"a", "logo.png"});
    }
    void logoIsAlwaysKept()
    {
        const auto [stored, kept] = Table<QVariant, QStringList>::current();
        if (stored.isValid())
            writeSetting("Updater/filesToKeep", stored);
        const TestWindow window;
        QCOMPARE(readSetting("Updater/filesToKeep").toStringList(), kept);
    }

    void listThatCannotBeWrittenIsLogged()
    {
        if (isWindows())
            QSKIP("The settings are no file here.");
        const QString file = applicationSettings().fileName();
        const QString folder = QFileInfo(file).path();
        const QFile::Permissions before = QFile::permissions(folder);
        QVERIFY(QFile::setPermissions(folder, QFile::ReadOwner | QFile::ExeOwner));
        {
            const OrdinaryUser user;
            const TestWindow window;
        }
        QFile::setPermissions(folder, before);
        QCOMPARE(warnings(),
                 QStringList{"Cannot write Updater/filesToKeep to \"" + file + "\" - QSettings::AccessError"});
    }

    /// Connections are made by these texts, one of them misspelt.
    void slotsStandInTheirOrder()
    {
        const QMetaObject &meta = MainWindow::staticMetaObject;
        QStringList found;
        for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
            found.append(meta.method(i).methodSignature());
        const QStringList expected = {"authenticateProxy(QNetworkProxy,QAuthenticator*)",
                                      "getVersion(QNetworkReply*)",
                                      "getVersions(QNetworkReply*)",
                                      "readAndUnzipDownload(QNetworkReply*)",
                                      "precheckTimer()",
                                      "installUpdate()",
                                      "startTavlo()",
                                      "downloadVersion()",
                                      "downloadProgress(qlonglong,qlonglong)",
                                      "processError(QProcess::ProcessError)",
                                      "betaCheckBoxBlicked()",
                                      "abortDownload()",
                                      "currentItemChanged(QTreeWidgetItem*,QTreeWidgetItem*)",
                                      "itemActivated(QTreeWidgetItem*,int)"};
        QCOMPARE(found, expected);
    }

    void textsAreShown_data()
    {
        const Table<QByteArray, QString> table;
        table.row("versionsGroupBox", "title", "*Versions");
        table.row("versionsTreeWidget", "accessibleName", "*Versions");
        table.row("showBetaCheckBox", "text", "*Show Beta Versions");
        table.row("infoLabel", "text",
                  "*<html><head/><body><p><span style=\" font-weight:600;\">Version Info:</span></p></body></html>");
        // The mark is a paragraph of its own.
        table.row("versionInfo", "accessibleName", "*\nVersion Info:");
        table.row("chooseLabel", "text", "*Please choose a version to download");
        table.row("button", "text", "*Download");
        for (const char *property : {"text", "toolTip"})
            table.row("label", property, "*No Version of Tavlopro found!");
        table.row("progressBar", "accessibleName", "*No Version of Tavlopro found!");
        table.row("sizeLabel", "text", "");
        table.row("multiButton", "text", "*Cancel");
    }
    void textsAreShown()
    {
        const auto [property, text] = Table<QByteArray, QString>::current();
        QCOMPARE(TestWindow().child(QTest::currentDataTag()).property(property).toString(), text);
    }

    void titleAndFirstStatusAreNotTranslated()
    {
        writeSetting("version_main", "26");
        const TestWindow window;
        QCOMPARE(window.windowTitle(), "Tavlopro Updater - Version 96");
        QCOMPARE(window.label.text(), "Checking for Tavlopro Software Update...");
    }

    void keyboardFollowsTheEye()
    {
        const TestWindow window;
        QStringList names;
        for (QWidget *next = window.nextInFocusChain(); next != &window; next = next->nextInFocusChain()) {
            if ((next->focusPolicy() & Qt::TabFocus) != 0 && !next->objectName().startsWith("qt_"))
                names.append(next->objectName());
        }
        const QStringList order = {"versionsTreeWidget", "showBetaCheckBox", "versionInfo", "button", "multiButton"};
        QCOMPARE(names, order);
        QCOMPARE(window.child<QLabel>("infoLabel").buddy(), &window.versionInfo);
    }

    void roomGoesToTheListAndTheInfo()
    {
        TestWindow window;
        QCOMPARE(window.size(), QSize(410, 380));
        window.show();
        const QSize list = window.tree.size();
        const QSize info = window.versionInfo.size();
        const QSize button = window.button.size();
        window.resize(window.size() + QSize(100, 300));
        QTRY_COMPARE(window.tree.width(), list.width() + 100);
        QCOMPARE(window.versionInfo.width(), info.width() + 100);
        QCOMPARE(window.tree.height() + window.versionInfo.height(), list.height() + info.height() + 300);
        QVERIFY(qAbs(window.tree.height() - 2 * window.versionInfo.height()) <= 2);
        QCOMPARE(window.button.size(), button);
    }

    void infoCannotBeEdited()
    {
        TestWindow window;
        window.show();
        QTest::keyClicks(&window.versionInfo, "typed");
        QCOMPARE(window.versionInfo.toPlainText(), "");
    }

    void progressPageShowsOneLineAndTheDisk()
    {
        const TestWindow window;
        QCOMPARE(window.label.minimumSize(), QSize(356, 20));
        QCOMPARE(window.label.maximumSize(), QSize(356, 20));
        // Of a longer text that is the first line.
        QVERIFY(window.label.alignment().testFlag(Qt::AlignTop));
        QCOMPARE(window.progressBar.value(), 0);
        QCOMPARE(window.child<QLabel>("label_2").pixmap(Qt::ReturnByValue).size(), QSize(64, 64));
    }
};

FRESHEN_WINDOW_TEST_MAIN(ConstructionTest)
#include "tst_construction.moc"
