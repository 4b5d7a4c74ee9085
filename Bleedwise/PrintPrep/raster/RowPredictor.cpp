#include "PrintPrep/raster/RowPredictor.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace Bleedwise {
namespace {

/// PNG filter types (RFC 2083, chapter 6). Measured on photographs, flat art and text, the choice
/// between these two gives smaller files than any of the five alone, and than the choice among all,
/// whose Average and Paeth also take several times as long.
constexpr std::uint8_t filterSub = 1;
constexpr std::uint8_t filterUp = 2;

constexpr std::size_t channels = 4;

/// Bytes per step of the choice: short enough for sums of 16 bits in vector registers.
constexpr std::size_t block = 64;

std::uint8_t magnitude(std::uint8_t difference) {
    return std::min(difference, static_cast<std::uint8_t>(-difference));
}

/// How large the differences are together, as bytes around zero.
std::uint64_t cost(const std::uint8_t* differences, std::size_t count) {
    std::uint64_t sum = 0;
    std::size_t done = 0;
    for (; done + block <= count; done += block) {
        std::uint16_t part = 0;
        for (std::size_t i = 0; i < block; ++i)
            part = static_cast<std::uint16_t>(part + magnitude(differences[done + i]));
        sum += part;
    }
    for (; done < count; ++done)
        sum += magnitude(differences[done]);
    return sum;
}

void subtract(const std::uint8_t* row, const std::uint8_t* neighbours, std::uint8_t* output,
              std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        output[i] = static_cast<std::uint8_t>(row[i] - neighbours[i]);
}

void subtractLeft(const std::uint8_t* row, std::uint8_t* output, std::size_t count) {
    const std::size_t first = std::min(count, channels);
    std::copy_n(row, first, output);
    subtract(row + first, row, output + first, count - first);
}

} // namespace

RowPredictor::RowPredictor(std::size_t rowBytes, const std::uint8_t* above)
    : rowBytes_(rowBytes), blank_(above ? 0 : rowBytes), above_(above ? above : blank_.data()) {}

void RowPredictor::predict(const std::uint8_t* row, std::uint8_t* output) {
    std::uint8_t* differences = output + 1;
    if (std::memcmp(row, above_, rowBytes_) == 0) {
        output[0] = filterUp;
        std::fill_n(differences, rowBytes_, 0);
        return; // the row above is as good a neighbour for the next one
    }
    subtractLeft(row, differences, rowBytes_);
    const std::uint64_t leftCost = cost(differences, rowBytes_);
    output[0] = filterSub;
    // Up is written over Sub and taken back when it turns out dearer: seldom, and cheaper than a
    // second buffer.
    subtract(row, above_, differences, rowBytes_);
    output[0] = filterUp;
    if (leftCost < cost(differences, rowBytes_)) {
        subtractLeft(row, differences, rowBytes_);
        output[0] = filterSub;
    }
    above_ = row;
}

} // namespace Bleedwise
