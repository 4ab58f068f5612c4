#include "publish/console.h"

#include <QCoreApplication>

#include <windows.h>

#include <io.h>

namespace freshen::publish {

namespace {

/// Runs in a thread of its own.
BOOL WINAPI interrupt(DWORD /*event*/)
{
    QMetaObject::invokeMethod(QCoreApplication::instance(), "quit", Qt::QueuedConnection);
    return TRUE;
}

} // namespace

bool isTerminal(FILE *stream)
{
    return _isatty(_fileno(stream)) != 0;
}

void quitWhenInterrupted()
{
    SetConsoleCtrlHandler(interrupt, TRUE);
}

} // namespace freshen::publish
