#pragma once

#include <QByteArray>

#include <cstddef>
#include <cstdint>
#include <random>

/// Changes of ZIP archives (PKWARE APPNOTE) that know their structure, so that most of what comes out is still read on
/// to the place of the change.
namespace zip {

/// Random numbers of 31 bits; the same seed gives the same ones.
class Random
{
public:
    explicit Random(unsigned int seed) : m_engine(seed) {}
    unsigned int operator()()
    {
        return static_cast<unsigned int>(m_engine());
    }

private:
    std::minstd_rand m_engine;
};

/// Changes some bytes in a buffer; gives their new number, at most \a maximum.
using ChangeBytes = std::size_t (*)(std::uint8_t *data, std::size_t size, std::size_t maximum);

/// The archive taken apart, changed in one or two ways (entries, names, contents, methods, flags, ZIP64 records) and
/// put together again, with sound offsets and sizes and mostly sound checksums. What is no archive becomes a small one.
[[nodiscard]] QByteArray rebuilt(const QByteArray &archive, Random &random, ChangeBytes changeBytes);

/// Changes one field of one record of \a archive where it stands.
void changeField(QByteArray &archive, Random &random);

} // namespace zip
