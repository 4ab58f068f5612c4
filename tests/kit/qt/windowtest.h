#pragma once

#include "kit/qt/dialogdriver.h"
#include "kit/qt/foldertest.h"
#include "kit/qt/httpserver.h"
#include "kit/qt/settings.h"
#include "ui/mainwindow.h"

#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QTextEdit>
#include <QTranslator>
#include <QTreeWidget>

#include <functional>
#include <memory>
#include <optional>

/// The system as the window sees it. The test programs' own listRunningProcesses() and startElevated() take the place
/// of the program's when they are linked.
struct FakeSystem
{
    QStringList processes;
    bool isListReadable = true;
    /// How often the list was read.
    int rounds = 0;
    /// What startElevated() answers.
    int elevatedResult = 42;
    /// Its calls so far: file, argument and working folder.
    QVector<QStringList> elevatedStarts;
};
inline FakeSystem fakeSystem;

/// Sets what QCoreApplication::arguments() gives after the program's path.
void setArguments(const QStringList &arguments);

/// The target of the request for the version description file, with the default settings.
inline constexpr char versionFileTarget[] = "/update/Tavlopc/VERSIONS/windows.txt";

/// The main window, its members open to the tests. Its "parentDir" is a temporary folder.
class TestWindow : public MainWindow
{
    QTemporaryDir m_folder;

public:
    TestWindow()
    {
        parentDir = m_folder.path();
    }
    ~TestWindow() override
    {
        // The program never deletes it; the next window makes one of its own.
        delete std::exchange(freshen::networkAccessManager, nullptr);
    }
    Q_DISABLE_COPY(TestWindow)

    using MainWindow::downloadReply;
    using MainWindow::parentDir;
    using MainWindow::precheckTrigger;
    using MainWindow::startTime;
    using MainWindow::versions;

    /// The widget of the form that is called \a name.
    template <typename Type = QWidget>
    [[nodiscard]] Type &child(const char *name) const
    {
        auto *found = findChild<Type *>(name);
        if (found == nullptr)
            qFatal("The form has no %s of that type", name);
        return *found;
    }
    QStackedWidget &pages = child<QStackedWidget>("stackedWidget");
    QTreeWidget &tree = child<QTreeWidget>("versionsTreeWidget");
    QCheckBox &showBeta = child<QCheckBox>("showBetaCheckBox");
    QTextEdit &versionInfo = child<QTextEdit>("versionInfo");
    QPushButton &button = child<QPushButton>("button");
    QLabel &label = child<QLabel>("label");
    QLabel &sizeLabel = child<QLabel>("sizeLabel");
    QProgressBar &progressBar = child<QProgressBar>("progressBar");
    QPushButton &multiButton = child<QPushButton>("multiButton");
};

/// Does \a action in the application's event loop. Returns whether the program told that loop to quit in time.
[[nodiscard]] inline bool quitsAfter(const std::function<void()> &action)
{
    constexpr int timeoutCode = 99;
    QTimer watchdog;
    QObject::connect(&watchdog, &QTimer::timeout, [] { QCoreApplication::exit(timeoutCode); });
    watchdog.start(30000);
    QTimer::singleShot(0, qApp, action);
    return QCoreApplication::exec() == 0;
}

/// Shows each text that the program has translated with an asterisk before it.
class MarkedTexts : public QTranslator
{
    [[nodiscard]] QString translate(const char *context, const char *text, const char *, int) const override
    {
        return qstrcmp(context, "MainWindow") == 0 ? QString('*') + text : QString();
    }
};

/// Base of the tests of the window. Before each test function the settings name the test's server and nothing else, no
/// process runs but the test, the argument is one that asks for nothing, and the log starts anew.
class WindowTest : public FolderTest
{
    Q_OBJECT

protected:
    std::optional<HttpServer> m_server;
    std::optional<DialogDriver> m_dialogs;

    WindowTest()
    {
        QCoreApplication::installTranslator(&m_markedTexts);
    }
    /// The debug lines that the program logged, without those before the last call.
    QStringList takeLog()
    {
        const QStringList lines = log().lines(QtDebugMsg);
        log().clear();
        return lines;
    }

protected slots:
    void init()
    {
        clearSettings();
        m_server.emplace();
        writeSettings({{"proto2", "http"}, {"host2", "127.0.0.1"}, {"port2", m_server->serverPort()}});
        fakeSystem = FakeSystem();
        setArguments({"other"});
        FolderTest::init();
        m_dialogs.emplace();
    }
    void cleanup()
    {
        m_dialogs.reset();
        FolderTest::cleanup();
    }

private:
    MarkedTexts m_markedTexts;
};

/// The process's QApplication, made with arguments that setArguments() can change.
[[nodiscard]] std::unique_ptr<QApplication> makeTestApplication(char *program);

#define FRESHEN_WINDOW_TEST_MAIN(TestClass)                                                                            \
    int main(int argc, char *argv[])                                                                                   \
    {                                                                                                                  \
        const auto theApplication = makeTestApplication(argv[0]);                                                      \
        TestClass test;                                                                                                \
        return QTest::qExec(&test, argc, argv);                                                                        \
    }
