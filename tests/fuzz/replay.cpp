// Runs a target over files instead of random inputs: replay FILE|FOLDER... Folders need not be there. It stands in for
// libFuzzer's own main where the target is built by any compiler. A target that knows how to change an input in its own
// way is also run over a fixed number of such changes of each file.

#include "fuzz/fuzzing.h"

#include <QDirIterator>
#include <QFile>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <random>
#include <vector>

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv);
extern "C" __attribute__((weak)) std::size_t LLVMFuzzerCustomMutator(std::uint8_t *data, std::size_t size,
                                                                     std::size_t maximum, unsigned int seed);

namespace {

constexpr unsigned int changesOfEachFile = 500;
constexpr std::size_t largestInput = 4096;

std::minstd_rand plainChanges;

void run(const QByteArray &input)
{
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(input.constData()),
                           static_cast<std::size_t>(input.size()));
}

void runChanges(const QByteArray &input)
{
    std::vector<std::uint8_t> bytes(largestInput);
    std::size_t size = std::min(static_cast<std::size_t>(input.size()), largestInput);
    std::memcpy(bytes.data(), input.constData(), size);
    for (unsigned int seed = 1; seed <= changesOfEachFile; ++seed) {
        // Changes pile up; every now and then it begins anew.
        if (seed % 8 == 0) {
            size = std::min(static_cast<std::size_t>(input.size()), largestInput);
            std::memcpy(bytes.data(), input.constData(), size);
        }
        size = LLVMFuzzerCustomMutator(bytes.data(), size, largestInput, seed);
        LLVMFuzzerTestOneInput(bytes.data(), size);
    }
}

QStringList filesIn(const QString &path)
{
    if (QFileInfo(path).isFile())
        return {path};
    QStringList files;
    QDirIterator entries(path, QDir::Files);
    while (entries.hasNext())
        files += entries.next();
    files.sort();
    return files;
}

} // namespace

/// libFuzzer's change of some bytes, which a target's own changes may ask for.
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t *data, std::size_t size, std::size_t maximum)
{
    if (size == 0)
        size = std::min<std::size_t>(1, maximum);
    if (size > 0)
        data[plainChanges() % size] = static_cast<std::uint8_t>(plainChanges());
    return size;
}

int main(int argc, char **argv)
{
    LLVMFuzzerInitialize(&argc, &argv);
    int count = 0;
    run(QByteArray());
    for (int i = 1; i < argc; ++i) {
        for (const QString &path : filesIn(QFile::decodeName(argv[i]))) {
            QFile file(path);
            require(file.open(QIODevice::ReadOnly), "the input can be read");
            const QByteArray input = file.readAll();
            // Named before, so that a crash is told by its last line.
            std::printf("%s, %d bytes\n", qPrintable(path), input.size());
            std::fflush(stdout);
            run(input);
            if (LLVMFuzzerCustomMutator != nullptr)
                runChanges(input);
            ++count;
        }
    }
    require(count > 0, "there are inputs");
    std::printf("%d inputs\n", count);
    return 0;
}
