#pragma once

#include "kit/qt/messagecatcher.h"
#include "ui/mainwindow.h"

#include <QObject>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QTranslator>
#include <QVector>

#include <functional>
#include <memory>

class HttpServer;
class QApplication;
class QCheckBox;
class QLabel;
class QProgressBar;
class QPushButton;
class QStackedWidget;
class QTextEdit;
class QTreeWidget;

/// What the tests of the window have in common: the window with its members open, the system around it, and the ways to
/// start and to end a run.

/// One call of startElevated().
struct ElevatedStart
{
    QString file;
    QString argument;
    QString workingFolder;
};

/// The system as the window sees it. The test programs' own listRunningProcesses() and startElevated() take the place
/// of the program's when they are linked.
struct FakeSystem
{
    /// The running processes, or that the list of them cannot be read.
    QStringList processes;
    bool isListReadable = true;
    /// How often the list was read.
    int rounds = 0;
    /// What startElevated() answers, and its calls so far.
    int elevatedResult = 42;
    QVector<ElevatedStart> elevatedStarts;
};

[[nodiscard]] FakeSystem &fakeSystem();

/// Sets what QCoreApplication::arguments() gives after the program's path.
void setArguments(const QStringList &arguments);

/// Shows the texts in \a language, "en" or "de", as long as it lives; any other value stands for no catalogue.
class Catalogue
{
public:
    explicit Catalogue(const QString &language);
    ~Catalogue();
    Q_DISABLE_COPY(Catalogue)

private:
    std::unique_ptr<QTranslator> m_translator;
};

/// Marks every text that the program has translated, as long as it lives, and so tells it from one that is shown as it
/// stands in the source.
class MarkedTexts : public QTranslator
{
public:
    MarkedTexts();

    /// What becomes of \a sourceText.
    [[nodiscard]] static QString of(const QString &sourceText);

    [[nodiscard]] bool isEmpty() const override;
    [[nodiscard]] QString translate(const char *context, const char *sourceText, const char *disambiguation,
                                    int n) const override;
};

/// The main window, its members open to the tests. Its folder "parentDir" is a temporary one that is its own.
class TestWindow : public MainWindow
{
public:
    TestWindow();
    ~TestWindow() override;
    Q_DISABLE_COPY(TestWindow)

    using MainWindow::archTag;
    using MainWindow::downloadReply;
    using MainWindow::extendedNaming;
    using MainWindow::osTag;
    using MainWindow::parentDir;
    using MainWindow::precheckTrigger;
    using MainWindow::selectedVersion;
    using MainWindow::startTime;
    using MainWindow::ui;
    using MainWindow::useBeta;
    using MainWindow::version_main;
    using MainWindow::version_minor;
    using MainWindow::version_state;
    using MainWindow::versions;

    /// The widget (or layout) of the form that is called \a name.
    template <typename Type>
    [[nodiscard]] Type &child(const char *name) const
    {
        auto *found = findChild<Type *>(QLatin1String(name));
        if (found == nullptr)
            qFatal("The form has no %s of that type", name);
        return *found;
    }
    [[nodiscard]] QStackedWidget &stackedWidget() const;
    [[nodiscard]] QTreeWidget &tree() const;
    [[nodiscard]] QCheckBox &showBeta() const;
    [[nodiscard]] QTextEdit &versionInfo() const;
    [[nodiscard]] QPushButton &button() const;
    [[nodiscard]] QLabel &label() const;
    [[nodiscard]] QLabel &sizeLabel() const;
    [[nodiscard]] QProgressBar &progressBar() const;
    [[nodiscard]] QPushButton &multiButton() const;

    /// The folder that the constructor of \a window has chosen.
    [[nodiscard]] static QString parentDirOf(const MainWindow &window);

    /// The path of \a name in the temporary folder.
    [[nodiscard]] QString pathOf(const QString &name) const;

private:
    QTemporaryDir m_folder;
};

/// Lets the application's settings name \a server.
void useServer(const HttpServer &server);

/// The target of the request for the version description file, with the default settings.
inline constexpr char versionFileTarget[] = "/update/Tavlopc/VERSIONS/windows.txt";

/// Does \a action in the application's event loop. Returns whether that loop was told to quit within \a timeout
/// milliseconds.
[[nodiscard]] bool quitsAfter(const std::function<void()> &action, int timeout = 5000);

/// Clicks \a button as the user does.
void click(QWidget &button);

/// Adds a column "language" with the rows "en" and "de".
void addLanguages();

/// Base of the tests of the window: before each test function the settings are empty, no process runs but the test,
/// there are no arguments, and the log starts anew.
class WindowTest : public QObject
{
    Q_OBJECT

protected:
    /// The debug lines that the program logged, without those before the last call.
    QStringList takeLog();
    /// The warnings since then; they stay.
    [[nodiscard]] QStringList warnings() const;
    /// Prepares what the test functions of a program have in common, and tidies up after each of them.
    virtual void prepare() {}
    virtual void tidyUp() {}

private slots:
    void init();
    void cleanup();

private:
    std::unique_ptr<MessageCatcher> m_messages;
};

/// The process's QApplication, made with arguments that setArguments() can change.
[[nodiscard]] std::unique_ptr<QApplication> makeTestApplication(const char *program);

#define FRESHEN_WINDOW_TEST_MAIN(TestClass)                                                                            \
    int main(int argc, char *argv[])                                                                                   \
    {                                                                                                                  \
        const auto application = makeTestApplication(argv[0]);                                                         \
        TestClass test;                                                                                                \
        return QTest::qExec(&test, argc, argv);                                                                        \
    }
