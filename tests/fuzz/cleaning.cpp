// The cleaning of an installation, with any list of files to keep, over a small tree with hidden entries and links in
// and out of it. The input is one instruction to a line:
//
//     k NAME      the files to keep include NAME
//     f A NAME     a file NAME in the folder A
//     d A NAME     a folder NAME in the folder A
//     l A B NAME   a link NAME in the folder A to the folder B
//     m A B NAME   a link NAME in the folder A to what is called NAME in the folder B
//
// A and B are the numbers of folders in the order in which they are made: 0 is the installation, 1 a folder beside it,
// 2 the folder above both, and 3 the first one that the input makes.

#include "install/cleaning.h"

#include "fuzz/filewatch.h"
#include "fuzz/fuzzing.h"

#include <QFile>

#include <climits>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <set>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

using namespace freshen;

namespace {

using Names = std::vector<std::string>;

constexpr std::size_t mostFolders = 10;
constexpr int mostInstructions = 40;

/// The real path of what \a path leads to; empty where it leads nowhere.
std::string realPath(const std::string &path)
{
    char resolved[PATH_MAX];
    return ::realpath(path.c_str(), resolved) == nullptr ? std::string() : std::string(resolved);
}

std::string folderOf(const std::string &path)
{
    return path.substr(0, path.rfind('/'));
}

std::string nameOf(const std::string &path)
{
    return path.substr(path.rfind('/') + 1);
}

bool isHidden(const std::string &path)
{
    return nameOf(path).front() == '.';
}

bool exists(const std::string &path)
{
    struct stat status = {};
    return ::lstat(path.c_str(), &status) == 0;
}

bool isRealFolder(const std::string &path)
{
    struct stat status = {};
    return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool leadsToFolder(const std::string &path)
{
    struct stat status = {};
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool isPlainFile(const std::string &path)
{
    struct stat status = {};
    return ::lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

/// The paths of the entries of \a folder.
Names entriesOf(const std::string &folder)
{
    Names entries;
    DIR *stream = ::opendir(folder.c_str());
    if (stream == nullptr)
        return entries;
    while (const dirent *entry = ::readdir(stream)) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..")
            entries.push_back(folder + '/' + name);
    }
    ::closedir(stream);
    return entries;
}

void removeTree(const std::string &folder)
{
    for (const std::string &path : entriesOf(folder)) {
        if (isRealFolder(path))
            removeTree(path);
        else
            ::unlink(path.c_str());
    }
    ::rmdir(folder.c_str());
}

/// Everything below \a folder, links not followed.
void collect(const std::string &folder, std::set<std::string> &paths)
{
    for (const std::string &path : entriesOf(folder)) {
        paths.insert(path);
        if (isRealFolder(path))
            collect(path, paths);
    }
}

/// The real folders that can be reached from \a folder over entries that are not hidden, links to folders included.
void reach(const std::string &folder, std::set<std::string> &reached)
{
    if (!reached.insert(folder).second)
        return;
    for (const std::string &path : entriesOf(folder)) {
        if (!isHidden(path) && leadsToFolder(path))
            reach(realPath(path), reached);
    }
}

/// The tree that an input describes.
class Tree
{
public:
    explicit Tree(const std::string &top) : m_top(top)
    {
        removeTree(top);
        for (const std::string &folder : {top, installation(), top + "/beside"}) {
            require(::mkdir(folder.c_str(), 0700) == 0, "the tree can be made");
        }
        m_folders = {installation(), top + "/beside", top};
        makeFile(top + "/canary");
    }

    [[nodiscard]] std::string installation() const
    {
        return m_top + "/installation";
    }
    [[nodiscard]] const QStringList &filesToKeep() const
    {
        return m_filesToKeep;
    }
    [[nodiscard]] bool keeps(const std::string &path) const
    {
        return folderOf(path) == installation() && m_filesToKeep.contains(QString::fromStdString(nameOf(path)));
    }

    void obey(const QByteArray &line)
    {
        Input input(reinterpret_cast<const std::uint8_t *>(line.constData()), static_cast<std::size_t>(line.size()));
        const auto instruction = static_cast<char>(input.byte());
        if (instruction == 'k') {
            m_filesToKeep += QString::fromUtf8(input.rest().mid(1));
            return;
        }
        const std::string folder = nextFolder(input);
        const std::string target = instruction == 'l' || instruction == 'm' ? nextFolder(input) : std::string();
        const QByteArray bytes = input.rest().mid(1, NAME_MAX);
        const std::string name = bytes.toStdString();
        // The name of an entry as the file system takes it and Qt can tell it.
        if (name.empty() || QFile::encodeName(QFile::decodeName(bytes)) != bytes || name == "." || name == ".." ||
            name.find_first_of(std::string("/\0", 2)) != std::string::npos)
            return;
        const std::string path = folder + '/' + name;
        if (instruction == 'f')
            makeFile(path);
        else if (instruction == 'd' && m_folders.size() < mostFolders && ::mkdir(path.c_str(), 0700) == 0)
            m_folders.push_back(path);
        else if (instruction == 'l')
            static_cast<void>(::symlink(target.c_str(), path.c_str()) == 0);
        else if (instruction == 'm')
            static_cast<void>(::symlink((target + '/' + name).c_str(), path.c_str()) == 0);
    }

private:
    static void makeFile(const std::string &path)
    {
        // Not through a link.
        const int file = ::open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY, 0600);
        if (file >= 0)
            ::close(file);
    }
    [[nodiscard]] const std::string &nextFolder(Input &input) const
    {
        // A blank, and the digit.
        static_cast<void>(input.byte());
        return m_folders.at(input.byte() % 16U % m_folders.size());
    }

    std::string m_top;
    Names m_folders;
    QStringList m_filesToKeep;
};

/// What must hold before and after the cleaning of a tree.
class Cleaning
{
public:
    Cleaning(const Tree &tree, const std::string &top) : m_tree(tree)
    {
        reach(tree.installation(), m_reached);
        collect(top, m_before);
        for (const std::string &path : m_before) {
            if (isPlainFile(path))
                m_plainFiles.insert(path);
            // Neither folders nor links to them are kept.
            if (tree.keeps(path) && !leadsToFolder(path))
                m_kept.insert(path);
        }
    }

    void see(Change change, const std::string &path)
    {
        require(change == Change::RemoveFile || change == Change::RemoveFolder, "the cleaning only removes");
        const std::string entry = realPath(folderOf(path)) + '/' + nameOf(path);
        require(m_reached.count(folderOf(entry)) == 1, "what is removed lies in the installation or is led to from it");
        require(!isHidden(entry), "what is hidden is not removed");
        if (change == Change::RemoveFile)
            require(m_kept.count(entry) == 0, "a listed file at the top stays");
        // Each entry is tried at most once, however many ways lead to it.
        require(++m_calls <= m_before.size(), "the cleaning ends soon");
    }

    void checkRemains() const
    {
        require(exists(m_tree.installation()), "the installation's folder stays");
        for (const std::string &path : m_before) {
            const bool isReached = m_reached.count(folderOf(path)) == 1;
            if (!isReached || isHidden(path) || m_kept.count(path) == 1)
                require(exists(path), "what is hidden, listed or elsewhere stays");
            else if (m_plainFiles.count(path) == 1)
                require(!exists(path), "every other file is removed");
        }
    }

private:
    const Tree &m_tree;
    std::set<std::string> m_reached;
    std::set<std::string> m_before;
    std::set<std::string> m_plainFiles;
    std::set<std::string> m_kept;
    std::size_t m_calls = 0;
};

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string top = (privateFolder() + QLatin1String("/top")).toStdString();
    Tree tree(top);
    Input input(data, size);
    for (int i = 0; i < mostInstructions && !input.isEmpty(); ++i)
        tree.obey(input.line());

    Cleaning cleaning(tree, top);
    watchFiles([&cleaning](Change change, const std::string &path) { cleaning.see(change, path); },
               [&tree] { cleanFolder(QString::fromStdString(tree.installation()), false, tree.filesToKeep()); });
    cleaning.checkRemains();
    return 0;
}
