#include "fuzz/filewatch.h"

#include "fuzz/fuzzing.h"

#include <QDir>
#include <QFile>

#include <cstdarg>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

const FileObserver *current = nullptr;

void tell(Change change, const char *path)
{
    if (current == nullptr)
        return;
    // What the observer does itself is not told.
    const FileObserver *observer = current;
    current = nullptr;
    (*observer)(change, path);
    current = observer;
}

template <typename Function>
Function original(Function, const char *name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

bool isForWriting(int flags)
{
    return (flags & (O_WRONLY | O_RDWR | O_CREAT | O_TRUNC)) != 0;
}

} // namespace

extern "C" {

int open(const char *path, int flags, ...)
{
    static const auto system = original(&open, "open");
    std::va_list arguments;
    va_start(arguments, flags);
    const auto mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    if (isForWriting(flags))
        tell(Change::Write, path);
    return system(path, flags, mode);
}

int open64(const char *path, int flags, ...)
{
    static const auto system = original(&open64, "open64");
    std::va_list arguments;
    va_start(arguments, flags);
    const auto mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    if (isForWriting(flags))
        tell(Change::Write, path);
    return system(path, flags, mode);
}

int mkdir(const char *path, mode_t mode) noexcept
{
    static const auto system = original(&mkdir, "mkdir");
    tell(Change::Make, path);
    return system(path, mode);
}

int symlink(const char *target, const char *path) noexcept
{
    static const auto system = original(&symlink, "symlink");
    tell(Change::Make, path);
    return system(target, path);
}

int chmod(const char *path, mode_t mode) noexcept
{
    static const auto system = original(&chmod, "chmod");
    tell(Change::Write, path);
    return system(path, mode);
}

int unlink(const char *path) noexcept
{
    static const auto system = original(&unlink, "unlink");
    tell(Change::RemoveFile, path);
    return system(path);
}

int rmdir(const char *path) noexcept
{
    static const auto system = original(&rmdir, "rmdir");
    tell(Change::RemoveFolder, path);
    return system(path);
}

int rename(const char *from, const char *to) noexcept
{
    static const auto system = original(&rename, "rename");
    tell(Change::Rename, from);
    tell(Change::Rename, to);
    return system(from, to);
}

} // extern "C"

namespace {

/// Whether Qt's functions for files end in the ones above.
bool isWatching()
{
    std::vector<Change> changes;
    const FileObserver observer = [&changes](Change change, const std::string &) { changes.push_back(change); };
    const QString folder = privateFolder() + QLatin1String("/watched");
    const QString file = folder + QLatin1String("/file");
    current = &observer;
    QDir().mkdir(folder);
    QFile output(file);
    const bool isOpen = output.open(QIODevice::WriteOnly);
    output.close();
    QFile::setPermissions(file, QFile::ReadOwner | QFile::WriteOwner);
    QFile::remove(file);
    QDir().rmdir(folder);
    current = nullptr;
    return isOpen && changes == std::vector<Change>{Change::Make, Change::Write, Change::Write, Change::RemoveFile,
                                                    Change::RemoveFolder};
}

} // namespace

void watchFiles(const FileObserver &observer, const std::function<void()> &action)
{
    static const bool works = isWatching();
    require(works, "the watch sees what is done to files");
    current = &observer;
    action();
    current = nullptr;
}
