#include "install/runningprocesses.h"

#include <QDebug>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <memory>
#include <string>
#include <unistd.h>

namespace {

/// The kernel's name of the process's program: the first 15 characters of the executable's file name. It can be read
/// for every user's processes, and for a script it is the script's own.
QString commandName(const std::string &processFolder)
{
    constexpr std::size_t longestName = 15;
    std::array<char, longestName + sizeof "\n"> name{};
    if (FILE *file = std::fopen((processFolder + "/comm").c_str(), "re")) {
        if (std::fgets(name.data(), static_cast<int>(name.size()), file) != nullptr)
            name[std::strcspn(name.data(), "\n")] = 0;
        static_cast<void>(std::fclose(file));
    }
    return QString::fromLocal8Bit(name.data());
}

bool isProcessId(const char *name)
{
    return *name != 0 && std::strspn(name, "0123456789") == std::strlen(name);
}

} // namespace

bool listRunningProcesses(QStringList &names)
{
    qDebug() << "";
    const std::unique_ptr<DIR, int (*)(DIR *)> processes(opendir("/proc"), closedir);
    if (!processes) {
        std::printf("\n  WARNING: %s failed with error %d (%s)", "opendir (of processes)", errno, std::strerror(errno));
        return false;
    }
    while (const dirent *entry = readdir(processes.get())) {
        if (isProcessId(entry->d_name))
            names.append(commandName(std::string("/proc/") + entry->d_name));
    }
    return true;
}
