#include "PrintPrep/raster/RowPredictor.h"

#include <algorithm>
#include <array>
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

// Where a processor has wider vectors than every one of its kind, these loops take them: chosen as
// the program starts, with the same results. Not under the sanitizers, which are not ready by then.
#if defined(__x86_64__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define BLEEDWISE_WIDE_VECTORS __attribute__((target_clones("avx2", "default")))
#else
#define BLEEDWISE_WIDE_VECTORS
#endif

/// What a row has against each of its neighbours.
struct PerNeighbour {
    std::uint64_t left = 0;
    std::uint64_t above = 0;
};

std::uint32_t pixelAt(const std::uint8_t* bytes) {
    std::uint32_t pixel = 0;
    std::memcpy(&pixel, bytes, channels);
    return pixel;
}

/// How many pixels differ from their neighbours. The first one has none on its left.
BLEEDWISE_WIDE_VECTORS
PerNeighbour changes(const std::uint8_t* row, const std::uint8_t* above, std::size_t count) {
    std::uint32_t left = 0;
    std::uint32_t up = pixelAt(row) != pixelAt(above) ? 1U : 0U;
    for (std::size_t i = channels; i + channels <= count; i += channels) {
        left += pixelAt(row + i) != pixelAt(row + i - channels) ? 1U : 0U;
        up += pixelAt(row + i) != pixelAt(above + i) ? 1U : 0U;
    }
    return {left, up};
}

/// Bytes per step of the sums below: a vector's sums of absolute differences.
constexpr std::size_t block = 128;

/// One byte's difference as a distance from `middle`, which is no difference.
constexpr std::uint8_t middle = 0x80;

std::uint8_t aroundMiddle(std::uint8_t byte, std::uint8_t neighbour) {
    return static_cast<std::uint8_t>(byte - neighbour + middle);
}

std::uint32_t sumOfDistances(const std::uint8_t* bytes, const std::uint8_t* middles,
                             std::size_t count) {
    std::uint32_t sum = 0;
    // In these words GCC sees its instruction for such sums, which takes two blocks of memory.
    for (std::size_t i = 0; i < count; ++i)
        sum += static_cast<std::uint32_t>(
            std::abs(static_cast<int>(bytes[i]) - static_cast<int>(middles[i])));
    return sum;
}

/// How large the differences from the neighbours are together, as bytes around zero.
BLEEDWISE_WIDE_VECTORS
PerNeighbour costs(const std::uint8_t* row, const std::uint8_t* above, std::size_t count) {
    std::array<std::uint8_t, block> middles;
    middles.fill(middle);
    PerNeighbour sums;
    for (std::size_t i = 0; i < channels; ++i) {
        const std::uint8_t left = aroundMiddle(row[i], 0);
        const std::uint8_t up = aroundMiddle(row[i], above[i]);
        sums.left += sumOfDistances(&left, middles.data(), 1);
        sums.above += sumOfDistances(&up, middles.data(), 1);
    }
    std::array<std::uint8_t, block> left;
    std::array<std::uint8_t, block> up;
    const auto add = [&](std::size_t start, std::size_t size) {
        for (std::size_t i = 0; i < size; ++i) {
            left[i] = aroundMiddle(row[start + i], row[start + i - channels]);
            up[i] = aroundMiddle(row[start + i], above[start + i]);
        }
        sums.left += sumOfDistances(left.data(), middles.data(), size);
        sums.above += sumOfDistances(up.data(), middles.data(), size);
    };
    std::size_t done = channels;
    for (; done + block <= count; done += block)
        add(done, block);
    add(done, count - done);
    return sums;
}

BLEEDWISE_WIDE_VECTORS
void subtract(const std::uint8_t* row, const std::uint8_t* neighbours, std::uint8_t* output,
              std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        output[i] = static_cast<std::uint8_t>(row[i] - neighbours[i]);
}

void subtractLeft(const std::uint8_t* row, std::uint8_t* output, std::size_t count) {
    std::copy_n(row, channels, output);
    subtract(row + channels, row, output + channels, count - channels);
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
    output[0] = filter(row);
    std::uint8_t* differences = output + 1;
    if (output[0] == filterUp)
        subtract(row, above_, differences, rowBytes_);
    else if (output[0] == filterSub)
        subtractLeft(row, differences, rowBytes_);
    else
        std::copy_n(row, rowBytes_, differences);
    above_ = row;
}

std::uint8_t RowPredictor::filter(const std::uint8_t* row) const {
    const std::size_t pixels = rowBytes_ / channels;
    const PerNeighbour changed = changes(row, above_, rowBytes_);
    if (std::min(changed.above, changed.left) < pixels / drawnPart) {
        if (changed.above < changed.left)
            return filterUp;
        return changed.left < pixels / plainPart ? filterNone : filterSub;
    }
    const PerNeighbour cost = costs(row, above_, rowBytes_);
    return cost.left < cost.above ? filterSub : filterUp;
}

} // namespace Bleedwise
