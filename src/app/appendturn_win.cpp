#include "app/appendturn.h"

#include <QFile>

#include <windows.h>

#include <io.h>

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

bool lock(HANDLE file)
{
    for (int attempt = 0; attempt < attempts; ++attempt) {
        OVERLAPPED place = lockedPlace();
        if (LockFileEx(file, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &place))
            return true;
        // A file system without locks answers otherwise, at once.
        if (GetLastError() != ERROR_LOCK_VIOLATION)
            return false;
        Sleep(pauseMs);
    }
    return false;
}

} // namespace

AppendTurn::AppendTurn(QFile &file) : m_file(file), m_isLocked(lock(handleOf(file)))
{
    // Qt looks for the end of a file when it opens it, and never again.
    file.seek(file.size());
}

AppendTurn::~AppendTurn()
{
    if (!m_isLocked)
        return;
    OVERLAPPED place = lockedPlace();
    UnlockFileEx(handleOf(m_file), 0, 1, 0, &place);
}
