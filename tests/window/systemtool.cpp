// Stands in for a program that the updater starts: each is a copy of this one under the other's name. It notes the
// arguments of its last call, one a line, in the file <name>.called of the folder FRESHEN_TEST_TOOLS; the file appears
// complete. As the copying program it then does what FRESHEN_TEST_COPY says: "fail", "complain", or "copy".

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

void noteArguments(const fs::path &file, const std::vector<std::string> &arguments)
{
    const fs::path draft = file.string() + ".draft";
    std::ofstream stream(draft, std::ios::binary);
    for (const std::string &argument : arguments)
        stream << argument << '\n';
    stream.close();
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

} // namespace

int main(int argc, char *argv[])
{
    const fs::path folder = std::getenv("FRESHEN_TEST_TOOLS");
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    noteArguments(folder / (fs::path(argv[0]).filename().string() + ".called"), arguments);
    constexpr std::size_t copyArguments = 6;
    if (arguments.size() < copyArguments)
        return 0;

    const std::string plan = std::getenv("FRESHEN_TEST_COPY");
    if (plan == "fail")
        return 4;
    if (plan == "complain") {
        std::cerr << "odd\n";
        return 0;
    }
    copyFolder(arguments[copyArguments - 2], arguments[copyArguments - 1]);
    return 0;
}
