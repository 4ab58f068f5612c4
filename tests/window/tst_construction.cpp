// The window before anything is asked for: settings, fixed names, texts and form.

#include "kit/qt/windowtest.h"
#include "versions/applicationsettings.h"

#include <QMetaMethod>

using namespace freshen;

class ConstructionTest : public WindowTest
{
    Q_OBJECT

private slots:
    void logoIsAlwaysKept_data()
    {
        const Table<QVariantMap, QStringList> table;
        const QString key = "Updater/filesToKeep";
        table.row("no list", {}, {"logo.png"});
        table.row("case counts", {{key, QStringList{"b", "Logo.png"}}}, {"b", "Logo.png", "logo.png"});
        table.row("already there", {{key, QStringList{"logo.png", "a"}}}, {"logo.png", "a"});
        table.row("a single text", {{key, "a"}}, {"a", "logo.png"});
    }
    void logoIsAlwaysKept()
    {
        const auto [stored, kept] = Table<QVariantMap, QStringList>::current();
        writeSettings(stored);
        const TestWindow window;
        QCOMPARE(applicationSettings().value("Updater/filesToKeep").toStringList(), kept);
    }

    /// Connections are made by these texts, one of them misspelt.
    void slotsStandInTheirOrder()
    {
        const QMetaObject &meta = MainWindow::staticMetaObject;
        QStringList found;
        for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
            found.append(meta.method(i).methodSignature());
        const QString expected =
            "authenticateProxy(QNetworkProxy,QAuthenticator*) getVersion(QNetworkReply*) getVersions(QNetworkReply*) "
            "readAndUnzipDownload(QNetworkReply*) precheckTimer() installUpdate() startTavlo() downloadVersion() "
            "downloadProgress(qlonglong,qlonglong) processError(QProcess::ProcessError) betaCheckBoxBlicked() "
            "abortDownload() currentItemChanged(QTreeWidgetItem*,QTreeWidgetItem*) itemActivated(QTreeWidgetItem*,int)";
        QCOMPARE(found.join(' '), expected);
    }

    void propertiesAreSet_data()
    {
        const Table<QByteArray, QVariant> table;
        table.row("versionsGroupBox", "title", "*Versions");
        table.row("versionsTreeWidget", "accessibleName", "*Versions");
        table.row("showBetaCheckBox", "text", "*Show Beta Versions");
        table.row("infoLabel", "text",
                  "*<html><head/><body><p><span style=\" font-weight:600;\">Version Info:</span></p></body></html>");
        // The mark is a paragraph of its own.
        table.row("versionInfo", "accessibleName", "*\nVersion Info:");
        table.row("versionInfo", "readOnly", true);
        table.row("chooseLabel", "text", "*Please choose a version to download");
        table.row("button", "text", "*Download");
        for (const char *property : {"text", "toolTip"})
            table.row("label", property, "*No Version of Tavlopro found!");
        // The label shows one line, of a longer text the first.
        for (const char *property : {"minimumSize", "maximumSize"})
            table.row("label", property, QSize(356, 20));
        table.row("label", "alignment", int(Qt::AlignLeading | Qt::AlignLeft | Qt::AlignTop));
        table.row("progressBar", "accessibleName", "*No Version of Tavlopro found!");
        table.row("progressBar", "value", 0);
        table.row("sizeLabel", "text", "");
        table.row("multiButton", "text", "*Cancel");
    }
    void propertiesAreSet()
    {
        const auto [property, value] = Table<QByteArray, QVariant>::current();
        QCOMPARE(TestWindow().child(QTest::currentDataTag()).property(property), value);
    }

    void titleStatusAndPicture()
    {
        writeSettings({{"version_main", "26"}});
        const TestWindow window;
        QCOMPARE(window.windowTitle(), "Tavlopro Updater - Version 96");
        QCOMPARE(window.label.text(), "Checking for Tavlopro Software Update...");
        QCOMPARE(window.child<QLabel>("label_2").pixmap(Qt::ReturnByValue).size(), QSize(64, 64));
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
};

FRESHEN_WINDOW_TEST_MAIN(ConstructionTest)
#include "tst_construction.moc"
