// The form: every widget with its name, type, place, settings and texts.

#include "kit/qt/windowtest.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QTextBlock>
#include <QTextEdit>
#include <QTreeWidget>
#include <QtTest>

using namespace freshen;

class MainWindowFormTest : public WindowTest
{
    Q_OBJECT

private slots:
    void objectsStandInTheirOrder_data();
    void objectsStandInTheirOrder();
    void formBelongsToTheWindow();
    void objectsHaveTheirTypeAndParent_data();
    void objectsHaveTheirTypeAndParent();
    void layoutsHaveTheirSpaces_data();
    void layoutsHaveTheirSpaces();
    void widgetsLieInTheirCells_data();
    void widgetsLieInTheirCells();
    void sizePoliciesAreSet_data();
    void sizePoliciesAreSet();
    void windowHasItsSize();
    void pagesAreInOrder();
    void versionInfoCannotBeEdited();
    void versionInfoStartsEmpty();
    void progressPageHasItsSettings();
    void diskIsShown();
    void textsAreSet_data();
    void textsAreSet();
    void screenReadersAreGivenNames_data();
    void screenReadersAreGivenNames();
    void headerKeepsItsCaptions_data();
    void headerKeepsItsCaptions();
};

namespace {

struct FormRow
{
    const char *name;
    const char *type;
    const char *parent;
};

/// In the order in which they are made.
constexpr FormRow form[] = {
    {"centralWidget", "QWidget", "MainWindow"},
    {"gridLayout", "QGridLayout", "centralWidget"},
    {"stackedWidget", "QStackedWidget", "centralWidget"},
    {"chooseUpdate", "QWidget", "stackedWidget"},
    {"gridLayout_3", "QGridLayout", "chooseUpdate"},
    {"versionsGroupBox", "QGroupBox", "chooseUpdate"},
    {"gridLayout_4", "QGridLayout", "versionsGroupBox"},
    {"versionsTreeWidget", "QTreeWidget", "versionsGroupBox"},
    {"showBetaCheckBox", "QCheckBox", "versionsGroupBox"},
    {"infoLabel", "QLabel", "versionsGroupBox"},
    {"versionInfo", "QTextEdit", "versionsGroupBox"},
    {"chooseLabel", "QLabel", "chooseUpdate"},
    {"button", "QPushButton", "chooseUpdate"},
    {"autoUpdate", "QWidget", "stackedWidget"},
    {"gridLayout_2", "QGridLayout", "autoUpdate"},
    {"label", "QLabel", "autoUpdate"},
    {"progressBar", "QProgressBar", "autoUpdate"},
    {"sizeLabel", "QLabel", "autoUpdate"},
    {"multiButton", "QPushButton", "autoUpdate"},
    {"label_2", "QLabel", "autoUpdate"},
};

void addRow(const char *name, const char *layout, const QRect &cells)
{
    QTest::newRow(name) << QString::fromLatin1(layout) << cells;
}

} // namespace

void MainWindowFormTest::objectsStandInTheirOrder_data()
{
    QTest::addColumn<QStringList>("expected");
    // The pages' own order is that of the stack: the current page has been raised above the other.
    for (const char *parent : {"centralWidget", "chooseUpdate", "versionsGroupBox", "autoUpdate"}) {
        QStringList children;
        for (const FormRow &row : form) {
            if (qstrcmp(row.parent, parent) == 0)
                children.append(QLatin1String(row.name));
        }
        QTest::newRow(parent) << children;
    }
}

void MainWindowFormTest::objectsStandInTheirOrder()
{
    QFETCH(QStringList, expected);
    const TestWindow window;
    QStringList found;
    for (const QObject *object : window.child<QWidget>(QTest::currentDataTag()).children()) {
        if (expected.contains(object->objectName()))
            found.append(object->objectName());
    }
    QCOMPARE(found, expected);
}

void MainWindowFormTest::formBelongsToTheWindow()
{
    const TestWindow window;
    QCOMPARE(window.objectName(), QStringLiteral("MainWindow"));
    QCOMPARE(window.centralWidget(), &window.child<QWidget>("centralWidget"));
}

void MainWindowFormTest::objectsHaveTheirTypeAndParent_data()
{
    QTest::addColumn<QByteArray>("type");
    QTest::addColumn<QString>("parent");
    for (const FormRow &row : form)
        QTest::newRow(row.name) << QByteArray(row.type) << QString::fromLatin1(row.parent);
}

void MainWindowFormTest::objectsHaveTheirTypeAndParent()
{
    QFETCH(QByteArray, type);
    QFETCH(QString, parent);
    const TestWindow window;
    const QList<QObject *> found = window.findChildren<QObject *>(QLatin1String(QTest::currentDataTag()));
    QCOMPARE(found.size(), 1);
    QCOMPARE(QByteArray(found.first()->metaObject()->className()), type);
    QCOMPARE(found.first()->parent()->objectName(), parent);
}

void MainWindowFormTest::layoutsHaveTheirSpaces_data()
{
    QTest::addColumn<int>("margin");
    QTest::newRow("gridLayout") << 11;
    QTest::newRow("gridLayout_2") << 0;
    QTest::newRow("gridLayout_3") << 0;
    QTest::newRow("gridLayout_4") << 11;
}

void MainWindowFormTest::layoutsHaveTheirSpaces()
{
    QFETCH(int, margin);
    const TestWindow window;
    const auto &layout = window.child<QGridLayout>(QTest::currentDataTag());
    QCOMPARE(layout.horizontalSpacing(), 6);
    QCOMPARE(layout.verticalSpacing(), 6);
    QCOMPARE(layout.contentsMargins(), QMargins(margin, margin, margin, margin));
    QCOMPARE(layout.parentWidget()->layout(), &layout);
}

void MainWindowFormTest::widgetsLieInTheirCells_data()
{
    QTest::addColumn<QString>("layout");
    // Column, row, columns and rows spanned.
    QTest::addColumn<QRect>("cells");
    addRow("stackedWidget", "gridLayout", {1, 1, 1, 1});
    addRow("versionsGroupBox", "gridLayout_3", {0, 0, 2, 1});
    addRow("versionsTreeWidget", "gridLayout_4", {0, 0, 1, 1});
    addRow("showBetaCheckBox", "gridLayout_4", {0, 1, 1, 1});
    addRow("infoLabel", "gridLayout_4", {0, 2, 1, 1});
    addRow("versionInfo", "gridLayout_4", {0, 3, 1, 1});
    addRow("chooseLabel", "gridLayout_3", {0, 1, 1, 1});
    addRow("button", "gridLayout_3", {1, 1, 1, 1});
    addRow("label", "gridLayout_2", {1, 0, 2, 1});
    addRow("progressBar", "gridLayout_2", {1, 1, 2, 2});
    addRow("sizeLabel", "gridLayout_2", {1, 4, 1, 1});
    addRow("multiButton", "gridLayout_2", {2, 4, 1, 1});
    addRow("label_2", "gridLayout_2", {0, 1, 1, 2});
}

void MainWindowFormTest::widgetsLieInTheirCells()
{
    QFETCH(QString, layout);
    const TestWindow window;
    const auto &grid = window.child<QGridLayout>(layout.toLatin1().constData());
    const int index = grid.indexOf(&window.child<QWidget>(QTest::currentDataTag()));
    QVERIFY(index >= 0);
    int row = -1;
    int column = -1;
    int rows = -1;
    int columns = -1;
    grid.getItemPosition(index, &row, &column, &rows, &columns);
    QTEST(QRect(column, row, columns, rows), "cells");
}

void MainWindowFormTest::sizePoliciesAreSet_data()
{
    QTest::addColumn<QSizePolicy::Policy>("policy");
    QTest::addColumn<int>("verticalStretch");
    QTest::newRow("versionsTreeWidget") << QSizePolicy::Expanding << 2;
    QTest::newRow("versionInfo") << QSizePolicy::Expanding << 1;
    QTest::newRow("button") << QSizePolicy::Fixed << 0;
    QTest::newRow("multiButton") << QSizePolicy::Fixed << 0;
}

void MainWindowFormTest::sizePoliciesAreSet()
{
    QFETCH(QSizePolicy::Policy, policy);
    QFETCH(int, verticalStretch);
    const TestWindow window;
    const QSizePolicy found = window.child<QWidget>(QTest::currentDataTag()).sizePolicy();
    QCOMPARE(found.horizontalPolicy(), policy);
    QCOMPARE(found.verticalPolicy(), policy);
    QCOMPARE(found.verticalStretch(), verticalStretch);
    QCOMPARE(found.horizontalStretch(), 0);
}

void MainWindowFormTest::windowHasItsSize()
{
    const TestWindow window;
    QCOMPARE(window.size(), QSize(410, 380));
    // Only the progress page fixes it.
    QCOMPARE(window.maximumSize(), QSize(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX));
}

void MainWindowFormTest::pagesAreInOrder()
{
    const TestWindow window;
    const QStackedWidget &pages = window.stackedWidget();
    QCOMPARE(pages.count(), 2);
    QCOMPARE(pages.currentIndex(), 0);
    QCOMPARE(pages.widget(0)->objectName(), QStringLiteral("chooseUpdate"));
    QCOMPARE(pages.widget(1)->objectName(), QStringLiteral("autoUpdate"));
}

void MainWindowFormTest::versionInfoCannotBeEdited()
{
    TestWindow window;
    window.show();
    QTextEdit &info = window.versionInfo();
    QVERIFY(info.isReadOnly());
    QVERIFY(!info.isUndoRedoEnabled());
    QTest::keyClicks(&info, QStringLiteral("typed"));
    QCOMPARE(info.toPlainText(), QString());
}

void MainWindowFormTest::versionInfoStartsEmpty()
{
    const TestWindow window;
    const QTextDocument *document = window.versionInfo().document();
    QCOMPARE(document->toPlainText(), QString());
    QCOMPARE(document->blockCount(), 1);
    const QFont font = document->firstBlock().charFormat().font();
    QCOMPARE(font.family(), QStringLiteral("MS Shell Dlg 2"));
    QCOMPARE(font.pointSizeF(), 8.25);
}

void MainWindowFormTest::progressPageHasItsSettings()
{
    const TestWindow window;
    QCOMPARE(window.label().minimumSize(), QSize(356, 20));
    QCOMPARE(window.label().maximumSize(), QSize(356, 20));
    // Texts of several lines show their first line.
    QVERIFY(window.label().alignment().testFlag(Qt::AlignTop));
    QCOMPARE(window.progressBar().value(), 0);
}

void MainWindowFormTest::diskIsShown()
{
    const TestWindow window;
    const auto &disk = window.child<QLabel>("label_2");
    QVERIFY(disk.pixmap(Qt::ReturnByValue).toImage() == QPixmap(QStringLiteral(":/disk")).toImage());
    QCOMPARE(disk.pixmap(Qt::ReturnByValue).size(), QSize(64, 64));
    QVERIFY(!disk.hasScaledContents());
}

void MainWindowFormTest::textsAreSet_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("property");
    QTest::addColumn<QString>("expected");
    const auto add = [](const char *name, const char *property, const char *english, const char *german) {
        for (const char *language : {"en", "de"}) {
            QTest::addRow("%s, %s", name, language)
                << language << name << property << QString::fromUtf8(qstrcmp(language, "de") == 0 ? german : english);
        }
    };
    add("chooseLabel", "text", "Please choose a version to download", "Bitte wählen Sie eine Version");
    add("button", "text", "Download", "Herunterladen");
    add("versionsGroupBox", "title", "Versions", "Versionen");
    add("showBetaCheckBox", "text", "Show Beta Versions", "Zeige Beta-Versionen");
    add("infoLabel", "text",
        "<html><head/><body><p><span style=\" font-weight:600;\">Version Info:</span></p></body></html>",
        "<html><head/><body><p><span style=\" font-weight:600;\">Versionsinfo:</span></p></body></html>");
    add("sizeLabel", "text", "", "");
    add("multiButton", "text", "Cancel", "Abbrechen");
    add("label_2", "text", "", "");
}

void MainWindowFormTest::textsAreSet()
{
    QFETCH(QString, language);
    QFETCH(QString, name);
    QFETCH(QString, property);
    const Catalogue catalogue(language);
    const TestWindow window;
    const auto &widget = window.child<QWidget>(name.toLatin1().constData());
    QTEST(widget.property(property.toLatin1().constData()).toString(), "expected");
}

void MainWindowFormTest::screenReadersAreGivenNames_data()
{
    QTest::addColumn<QString>("list");
    QTest::addColumn<QString>("information");
    QTest::addColumn<QString>("progress");
    QTest::newRow("en") << "Versions"
                        << "Version Info:"
                        << "No Version of Tavlopro found!";
    QTest::newRow("de") << "Versionen"
                        << "Versionsinfo:" << QStringLiteral("Keine ausführbare Version des Tavlopro gefunden!");
}

void MainWindowFormTest::screenReadersAreGivenNames()
{
    const Catalogue catalogue(QString::fromLatin1(QTest::currentDataTag()));
    const TestWindow window;
    QTEST(window.tree().accessibleName(), "list");
    QTEST(window.versionInfo().accessibleName(), "information");
    QCOMPARE(window.child<QLabel>("infoLabel").buddy(), &window.versionInfo());
    // What is going on.
    QTEST(window.progressBar().accessibleName(), "progress");
}

void MainWindowFormTest::headerKeepsItsCaptions_data()
{
    addLanguages();
}

void MainWindowFormTest::headerKeepsItsCaptions()
{
    QFETCH(QString, language);
    const Catalogue catalogue(language);
    const TestWindow window;
    const QTreeWidgetItem *header = window.tree().headerItem();
    QStringList captions;
    for (int i = 0; i < header->columnCount(); ++i)
        captions.append(header->text(i));
    QCOMPARE(captions, QStringList({QStringLiteral("SVN"), QStringLiteral("Version"), QStringLiteral("Typ"),
                                    QStringLiteral("Referenz"), QStringLiteral("Datum"), QStringLiteral("Info")}));
}

FRESHEN_WINDOW_TEST_MAIN(MainWindowFormTest)
#include "tst_mainwindow_form.moc"
