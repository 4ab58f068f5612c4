#pragma once

#include "kit/qt/dialogdriver.h"
#include "kit/qt/httpserver.h"
#include "kit/qt/messagecatcher.h"
#include "kit/qt/settings.h"
#include "kit/qt/table.h"
#include "ui/mainwindow.h"

#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QTemporaryDir>
#include <QTextEdit>
#include <QTranslator>
#include <QTreeWidget>
#include <QtTest>

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

/// The main window, its members open to the tests. Its folder "parentDir" is a temporary one that is its own.
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
        // The program keeps it to the end of its process; the next test has one of its own.
        delete std::exchange(freshen::networkAccessManager, nullptr);
    }
    Q_DISABLE_COPY(TestWindow)

    using MainWindow::downloadReply;
    using MainWindow::extendedNaming;
    using MainWindow::parentDir;
    using MainWindow::precheckTrigger;
    using MainWindow::startTime;
    using MainWindow::useBeta;
    using MainWindow::version_main;
    using MainWindow::version_minor;
    using MainWindow::version_state;
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

    /// Whether the window has the size of the progress page, and no other.
    [[nodiscard]] bool hasFixedSize() const
    {
        const QSize fixed(460, 140);
        return minimumSize() == fixed && maximumSize() == fixed;
    }
    /// The path of \a name in the temporary folder.
    [[nodiscard]] QString pathOf(const QString &name) const
    {
        return m_folder.filePath(name);
    }
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

/// Clicks \a button as the user does.
inline void click(QWidget &button)
{
    // A check box answers on its square and its text only.
    const bool isCheckBox = qobject_cast<QCheckBox *>(&button) != nullptr;
    QTest::mouseClick(&button, Qt::LeftButton, {}, isCheckBox ? QPoint(6, button.height() / 2) : QPoint());
}

/// Shows each text that the program has translated with an asterisk before it. What the catalogues make of it is no
/// matter of the window.
class MarkedTexts : public QTranslator
{
    [[nodiscard]] bool isEmpty() const override
    {
        return false;
    }
    [[nodiscard]] QString translate(const char *context, const char *text, const char *, int) const override
    {
        return qstrcmp(context, "MainWindow") == 0 ? QString('*') + text : QString();
    }
};

/// Base of the tests of the window. Before each test function the settings name the test's server and nothing else, no
/// process runs but the test, the argument is one that asks for nothing, and the log starts anew.
class WindowTest : public QObject
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
        const QStringList lines = m_messages->debugLines();
        m_messages->clear();
        return lines;
    }
    /// The warnings since then; they stay.
    [[nodiscard]] QStringList warnings() const
    {
        return m_messages->warnings();
    }

protected slots:
    void init()
    {
        clearSettings();
        m_server.emplace();
        writeSetting("proto2", "http");
        writeSetting("host2", "127.0.0.1");
        writeSetting("port2", m_server->port());
        fakeSystem = FakeSystem();
        setArguments({"other"});
        m_messages.emplace();
        m_dialogs.emplace();
    }
    void cleanup()
    {
        m_dialogs.reset();
        m_messages.reset();
        m_server.reset();
    }

private:
    MarkedTexts m_markedTexts;
    std::optional<MessageCatcher> m_messages;
};

/// The process's QApplication, made with arguments that setArguments() can change.
[[nodiscard]] std::unique_ptr<QApplication> makeTestApplication(char *program);

#define FRESHEN_WINDOW_TEST_MAIN(TestClass)                                                                            \
    int main(int argc, char *argv[])                                                                                   \
    {                                                                                                                  \
        const auto application = makeTestApplication(argv[0]);                                                         \
        TestClass test;                                                                                                \
        return QTest::qExec(&test, argc, argv);                                                                        \
    }
