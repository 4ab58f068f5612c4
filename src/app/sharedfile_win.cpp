#include "app/sharedfile.h"

#include <QFile>

#include <windows.h>

#include <io.h>

namespace freshen {

namespace {

constexpr int attempts = 1000;
constexpr DWORD pauseMs = 1;

HANDLE handleOf(const QFile &file)
{
    return reinterpret_cast<HANDLE>(_get_osfhandle(file.handle()));
}

/// One byte far behind the end of the file: what is locked keeps others from reading it, too.
OVERLAPPED lockedPlace()
{
    OVERLAPPED place = {};
    place.OffsetHigh = 0x40000000;
    return place;
}

void lock(HANDLE file)
{
    for (int attempt = 0; attempt < attempts; ++attempt) {
        OVERLAPPED place = lockedPlace();
        // A file system without locks answers otherwise, at once.
        if (LockFileEx(file, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &place) ||
            GetLastError() != ERROR_LOCK_VIOLATION)
            return;
        Sleep(pauseMs);
    }
}

} // namespace

void beginAppend(QFile &file)
{
    lock(handleOf(file));
    // Qt looks for the end of a file when it opens it, and never again.
    file.seek(file.size());
}

void endAppend(QFile &file)
{
    // Where this process holds no lock, nothing happens.
    OVERLAPPED place = lockedPlace();
    UnlockFileEx(handleOf(file), 0, 1, 0, &place);
}

} // namespace freshen
