#include "publish/console.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <array>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace freshen::publish {

namespace {

/// The writing and the reading end of a pipe: of all that Qt can do, a signal handler may do nothing.
std::array<int, 2> ends;

void interrupt(int /*signal*/)
{
    // A full pipe has told it already.
    static_cast<void>(!write(ends[1], "", 1));
}

} // namespace

bool isTerminal(FILE *stream)
{
    return isatty(fileno(stream)) != 0;
}

void quitWhenInterrupted()
{
    if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    auto *const notifier = new QSocketNotifier(ends[0], QSocketNotifier::Read, QCoreApplication::instance());
    QObject::connect(notifier, &QSocketNotifier::activated, QCoreApplication::instance(), &QCoreApplication::quit);
    struct sigaction action = {};
    action.sa_handler = interrupt;
    // A second one ends the program at once.
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_RESTART);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        sigaction(signal, &action, nullptr);
}

} // namespace freshen::publish
