// Eyes on the widgets of a Qt program where no screen reader can look. A plug-in of the kind that Qt loads by name from
// the environment (QT_QPA_GENERIC_PLUGINS=windowreader) out of the folder "generic" beside the program, so the program
// itself stays as it is. Several times a second it writes what the program's windows show into the folder that
// WINDOW_REPORTS names, as <program>-<process id>.json.
// WINDOW_READER_LOADS: the name of a library that it loads at its start, by this bare name.

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QGenericPlugin>
#include <QGroupBox>
#include <QHeaderView>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QProgressBar>
#include <QSaveFile>
#include <QScreen>
#include <QTextEdit>
#include <QTimer>
#include <QTreeWidget>

#include <windows.h>

namespace {

constexpr int reportInterval = 100;

QJsonObject treeContents(const QTreeWidget &tree)
{
    const auto textsOf = [&tree](const QTreeWidgetItem *item) {
        QJsonArray texts;
        for (int column = 0; column < tree.columnCount(); ++column) {
            if (!tree.isColumnHidden(column))
                texts.append(item->text(column));
        }
        return texts;
    };
    QJsonArray rows;
    for (int row = 0; row < tree.topLevelItemCount(); ++row)
        rows.append(textsOf(tree.topLevelItem(row)));
    return {{"columns", textsOf(tree.headerItem())},
            {"rows", rows},
            {"current", tree.indexOfTopLevelItem(tree.currentItem())}};
}

/// What is special about a kind of widget. "cut" says that the widget is too small for its text.
QJsonObject contents(const QWidget &widget)
{
    const bool isNarrow = widget.width() < widget.sizeHint().width();
    if (const auto *label = qobject_cast<const QLabel *>(&widget)) {
        const bool isLow = widget.height() < label->heightForWidth(widget.width());
        return {{"text", label->text()}, {"cut", label->wordWrap() ? isLow : isNarrow}};
    }
    if (const auto *button = qobject_cast<const QAbstractButton *>(&widget))
        return {{"text", button->text()}, {"checked", button->isChecked()}, {"cut", isNarrow}};
    if (const auto *group = qobject_cast<const QGroupBox *>(&widget))
        return {{"text", group->title()}};
    if (const auto *bar = qobject_cast<const QProgressBar *>(&widget))
        return {{"value", bar->value()}, {"maximum", bar->maximum()}};
    if (const auto *edit = qobject_cast<const QTextEdit *>(&widget))
        return {{"text", edit->toPlainText()}};
    if (const auto *tree = qobject_cast<const QTreeWidget *>(&widget))
        return treeContents(*tree);
    return {};
}

QJsonObject described(const QWidget &widget)
{
    QJsonObject object = contents(widget);
    object["class"] = widget.metaObject()->className();
    object["name"] = widget.objectName();
    object["enabled"] = widget.isEnabled();
    const QPoint corner = widget.mapToGlobal(QPoint(0, 0));
    object["rectangle"] = QJsonArray{corner.x(), corner.y(), widget.width(), widget.height()};
    return object;
}

QJsonObject describedWindow(const QWidget &window)
{
    QJsonArray widgets;
    for (const QWidget *widget : window.findChildren<QWidget *>()) {
        if (widget->isVisible() && widget->window() == &window)
            widgets.append(described(*widget));
    }
    QJsonObject object = described(window);
    object["title"] = window.windowTitle();
    object["scale"] = window.devicePixelRatioF();
    object["widgets"] = widgets;
    return object;
}

void report()
{
    QJsonArray windows;
    for (const QWidget *window : QApplication::topLevelWidgets()) {
        if (window->isVisible() && window->windowType() != Qt::ToolTip)
            windows.append(describedWindow(*window));
    }
    const QString name = QStringLiteral("%1-%2.json")
                             .arg(QFileInfo(QCoreApplication::applicationFilePath()).completeBaseName())
                             .arg(QCoreApplication::applicationPid());
    QSaveFile file(QDir(qEnvironmentVariable("WINDOW_REPORTS")).filePath(name));
    if (file.open(QIODevice::WriteOnly)) {
        file.write(QJsonDocument(windows).toJson());
        file.commit();
    }
}

} // namespace

class WindowReader : public QGenericPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QGenericPluginFactoryInterface_iid FILE "windowreader.json")

public:
    QObject *create(const QString &key, const QString &parameters) override
    {
        Q_UNUSED(key)
        Q_UNUSED(parameters)
        if (const wchar_t *library = _wgetenv(L"WINDOW_READER_LOADS"))
            LoadLibraryW(library);
        auto *timer = new QTimer(this);
        connect(timer, &QTimer::timeout, this, report);
        timer->start(reportInterval);
        return timer;
    }
};

#include "windowreader.moc"
