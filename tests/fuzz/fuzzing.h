#pragma once

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <cstdint>

/// What the fuzz targets share. A target is one function that takes any bytes, passes them to the core logic and
/// requires what must hold for every input. libFuzzer drives it, or replay.cpp runs it over files.

/// The target.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

/// Ends the process with \a property, in words, if it does not hold.
void require(bool holds, const char *property);

/// A folder of this process alone, in memory where the system has such a place; empty at first. It lies below the
/// folder that the environment variable FRESHEN_FUZZ_PLACE names, if any, and goes with the process.
[[nodiscard]] const QString &privateFolder();

/// Cuts an input into values, from its start. An input that is used up gives zeros and empty texts.
class Input
{
public:
    Input(const std::uint8_t *data, std::size_t size);

    [[nodiscard]] bool isEmpty() const;
    /// One byte.
    [[nodiscard]] std::uint8_t byte();
    /// A signed number of four bytes, little-endian.
    [[nodiscard]] qint32 number();
    /// The bytes up to the next line feed, which is dropped.
    [[nodiscard]] QByteArray line();
    /// The same as UTF-8 text.
    [[nodiscard]] QString text();
    /// All that is left.
    [[nodiscard]] QByteArray rest();

private:
    QByteArray m_bytes;
    int m_position = 0;
};
