// Linked with the program's own main(): as soon as the window is shown, tells on standard output how it looks, one
// "name: value" a line, and ends the process. What a window shows cannot be seen from outside without a display.

#include <QAbstractButton>
#include <QCoreApplication>
#include <QDialogButtonBox>
#include <QEvent>
#include <QGroupBox>
#include <QMainWindow>
#include <QTextStream>

#include <cstdlib>

class WindowWatcher : public QObject
{
public:
    using QObject::QObject;

    bool eventFilter(QObject *object, QEvent *event) override
    {
        const auto *window = qobject_cast<const QMainWindow *>(object);
        if (window == nullptr || event->type() != QEvent::Show)
            return false;
        const QDialogButtonBox buttons(QDialogButtonBox::Cancel);
        QTextStream(stdout) << "fixed size: " << window->windowFlags().testFlag(Qt::MSWindowsFixedSizeDialogHint)
                            << "\nscale: " << window->devicePixelRatioF()
                            << "\nsharp pictures: " << QCoreApplication::testAttribute(Qt::AA_UseHighDpiPixmaps)
                            << "\ntexts: " << window->findChild<const QGroupBox *>()->title() << ", "
                            << buttons.buttons().first()->text() << '\n';
        std::_Exit(EXIT_SUCCESS);
    }
};

static void watch()
{
    qApp->installEventFilter(new WindowWatcher(qApp));
}
Q_COREAPP_STARTUP_FUNCTION(watch)
