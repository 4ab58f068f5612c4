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

    /// Connections name the slots by these texts, a misspelt one among them.
    void slotsAreInTheirOrder()
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
        table.row("versionsTreeWidget", "accessibleName", "*Versions");
        // The asterisk is a paragraph of its own.
        table.row("versionInfo", "accessibleName", "*\nVersion Info:");
        table.row("versionInfo", "readOnly", true);
        table.row("chooseLabel", "text", "*Please choose a version to download");
        for (const char *property : {"text", "toolTip"})
            table.row("label", property, "*No Version of Tavlopro found!");
        // The label is one line high: of a longer text it shows the first.
        for (const char *property : {"minimumSize", "maximumSize"})
            table.row("label", property, QSize(356, 20));
        table.row("label", "alignment", int(Qt::AlignLeading | Qt::AlignLeft | Qt::AlignTop));
        table.row("progressBar", "accessibleName", "*No Version of Tavlopro found!");
    }
    void propertiesAreSet()
    {
        const auto [property, value] = Table<QByteArray, QVariant>::current();
        QCOMPARE(TestWindow().child(QTest::currentDataTag()).property(property), value);
    }

    void titleStatusAndLabels()
    {
        writeSettings({{"version_main", "26"}});
        const TestWindow window;
        QCOMPARE(window.windowTitle(), "Tavlopro Updater - Version 96");
        QCOMPARE(window.label.text(), "Checking for Tavlopro Software Update...");
        QCOMPARE(window.child<QLabel>("label_2").pixmap(Qt::ReturnByValue).size(), QSize(64, 64));
        QCOMPARE(window.child<QLabel>("infoLabel").buddy(), &window.versionInfo);
    }

    void listAndInfoGrowWithTheWindow()
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
