#include "publish/interruption.h"

#include <QCoreApplication>

#include <windows.h>

namespace freshen::publish {

namespace {

/// Runs in a thread of its own.
BOOL WINAPI interrupt(DWORD /*event*/)
{
    QMetaObject::invokeMethod(QCoreApplication::instance(), "quit", Qt::QueuedConnection);
    return TRUE;
}

} // namespace

void quitWhenInterrupted()
{
    SetConsoleCtrlHandler(interrupt, TRUE);
}

} // namespace freshen::publish
