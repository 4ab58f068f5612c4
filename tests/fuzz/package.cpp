// The package: storing and extraction of whatever the server sends. The input is the body of the reply. It is changed
// as an archive (PKWARE APPNOTE): its entries are taken apart, changed and put together again, or single fields of its
// records are changed where they stand.

#include "download/extraction.h"
#include "download/packagestore.h"
#include "fuzz/filewatch.h"
#include "fuzz/fuzzing.h"
#include "fuzz/ziparchive.h"
#include "fuzz/zipchanges.h"

#include <QBuffer>
#include <QDir>
#include <QFile>

#include <algorithm>
#include <cstring>
#include <dirent.h>
#include <set>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

using namespace freshen;

namespace {

/// The most that one byte of an archive becomes, compressed as the packages are.
constexpr qint64 largestRatio = 1032;
/// Checksums of larger files are left to the reader.
constexpr qint64 largestChecked = 64 * 1024;

/// The folder that the package is stored in, between two others that must stay as they are.
class Place
{
public:
    Place() : m_top(privateFolder() + QLatin1String("/above"))
    {
        QDir().mkpath(out());
        for (const char *path : {"/canary", "/parent/canary", "/parent/outside"})
            write(m_top + QLatin1String(path), "sings");
    }

    [[nodiscard]] QString parentDir() const
    {
        return m_top + QLatin1String("/parent");
    }
    [[nodiscard]] QString out() const
    {
        return parentDir() + QLatin1String("/out");
    }
    [[nodiscard]] QString archive() const
    {
        return parentDir() + QLatin1String("/Package.zip");
    }
    /// What lies around the target folder.
    [[nodiscard]] std::set<std::string> surroundings() const
    {
        std::set<std::string> names;
        for (const QString &folder : {privateFolder(), m_top, parentDir()}) {
            const QByteArray path = folder.toUtf8();
            DIR *stream = ::opendir(path.constData());
            while (const dirent *entry = ::readdir(stream))
                names.insert((path + '/' + entry->d_name).toStdString());
            ::closedir(stream);
        }
        return names;
    }
    [[nodiscard]] bool isSound() const
    {
        for (const char *path : {"/canary", "/parent/canary", "/parent/outside"}) {
            QFile file(m_top + QLatin1String(path));
            if (!file.open(QIODevice::ReadOnly) || file.readAll() != "sings")
                return false;
        }
        return true;
    }
    static void write(const QString &path, const QByteArray &content)
    {
        QFile file(path);
        require(file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(content) == content.size(),
                "the files of the test can be written");
    }

private:
    QString m_top;
};

struct Outcome
{
    bool succeeded = false;
    QString errorText;
    int announced = -1;
    int counted = 0;
};

Outcome extract(const Place &place)
{
    Outcome outcome;
    ExtractionObserver observer;
    observer.started = [&outcome](int entries) { outcome.announced = entries; };
    observer.entry = [&outcome](int number) {
        require(number == ++outcome.counted, "the entries are counted one by one");
    };
    const ExtractionResult result = extractPackage(place.archive(), place.out(), observer);
    outcome.succeeded = result.succeeded;
    outcome.errorText = result.errorText;
    return outcome;
}

/// Whether \a path, as a caller gave it, is \a folder or lies below it. No link is ever made there.
bool liesIn(const std::string &path, const std::string &folder)
{
    if (path.compare(0, folder.size(), folder) != 0)
        return false;
    const std::string below = path.substr(folder.size());
    return below.empty() || (below.front() == '/' && (below + '/').find("/../") == std::string::npos);
}

/// Looks at the files below \a folder and removes them.
void emptyFolder(const std::string &folder, const std::function<void(const std::string &, const struct stat &)> &look)
{
    DIR *stream = ::opendir(folder.c_str());
    if (stream == nullptr)
        return;
    while (const dirent *entry = ::readdir(stream)) {
        const std::string path = folder + '/' + entry->d_name;
        struct stat status = {};
        if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0 ||
            ::lstat(path.c_str(), &status) != 0)
            continue;
        if (S_ISDIR(status.st_mode)) {
            // The entry of a folder may have taken its permissions.
            ::chmod(path.c_str(), S_IRWXU);
            emptyFolder(path, look);
            ::rmdir(path.c_str());
        } else {
            look(path, status);
            ::unlink(path.c_str());
        }
    }
    ::closedir(stream);
}

void checkFiles(const Place &place, const QByteArray &body, bool succeeded)
{
    const std::set<quint32> checksums = zip::checksumsIn(body);
    emptyFolder(place.out().toStdString(), [&](const std::string &path, const struct stat &status) {
        require(S_ISREG(status.st_mode), "only files and folders are made");
        require(status.st_size <= largestRatio * body.size(), "a file is no larger than its compressed bytes can hold");
        if (!succeeded || status.st_size > largestChecked)
            return;
        QFile file(QFile::decodeName(path.c_str()));
        file.setPermissions(QFile::ReadOwner);
        if (file.open(QIODevice::ReadOnly))
            require(checksums.count(zip::checksum(file.readAll())) == 1,
                    "what was unpacked has a checksum of the archive");
    });
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const Place place;
    QByteArray body = Input(data, size).rest();
    const auto before = place.surroundings();

    Outcome outcome;
    const std::string out = place.out().toStdString();
    const std::string archive = place.archive().toStdString();
    watchFiles(
        [&out, &archive](Change change, const std::string &path) {
            if (path == archive)
                require(change == Change::Write || change == Change::RemoveFile, "the archive is written and removed");
            else
                require(liesIn(path, out), "nothing is changed but the archive and what lies in the target folder");
        },
        [&] {
            QBuffer reply(&body);
            reply.open(QIODevice::ReadOnly);
            require(storePackage(reply, place.archive()), "the package is stored");
            outcome = extract(place);
        });

    require(outcome.succeeded == !QFile::exists(place.archive()),
            "the archive goes if all was unpacked, and only then");
    require(outcome.succeeded == outcome.errorText.isEmpty(), "a failure has a text, a success none");
    if (outcome.succeeded)
        // An archive may announce fewer entries than it has: the number has 16 bits.
        require(outcome.counted >= outcome.announced, "all entries were unpacked");
    QFile::remove(place.archive());
    checkFiles(place, body, outcome.succeeded);
    require(place.surroundings() == before && place.isSound(), "nothing is written outside of the target folder");
    return 0;
}

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t *data, std::size_t size, std::size_t maximum);

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t *data, std::size_t size, std::size_t maximum,
                                               unsigned int seed)
{
    zip::Random random(seed);
    const unsigned int way = random() % 8;
    if (way == 0)
        return LLVMFuzzerMutate(data, size, maximum);
    const QByteArray before(reinterpret_cast<const char *>(data), static_cast<int>(size));
    // One change in a record, or the archive made anew with a change and perhaps one more in a record.
    QByteArray after = way < 4 ? before : zip::rebuilt(before, random, LLVMFuzzerMutate);
    if (way < 5)
        zip::changeField(after, random);
    const std::size_t length = std::min(static_cast<std::size_t>(after.size()), maximum);
    std::memcpy(data, after.constData(), length);
    return length;
}
