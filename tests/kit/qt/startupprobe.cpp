// Linked with the program's own main(): tells on standard output what the window looks like once it is shown, one
// "name: value" a line, and quits. What a window shows cannot be seen from outside without a display.

#include <QApplication>
#include <QDialogButtonBox>
#include <QGroupBox>
#include <QMainWindow>
#include <QPushButton>
#include <QTimer>
#include <QTranslator>

#include <cstdio>

namespace {

void tell(const char *name, const QString &value)
{
    static_cast<void>(std::printf("%s: %s\n", name, value.toUtf8().constData()));
}

void tellAbout(const QMainWindow &window)
{
    tell("title", window.windowTitle());
    tell("fixed size hint", QVariant(window.windowFlags().testFlag(Qt::MSWindowsFixedSizeDialogHint)).toString());
    tell("scale", QString::number(window.devicePixelRatioF()));
    tell("sharp pictures", QVariant(QCoreApplication::testAttribute(Qt::AA_UseHighDpiPixmaps)).toString());
    tell("group", window.findChild<QGroupBox *>()->title());
    tell("button", QDialogButtonBox(QDialogButtonBox::Cancel).button(QDialogButtonBox::Cancel)->text());
    tell("organization", QCoreApplication::organizationName());
    tell("application", QCoreApplication::applicationName());
    static_cast<void>(std::fflush(stdout));
}

void lookForTheWindow()
{
    constexpr int interval = 10;
    auto *timer = new QTimer(qApp);
    QObject::connect(timer, &QTimer::timeout, [timer] {
        for (const QWidget *widget : QApplication::topLevelWidgets()) {
            const auto *window = qobject_cast<const QMainWindow *>(widget);
            if (window != nullptr && window->isVisible()) {
                timer->stop();
                tellAbout(*window);
                QCoreApplication::quit();
            }
        }
    });
    timer->start(interval);
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(lookForTheWindow)
