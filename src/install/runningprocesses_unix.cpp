#include "install/runningprocesses.h"

#include <QDebug>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <memory>
#include <string>
#include <string_view>
#include <unistd.h>

namespace freshen {

namespace {

/// The kernel's name of the process's program: the first 15 characters of the executable's file name, for a script the
/// script's own. It can be read for every user's processes. Empty for a process that has ended and only waits for its
/// parent to notice.
QString commandName(const std::string &processFolder)
{
    // "1234 (name) S ..."; the name itself may hold brackets.
    constexpr std::size_t statPrefixSize = 128;
    std::array<char, statPrefixSize> status{};
    std::size_t size = 0;
    if (FILE *file = std::fopen((processFolder + "/stat").c_str(), "re")) {
        size = std::fread(status.data(), 1, status.size(), file);
        static_cast<void>(std::fclose(file));
    }
    const std::string_view text(status.data(), size);
    const std::size_t begin = text.find('(');
    const std::size_t end = text.rfind(") ");
    if (begin == std::string_view::npos || end == std::string_view::npos || text.substr(end, 3) == ") Z")
        return QString();
    return QString::fromLocal8Bit(text.data() + begin + 1, static_cast<int>(end - begin - 1));
}

bool isProcessId(const char *name)
{
    return *name != 0 && std::strspn(name, "0123456789") == std::strlen(name);
}

} // namespace

bool listRunningProcesses(QStringList &names)
{
    // An empty line sets the rounds of the check apart in the log.
    qDebug() << "";
    const std::unique_ptr<DIR, int (*)(DIR *)> processes(opendir("/proc"), closedir);
    if (!processes) {
        std::printf("\n  WARNING: %s failed with error %d (%s)", "opendir (of processes)", errno, std::strerror(errno));
        return false;
    }
    while (const dirent *entry = readdir(processes.get())) {
        if (!isProcessId(entry->d_name))
            continue;
        const QString name = commandName(std::string("/proc/") + entry->d_name);
        if (!name.isEmpty())
            names.append(name);
    }
    return true;
}

} // namespace freshen
