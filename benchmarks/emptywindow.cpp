// The least that a program with a window and a request can be: what the updater's start is compared with.
//
//     emptywindow ADDRESS           shows a window without anything in it, and asks for ADDRESS
//     emptywindow ADDRESS --form    the same with the form of the updater's window, and nothing behind it

#include "ui_mainwindow.h"

#include <QApplication>
#include <QMainWindow>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTimer>

int main(int argc, char *argv[])
{
    const QApplication application(argc, argv);
    QNetworkAccessManager manager;
    QMainWindow window;
    if (QCoreApplication::arguments().value(2) == QLatin1String("--form")) {
        Ui::MainWindow form;
        form.setupUi(&window);
    }
    const QUrl address(QCoreApplication::arguments().value(1));
    QTimer::singleShot(0, &manager, [&manager, &address] { manager.get(QNetworkRequest(address)); });
    window.show();
    return QApplication::exec();
}
