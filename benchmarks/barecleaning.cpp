// The peer of the cleaning: the system calls that it is to make, and nothing around them.
//
//     barecleaning FOLDER LOG    removes FOLDER, each step with its line on standard error and at the end of LOG

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

using std::filesystem::directory_entry;
using std::filesystem::directory_iterator;

namespace {

std::FILE *logFile = nullptr;

/// Logs \a text as the updater does: it is in the file before the next thing happens.
void log(const std::string &text)
{
    static_cast<void>(std::fprintf(stderr, "%s (:0, )\n", text.c_str()));
    const std::time_t now = std::time(nullptr);
    std::array<char, sizeof("yyMMdd hh:mm:ss:zzz")> time{};
    static_cast<void>(std::strftime(time.data(), time.size(), "%y%m%d %H:%M:%S:000", std::localtime(&now)));
    static_cast<void>(std::fprintf(logFile, "%s [D][:0]  %s\n", time.data(), text.c_str()));
    static_cast<void>(std::fflush(logFile));
}

void clean(const std::string &folder)
{
    log("deleteTempDir " + folder + " true");
    std::vector<directory_entry> entries(directory_iterator(folder), directory_iterator{});
    std::sort(entries.begin(), entries.end());
    const auto folders = std::stable_partition(entries.begin(), entries.end(),
                                               [](const directory_entry &entry) { return !entry.is_directory(); });
    for (auto file = entries.begin(); file != folders; ++file) {
        log(file->path().filename());
        std::filesystem::remove(*file);
    }
    for (auto subfolder = folders; subfolder != entries.end(); ++subfolder) {
        log(subfolder->path());
        clean(subfolder->path());
    }
    log(folder);
    std::filesystem::remove(folder);
}

} // namespace

int main(int argc, char *argv[])
{
    logFile = argc == 3 ? std::fopen(argv[2], "a") : nullptr;
    if (logFile == nullptr)
        return EXIT_FAILURE;
    clean(argv[1]);
    return EXIT_SUCCESS;
}
