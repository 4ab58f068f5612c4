// The least that a program with a window and a request can be: what the updater's start is compared with.

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
    const QUrl address(QCoreApplication::arguments().value(1));
    QTimer::singleShot(0, &manager, [&manager, &address] { manager.get(QNetworkRequest(address)); });
    window.show();
    return QApplication::exec();
}
