#include "PrintPrep/raster/RowPredictor.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace Bleedwise {
namespace {

/// PNG filter types (RFC 2083, chapter 6). Measured on photographs, flat art and text, the choice
/// among these gives smaller files than any of the five alone, and than the choice among all,
/// whose Average and Paeth also take several times as long.
constexpr std::uint8_t filterNone = 0;
constexpr std::uint8_t filterSub = 1;
constexpr std::uint8_t filterUp = 2;

/// Of this part of the pixels must be equal to a neighbour for a row to count as drawn and not as
/// photographed: not the differences' sizes then decide but how many there are.
constexpr std::size_t drawnPart = 2;

/// A row with fewer changes than this part of its pixels compresses better as it is: a letter's
/// edge is the same bytes again and again, but not the same differences.
constexpr std::size_t plainPart = 16;

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

/// How many pixels differ between two rows of `count` bytes.
std::size_t changes(const std::uint8_t* row, const std::uint8_t* other, std::size_t count) {
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i + channels <= count; i += channels) {
        std::uint32_t pixel = 0;
        std::uint32_t otherPixel = 0;
        std::memcpy(&pixel, row + i, channels);
        std::memcpy(&otherPixel, other + i, channels);
        sum += pixel != otherPixel ? 1 : 0;
    }
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
    if (std::memcmp(row, above_, rowBytes_) == 0) {
        output[0] = filterUp;
        std::fill_n(output + 1, rowBytes_, 0);
        return; // the row above is as good a neighbour for the next one
    }
    const std::size_t pixels = rowBytes_ / channels;
    const std::size_t changesAbove = changes(row, above_, rowBytes_);
    const std::size_t changesLeft = changes(row + channels, row, rowBytes_ - channels);
    if (std::min(changesAbove, changesLeft) < pixels / drawnPart)
        predictDrawn(row, output, changesAbove, changesLeft);
    else
        predictPhotographed(row, output);
    above_ = row;
}

void RowPredictor::predictDrawn(const std::uint8_t* row, std::uint8_t* output,
                                std::size_t changesAbove, std::size_t changesLeft) const {
    std::uint8_t* differences = output + 1;
    if (changesAbove < changesLeft) {
        output[0] = filterUp;
        subtract(row, above_, differences, rowBytes_);
    } else if (changesLeft < rowBytes_ / channels / plainPart) {
        output[0] = filterNone;
        std::copy_n(row, rowBytes_, differences);
    } else {
        output[0] = filterSub;
        subtractLeft(row, differences, rowBytes_);
    }
}

void RowPredictor::predictPhotographed(const std::uint8_t* row, std::uint8_t* output) const {
    std::uint8_t* differences = output + 1;
    subtractLeft(row, differences, rowBytes_);
    const std::uint64_t leftCost = cost(differences, rowBytes_);
    // Up is written over Sub and taken back when it turns out dearer: seldom, and cheaper than a
    // second buffer.
    subtract(row, above_, differences, rowBytes_);
    output[0] = filterUp;
    if (leftCost < cost(differences, rowBytes_)) {
        subtractLeft(row, differences, rowBytes_);
        output[0] = filterSub;
    }
}

} // namespace Bleedwise
