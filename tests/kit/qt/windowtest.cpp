#include "kit/qt/windowtest.h"

#include "app/elevatedstart.h"
#include "install/runningprocesses.h"

using namespace freshen;

namespace {

// QApplication keeps references to both, and looks at them whenever it is asked for the arguments.
int argumentCount = 1;
char *argumentValues[5] = {};

} // namespace

bool freshen::listRunningProcesses(QStringList &names)
{
    ++fakeSystem.rounds;
    if (fakeSystem.isListReadable)
        names.append(fakeSystem.processes);
    return fakeSystem.isListReadable;
}

StartResult freshen::startElevated(const QString &file, const QString &argument, const QString &workingFolder)
{
    fakeSystem.elevatedStarts.append({file, argument, workingFolder});
    return {fakeSystem.elevatedResult};
}

void setArguments(const QStringList &arguments)
{
    static QByteArrayList texts;
    texts.clear();
    argumentCount = 1;
    for (const QString &argument : arguments) {
        texts.append(argument.toLocal8Bit());
        argumentValues[argumentCount++] = texts.last().data();
    }
    argumentValues[argumentCount] = nullptr;
}

std::unique_ptr<QApplication> makeTestApplication(char *program)
{
    argumentValues[0] = program;
    auto application = std::make_unique<QApplication>(argumentCount, argumentValues);
    QCoreApplication::setOrganizationName("Q.U.I.N.T.A.");
    QCoreApplication::setApplicationName("Tavlo3 Updater");
    // Tests end the event loop by what the program does about it, not by the end of any box.
    QGuiApplication::setQuitOnLastWindowClosed(false);
    return application;
}
