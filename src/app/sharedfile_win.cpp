#include "app/sharedfile.h"

#include <QFile>

#include <windows.h>

#include <io.h>

namespace freshen {

namespace {

/// How long a line waits for that of another process. A process that takes longer has stopped.
constexpr ULONGLONG longestWaitMs = 2000;
constexpr DWORD pauseMs = 1;

/// Upper half of a position far behind the end of every log.
constexpr DWORD farBehindHigh = 0x40000000;

HANDLE handleOf(const QFile &file)
{
    return reinterpret_cast<HANDLE>(_get_osfhandle(file.handle()));
}

/// One byte behind the end of the file: what is locked keeps others from reading it, too.
OVERLAPPED lockedPlace()
{
    OVERLAPPED place = {};
    place.OffsetHigh = farBehindHigh;
    return place;
}

void lock(HANDLE file)
{
    // After one wait in vain the next lines do not wait again.
    static bool isWaitedFor = true;
    const ULONGLONG end = GetTickCount64() + (isWaitedFor ? longestWaitMs : 0);
    do {
        OVERLAPPED place = lockedPlace();
        isWaitedFor = LockFileEx(file, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &place);
        // A file system without locks answers otherwise, at once.
        if (isWaitedFor || GetLastError() != ERROR_LOCK_VIOLATION)
            return;
        Sleep(pauseMs);
    } while (GetTickCount64() < end);
}

} // namespace

bool beginAppend(QFile &file)
{
    lock(handleOf(file));
    // Qt looks for the end of a file when it opens it, and never again.
    return file.seek(file.size());
}

void endAppend(QFile &file)
{
    // Where this process holds no lock, nothing happens.
    OVERLAPPED place = lockedPlace();
    UnlockFileEx(handleOf(file), 0, 1, 0, &place);
}

} // namespace freshen
