// Tells a test what a Qt program shows. A plug-in of the kind that Qt loads by name from the environment
// (QT_QPA_GENERIC_PLUGINS=windowreader) out of a folder "generic", so the program itself stays as it is. Several times
// a second it writes what the program's windows show into the folder that WINDOW_REPORTS names, in a file of its own.
// WINDOW_READER_LOADS: the name of a library that it loads at its start, by this bare name.

#include <QAbstractButton>
#include <QApplication>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QGenericPlugin>
#include <QGroupBox>
#include <QHeaderView>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLibrary>
#include <QProgressBar>
#include <QSaveFile>
#include <QTextEdit>
#include <QTimer>
#include <QTreeWidget>

namespace {

constexpr int reportInterval = 100;

void addTree(QJsonObject &object, const QTreeWidget &tree)
{
    QJsonArray rows;
    for (int row = 0; row < tree.topLevelItemCount(); ++row) {
        QJsonArray texts;
        for (int column = 0; column < tree.columnCount(); ++column) {
            if (!tree.isColumnHidden(column))
                texts.append(tree.topLevelItem(row)->text(column));
        }
        rows.append(texts);
    }
    object["rows"] = rows;
    object["current"] = tree.indexOfTopLevelItem(tree.currentItem());
}

/// Adds what is special about a kind of widget. "is_cut" says that the widget is too small for its text.
void addContents(QJsonObject &object, const QWidget &widget)
{
    const bool isNarrow = widget.width() < widget.sizeHint().width();
    if (const auto *label = qobject_cast<const QLabel *>(&widget)) {
        const bool isLow = widget.height() < label->heightForWidth(widget.width());
        object["text"] = label->text();
        object["is_cut"] = label->wordWrap() ? isLow : isNarrow;
    } else if (const auto *button = qobject_cast<const QAbstractButton *>(&widget)) {
        // Without the mark of its key.
        object["text"] = button->text().remove('&');
        object["is_cut"] = isNarrow;
    } else if (const auto *group = qobject_cast<const QGroupBox *>(&widget)) {
        object["text"] = group->title();
    } else if (const auto *bar = qobject_cast<const QProgressBar *>(&widget)) {
        object["value"] = bar->value();
        object["maximum"] = bar->maximum();
    } else if (const auto *edit = qobject_cast<const QTextEdit *>(&widget)) {
        object["text"] = edit->toPlainText();
    } else if (const auto *tree = qobject_cast<const QTreeWidget *>(&widget)) {
        addTree(object, *tree);
    }
}

QJsonObject described(const QWidget &widget)
{
    // In pixels of the screen.
    const qreal scale = widget.devicePixelRatioF();
    const QRect place(widget.mapToGlobal(QPoint(0, 0)) * scale, widget.size() * scale);
    QJsonObject object{{"type", widget.metaObject()->className()},
                       {"name", widget.objectName()},
                       {"text", ""},
                       {"is_cut", false},
                       {"is_enabled", widget.isEnabled()},
                       {"takes_keys", (widget.focusPolicy() & Qt::TabFocus) != 0},
                       {"has_focus", widget.hasFocus()},
                       {"rectangle", QJsonArray{place.x(), place.y(), place.width(), place.height()}}};
    addContents(object, widget);
    // What a screen reader calls it.
    object["label"] = widget.accessibleName().isEmpty() ? object["text"].toString() : widget.accessibleName();
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

void report(const QString &path)
{
    QJsonArray windows;
    for (const QWidget *window : QApplication::topLevelWidgets()) {
        if (window->isVisible() && window->windowType() != Qt::ToolTip)
            windows.append(describedWindow(*window));
    }
    QSaveFile file(path);
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
        QLibrary(qEnvironmentVariable("WINDOW_READER_LOADS")).load();
        // In a process list of its own, one number comes again and again.
        const QString path = QStringLiteral("%1/%2-%3.json")
                                 .arg(qEnvironmentVariable("WINDOW_REPORTS"),
                                      QFileInfo(QCoreApplication::applicationFilePath()).completeBaseName())
                                 .arg(QDateTime::currentMSecsSinceEpoch());
        auto *timer = new QTimer(this);
        connect(timer, &QTimer::timeout, this, [path] { report(path); });
        timer->start(reportInterval);
        return timer;
    }
};

#include "windowreader.moc"
