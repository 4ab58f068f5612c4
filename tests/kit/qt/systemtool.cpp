// Stands in for any program that the updater starts: each is a copy of this one under the other's name. It is found by
// the name it was called by, so FRESHEN_TEST_TOOLS names the folder of its files:
//   <name>.called  the arguments of the last call, one a line; appears complete
//   <name>.plan    what to do then, one step a line; without it, nothing:
//     copy            copies the contents of the fifth argument, a folder, into the sixth, as xcopy.exe is asked to
//     print TEXT      writes a line to standard output
//     complain TEXT   writes a line to standard error
//     run COMMAND     hands a command to the command interpreter
//     sleep SECONDS
//     exit CODE

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace fs = std::filesystem;

namespace {

constexpr std::size_t sourceArgument = 4;
constexpr std::size_t destinationArgument = 5;

/// Exit code of a stand-in that cannot play its part.
constexpr int cannotPlay = 99;

void noteArguments(const fs::path &file, const std::vector<std::string> &arguments)
{
    const fs::path draft = file.string() + ".draft";
    {
        std::ofstream stream(draft, std::ios::binary);
        for (const std::string &argument : arguments)
            stream << argument << '\n';
    }
    fs::rename(draft, file);
}

void copyFolder(const fs::path &source, const fs::path &destination)
{
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(source)) {
        const fs::path target = destination / fs::relative(entry.path(), source);
        if (entry.is_directory()) {
            fs::create_directories(target);
        } else {
            fs::remove(target);
            fs::copy_file(entry.path(), target);
        }
    }
}

void doStep(const std::string &step, const std::string &operand, const std::vector<std::string> &arguments)
{
    if (step == "copy") {
        copyFolder(arguments.at(sourceArgument), arguments.at(destinationArgument));
    } else if (step == "print") {
        static_cast<void>(std::printf("%s\n", operand.c_str()));
    } else if (step == "complain") {
        static_cast<void>(std::fprintf(stderr, "%s\n", operand.c_str()));
    } else if (step == "run") {
        static_cast<void>(std::system(operand.c_str()) == 0);
    } else if (step == "sleep") {
        std::this_thread::sleep_for(std::chrono::seconds(std::stoi(operand)));
    } else if (step == "exit") {
        std::exit(std::stoi(operand));
    } else {
        static_cast<void>(std::fprintf(stderr, "No such step: %s\n", step.c_str()));
        std::exit(cannotPlay);
    }
}

} // namespace

int main(int argc, char *argv[])
{
    const char *folder = std::getenv("FRESHEN_TEST_TOOLS");
    if (folder == nullptr)
        return cannotPlay;
    const std::string self = (fs::path(folder) / fs::path(argv[0]).filename()).string();
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    try {
        noteArguments(self + ".called", arguments);
        std::ifstream plan(self + ".plan");
        for (std::string line; std::getline(plan, line);) {
            const std::size_t blank = line.find(' ');
            doStep(line.substr(0, blank), blank == std::string::npos ? std::string() : line.substr(blank + 1),
                   arguments);
        }
    } catch (const std::exception &error) {
        static_cast<void>(std::fprintf(stderr, "%s\n", error.what()));
        return cannotPlay;
    }
    return 0;
}
