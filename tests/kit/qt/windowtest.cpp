#include "kit/qt/windowtest.h"

#include "app/elevatedstart.h"
#include "install/runningprocesses.h"
#include "kit/qt/httpserver.h"
#include "kit/qt/settings.h"

#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QTest>
#include <QTextEdit>
#include <QTimer>
#include <QTreeWidget>

#include <array>

using namespace freshen;

namespace {

// QApplication keeps references to both, and looks at them whenever it is asked for the arguments.
constexpr int mostArguments = 4;
int argumentCount = 1;
std::array<char *, mostArguments + 1> argumentValues{};
QList<QByteArray> argumentTexts;

/// Exit code of the event loop that nobody ended.
constexpr int timeoutCode = 99;

} // namespace

FakeSystem &fakeSystem()
{
    static FakeSystem system;
    return system;
}

bool freshen::listRunningProcesses(QStringList &names)
{
    ++fakeSystem().rounds;
    if (!fakeSystem().isListReadable)
        return false;
    names.append(fakeSystem().processes);
    return true;
}

StartResult freshen::startElevated(const QString &file, const QString &argument, const QString &workingFolder)
{
    fakeSystem().elevatedStarts.append({file, argument, workingFolder});
    return {fakeSystem().elevatedResult};
}

void setArguments(const QStringList &arguments)
{
    Q_ASSERT(arguments.size() < mostArguments);
    argumentTexts = argumentTexts.mid(0, 1);
    for (const QString &argument : arguments)
        argumentTexts.append(argument.toLocal8Bit());
    argumentCount = argumentTexts.size();
    argumentValues.fill(nullptr);
    for (int i = 0; i < argumentCount; ++i)
        argumentValues.at(static_cast<std::size_t>(i)) = argumentTexts[i].data();
}

std::unique_ptr<QApplication> makeTestApplication(const char *program)
{
    argumentTexts = {program};
    setArguments({});
    auto application = std::make_unique<QApplication>(argumentCount, argumentValues.data());
    QCoreApplication::setOrganizationName(QStringLiteral("Q.U.I.N.T.A."));
    QCoreApplication::setApplicationName(QStringLiteral("Tavlo3 Updater"));
    return application;
}

Catalogue::Catalogue(const QString &language) : m_translator(std::make_unique<QTranslator>())
{
    if (m_translator->load(QStringLiteral(":/i18n_%1").arg(language)))
        QCoreApplication::installTranslator(m_translator.get());
}

Catalogue::~Catalogue() = default;

MarkedTexts::MarkedTexts()
{
    QCoreApplication::installTranslator(this);
}

QString MarkedTexts::of(const QString &sourceText)
{
    return QLatin1Char('*') + sourceText;
}

bool MarkedTexts::isEmpty() const
{
    return false;
}

QString MarkedTexts::translate(const char *context, const char *sourceText, const char *disambiguation, int n) const
{
    Q_UNUSED(context)
    Q_UNUSED(disambiguation)
    Q_UNUSED(n)
    return of(QString::fromUtf8(sourceText));
}

TestWindow::TestWindow()
{
    if (!m_folder.isValid())
        qFatal("No temporary folder: %s", qPrintable(m_folder.errorString()));
    parentDir = m_folder.path();
}

TestWindow::~TestWindow()
{
    // The program keeps it to the end of its process; the next test has one of its own.
    delete networkAccessManager;
    networkAccessManager = nullptr;
}

QStackedWidget &TestWindow::stackedWidget() const
{
    return child<QStackedWidget>("stackedWidget");
}

QTreeWidget &TestWindow::tree() const
{
    return child<QTreeWidget>("versionsTreeWidget");
}

QCheckBox &TestWindow::showBeta() const
{
    return child<QCheckBox>("showBetaCheckBox");
}

QTextEdit &TestWindow::versionInfo() const
{
    return child<QTextEdit>("versionInfo");
}

QPushButton &TestWindow::button() const
{
    return child<QPushButton>("button");
}

QLabel &TestWindow::label() const
{
    return child<QLabel>("label");
}

QLabel &TestWindow::sizeLabel() const
{
    return child<QLabel>("sizeLabel");
}

QProgressBar &TestWindow::progressBar() const
{
    return child<QProgressBar>("progressBar");
}

QPushButton &TestWindow::multiButton() const
{
    return child<QPushButton>("multiButton");
}

QString TestWindow::parentDirOf(const MainWindow &window)
{
    return window.parentDir;
}

QString TestWindow::pathOf(const QString &name) const
{
    return m_folder.filePath(name);
}

void useServer(const HttpServer &server)
{
    writeSetting("proto2", QStringLiteral("http"));
    writeSetting("host2", QStringLiteral("127.0.0.1"));
    writeSetting("port2", server.port());
}

bool quitsAfter(const std::function<void()> &action, int timeout)
{
    QTimer watchdog;
    watchdog.setSingleShot(true);
    QObject::connect(&watchdog, &QTimer::timeout, [] { QCoreApplication::exit(timeoutCode); });
    watchdog.start(timeout);
    QTimer::singleShot(0, qApp, action);
    return QCoreApplication::exec() == 0;
}

void click(QWidget &button)
{
    // A check box answers on its square and its text only.
    constexpr int withinTheSquare = 6;
    const QPoint position =
        qobject_cast<QCheckBox *>(&button) != nullptr ? QPoint(withinTheSquare, button.height() / 2) : QPoint();
    QTest::mouseClick(&button, Qt::LeftButton, {}, position);
}

void addLanguages()
{
    QTest::addColumn<QString>("language");
    QTest::newRow("en") << QStringLiteral("en");
    QTest::newRow("de") << QStringLiteral("de");
}

void WindowTest::init()
{
    requirePrivateHome();
    clearSettings();
    fakeSystem() = FakeSystem();
    setArguments({});
    QNetworkProxy::setApplicationProxy(QNetworkProxy());
    m_messages = std::make_unique<MessageCatcher>();
    prepare();
}

void WindowTest::cleanup()
{
    tidyUp();
    m_messages.reset();
}

QStringList WindowTest::takeLog()
{
    const QStringList lines = m_messages->debugLines();
    m_messages->clear();
    return lines;
}

QStringList WindowTest::warnings() const
{
    return m_messages->warnings();
}
