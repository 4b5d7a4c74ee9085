#include "PrintPrep/raster/ColorTable.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace Bleedwise {
namespace {

constexpr std::size_t stepBytes = 5;           // bytes from one grid colour to the next
constexpr std::size_t cells = 255 / stepBytes; // per axis
constexpr std::size_t nodesPerAxis = cells + 1;
constexpr std::array<std::size_t, 3> strides = {nodesPerAxis * nodesPerAxis, nodesPerAxis, 1};
constexpr std::size_t lastCorner = strides[0] + strides[1] + strides[2];

/// Where a byte lies on its axis. The last byte counts to the last cell, whose end it is.
struct Place {
    std::uint32_t cell;
    std::uint32_t fraction; // 0 to 5
};

constexpr Place place(std::size_t byte) {
    const std::size_t cell = std::min(byte / stepBytes, cells - 1);
    return {static_cast<std::uint32_t>(cell), static_cast<std::uint32_t>(byte - cell * stepBytes)};
}

constexpr std::size_t fractions = stepBytes + 1;

/// For each axis and byte: the distance of its cell in nodes, and above that its part of the number
/// of the tetrahedron. The sums of three of them are those of a colour.
using Axis = std::array<std::uint64_t, 256>;

constexpr std::array<Axis, 3> makeAxes() {
    std::array<Axis, 3> axes{};
    constexpr std::array<std::size_t, 3> parts = {fractions * fractions, fractions, 1};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        for (std::size_t byte = 0; byte < 256; ++byte)
            axes[axis][byte] = place(byte).cell * strides[axis] | place(byte).fraction * parts[axis]
                                                                      << 32U;
    }
    return axes;
}

constexpr std::array<Axis, 3> axes = makeAxes();

/// Where a colour lies.
struct Position {
    std::uint32_t cell; // its first node
    std::uint32_t tetrahedron;
};

Position positionOf(const std::uint8_t* color) {
    const std::uint64_t sum = axes[0][color[0]] + axes[1][color[1]] + axes[2][color[2]];
    return {static_cast<std::uint32_t>(sum), static_cast<std::uint32_t>(sum >> 32U)};
}

struct Tetrahedron {
    std::array<std::uint32_t, 2> corners{};
    std::array<std::uint16_t, 4> weights{};
};

/// The path from a cell's first corner to its last follows the axes by falling fraction; a corner's
/// weight is how much the fraction falls behind it.
constexpr Tetrahedron makeTetrahedron(std::array<std::size_t, 3> fraction) {
    std::array<std::size_t, 3> order = {0, 1, 2};
    for (std::size_t pass = 0; pass < 2; ++pass) {
        for (std::size_t i = 0; i < 2; ++i) {
            if (fraction[order[i]] < fraction[order[i + 1]])
                std::swap(order[i], order[i + 1]);
        }
    }
    const auto weight = [](std::size_t value) { return static_cast<std::uint16_t>(value); };
    Tetrahedron result;
    result.corners = {static_cast<std::uint32_t>(strides[order[0]]),
                      static_cast<std::uint32_t>(strides[order[0]] + strides[order[1]])};
    result.weights = {weight(stepBytes - fraction[order[0]]),
                      weight(fraction[order[0]] - fraction[order[1]]),
                      weight(fraction[order[1]] - fraction[order[2]]), weight(fraction[order[2]])};
    return result;
}

constexpr auto makeTetrahedra() {
    std::array<Tetrahedron, fractions * fractions * fractions> result{};
    for (std::size_t red = 0; red < fractions; ++red) {
        for (std::size_t green = 0; green < fractions; ++green) {
            for (std::size_t blue = 0; blue < fractions; ++blue)
                result[(red * fractions + green) * fractions + blue] =
                    makeTetrahedron({red, green, blue});
        }
    }
    return result;
}

constexpr auto tetrahedra = makeTetrahedra();

/// What a byte is in 16 bits.
constexpr std::uint16_t wide(std::size_t byte) {
    return static_cast<std::uint16_t>(byte * 257);
}

/// Two colours of four channels.
using Lanes [[gnu::vector_size(16)]] = std::uint16_t;

Lanes pairOf(const std::array<std::uint16_t, 4>& a, const std::array<std::uint16_t, 4>& b) {
    using Halves [[gnu::vector_size(16)]] = std::uint64_t;
    return std::bit_cast<Lanes>(
        Halves{std::bit_cast<std::uint64_t>(a), std::bit_cast<std::uint64_t>(b)});
}

/// The same weight for all channels of a colour.
template <int corner>
Lanes weightOf(Lanes weights) {
    constexpr int other = corner + 4;
    return __builtin_shufflevector(weights, weights, corner, corner, corner, corner, other, other,
                                   other, other);
}

/// A colour's cell, by its first node, and where it lies within.
struct Interpolation {
    const std::array<std::uint16_t, 4>* cell;
    const Tetrahedron* inside;
};

/// Two interpolated colours in 256ths of a byte's step.
Lanes interpolate(const Interpolation& a, const Interpolation& b) {
    const Lanes weights = pairOf(a.inside->weights, b.inside->weights);
    const auto corner = [&](std::size_t index) {
        return pairOf(a.cell[a.inside->corners.data()[index]],
                      b.cell[b.inside->corners.data()[index]]);
    };
    return pairOf(a.cell[0], b.cell[0]) * weightOf<0>(weights) + corner(0) * weightOf<1>(weights) +
           corner(1) * weightOf<2>(weights) +
           pairOf(a.cell[lastCorner], b.cell[lastCorner]) * weightOf<3>(weights);
}

/// Bytes of two colours of four channels.
using PairOfBytes = std::array<std::uint8_t, 8>;

PairOfBytes rounded(Lanes colors) {
    using Bytes [[gnu::vector_size(8)]] = std::uint8_t;
    constexpr std::uint16_t half = 128;
    return std::bit_cast<PairOfBytes>(__builtin_convertvector((colors + half) >> 8U, Bytes));
}

/// Each call for colours costs something, so that many are asked for together.
constexpr std::size_t cellsAtOnce = 32;
constexpr std::size_t pixelsAtOnce = 256;

/// No colour: those stay below a fifth.
constexpr std::array<std::uint16_t, 4> unknownNode = {0xffff, 0xffff, 0xffff, 0xffff};

constexpr std::size_t nodeAt(const std::array<std::size_t, 3>& position) {
    return position[0] * strides[0] + position[1] * strides[1] + position[2] * strides[2];
}

/// Colours in rough cells that are remembered.
constexpr std::size_t knownBits = 12;

/// A colour as one number that is never 0, which is an empty place among the known ones.
std::uint32_t numberOf(const std::uint8_t* color) {
    return 1U << 24U | std::uint32_t{color[0]} << 16U | std::uint32_t{color[1]} << 8U | color[2];
}

/// Whether an interpolated channel, in 256ths of a byte's step, is within half a step of the exact
/// one, in 257ths.
bool isNear(std::uint16_t interpolated, std::uint16_t exact) {
    return std::abs(exact * 256 - interpolated * 257) <= 128 * 257;
}

/// A channel of a node from 65535ths, rounded: none lies half-way between whole numbers.
std::uint16_t nodeChannel(std::uint16_t exact) {
    constexpr std::uint32_t steps = stepBytes * 257;
    return static_cast<std::uint16_t>((exact * 2U * 256 + steps) / (2 * steps));
}

} // namespace

ColorTable::ColorTable(std::size_t channels, Convert convert)
    : channels_(channels), convert_(std::move(convert)),
      nodes_(nodesPerAxis * nodesPerAxis * nodesPerAxis, unknownNode), cells_(nodes_.size()),
      known_(std::size_t{1} << knownBits) {}

void ColorTable::convert(const std::uint8_t* source, std::uint8_t* destination, std::size_t count) {
    const std::lock_guard lock(mutex_);
    while (count > 0) {
        const std::size_t now = std::min(count, pixelsAtOnce);
        if (channels_ == 4)
            convertSome<4>(source, destination, now);
        else
            convertSome<3>(source, destination, now);
        source += 3 * now;
        destination += channels_ * now;
        count -= now;
    }
}

/// Interpolates all, and then sees to those pixels that want more, so that the usual way neither
/// branches nor waits.
template <std::size_t channels>
void ColorTable::convertSome(const std::uint8_t* source, std::uint8_t* destination,
                             std::size_t count) {
    std::array<std::uint16_t, pixelsAtOnce> others;
    std::size_t otherCount = 0;
    const auto lookUp = [&, nodes = nodes_.data(), states = cells_.data()](std::size_t pixel) {
        const Position position = positionOf(source + 3 * pixel);
        others.data()[otherCount] = static_cast<std::uint16_t>(pixel);
        otherCount += states[position.cell] != Cell::smooth ? 1U : 0U;
        return Interpolation{nodes + position.cell, tetrahedra.data() + position.tetrahedron};
    };
    std::size_t pixel = 0;
    for (; pixel + 2 <= count; pixel += 2) {
        const Interpolation first = lookUp(pixel);
        const PairOfBytes bytes = rounded(interpolate(first, lookUp(pixel + 1)));
        if constexpr (channels == 4) {
            std::memcpy(destination + 4 * pixel, bytes.data(), 8);
        } else {
            std::memcpy(destination + 3 * pixel, bytes.data(), 3);
            std::memcpy(destination + 3 * pixel + 3, bytes.data() + 4, 3);
        }
    }
    if (pixel < count) {
        const Interpolation last = lookUp(pixel);
        std::memcpy(destination + channels * pixel, rounded(interpolate(last, last)).data(),
                    channels);
    }
    if (otherCount > 0)
        convertOthers<channels>(source, destination, {others.data(), otherCount});
}

/// Pixels in cells that are rough, or have been unknown so far.
template <std::size_t channels>
void ColorTable::convertOthers(const std::uint8_t* source, std::uint8_t* destination,
                               std::span<const std::uint16_t> pixels) {
    exploreAround(source, pixels);
    std::array<std::uint16_t, pixelsAtOnce> unknown;
    std::size_t unknownCount = 0;
    for (const std::size_t pixel : pixels) {
        const std::uint8_t* color = source + 3 * pixel;
        const Position position = positionOf(color);
        const Interpolation here = {&nodes_[position.cell], &tetrahedra[position.tetrahedron]};
        if (cells_[position.cell] == Cell::smooth)
            std::memcpy(destination + channels * pixel, rounded(interpolate(here, here)).data(),
                        channels);
        else if (const Known& known = knownAt(color); known.source == numberOf(color))
            std::memcpy(destination + channels * pixel, known.result.data(), channels);
        else
            unknown[unknownCount++] = static_cast<std::uint16_t>(pixel);
    }
    convertExactly<channels>(source, destination, {unknown.data(), unknownCount});
}

/// Pixels in rough cells.
template <std::size_t channels>
void ColorTable::convertExactly(const std::uint8_t* source, std::uint8_t* destination,
                                std::span<const std::uint16_t> pixels) {
    if (pixels.empty())
        return;
    std::array<std::uint16_t, pixelsAtOnce * 3> colors;
    std::array<std::uint16_t, pixelsAtOnce * channels> results;
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        const std::uint8_t* color = source + std::size_t{3} * pixels[i];
        for (std::size_t axis = 0; axis < 3; ++axis)
            colors[3 * i + axis] = wide(color[axis]);
    }
    convert_(colors.data(), results.data(), pixels.size());
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        const std::uint8_t* color = source + std::size_t{3} * pixels[i];
        Known& known = knownAt(color);
        known.source = numberOf(color);
        for (std::size_t channel = 0; channel < channels; ++channel)
            known.result[channel] =
                static_cast<std::uint8_t>((results[channels * i + channel] + 128) / 257);
        std::memcpy(destination + channels * pixels[i], known.result.data(), channels);
    }
}

/// Explores the cells of these pixels that are unknown so far.
void ColorTable::exploreAround(const std::uint8_t* source, std::span<const std::uint16_t> pixels) {
    std::array<Origin, cellsAtOnce> origins;
    std::size_t count = 0;
    for (const std::size_t pixel : pixels) {
        const std::uint8_t* color = source + 3 * pixel;
        Cell& cell = cells_[positionOf(color).cell];
        if (cell != Cell::unknown)
            continue;
        cell = Cell::rough; // for now, and thus once only
        for (std::size_t axis = 0; axis < 3; ++axis)
            origins[count][axis] = place(color[axis]).cell;
        if (++count == origins.size())
            explore({origins.data(), std::exchange(count, 0)});
    }
    explore({origins.data(), count});
}

/// Makes the grid known around cells, and tries the interpolation where it is worst: in the middle
/// of a cell, and of each tetrahedron.
void ColorTable::explore(std::span<const Origin> origins) {
    if (origins.empty())
        return;
    fillGrid(origins);
    constexpr std::array<std::array<std::size_t, 3>, 7> trials = {
        {{2, 2, 2}, {1, 2, 3}, {1, 3, 2}, {2, 1, 3}, {2, 3, 1}, {3, 1, 2}, {3, 2, 1}}};
    std::array<std::uint16_t, cellsAtOnce * trials.size() * 3> colors;
    std::array<std::uint16_t, cellsAtOnce * trials.size() * 4> results;
    std::size_t count = 0;
    for (const Origin& origin : origins) {
        for (const auto& trial : trials) {
            for (std::size_t axis = 0; axis < 3; ++axis)
                colors[count++] = wide(origin[axis] * stepBytes + trial[axis]);
        }
    }
    convert_(colors.data(), results.data(), count / 3);
    const std::uint16_t* result = results.data();
    for (const Origin& origin : origins) {
        const std::size_t node = nodeAt(origin);
        bool isSmooth = true;
        for (const auto& trial : trials) {
            const Tetrahedron& tetrahedron =
                tetrahedra[(trial[0] * fractions + trial[1]) * fractions + trial[2]];
            const Interpolation here = {&nodes_[node], &tetrahedron};
            const Lanes sum = interpolate(here, here);
            for (std::size_t channel = 0; channel < channels_; ++channel)
                isSmooth = isNear(sum[channel], *result++) && isSmooth;
        }
        cells_[node] = isSmooth ? Cell::smooth : Cell::rough;
    }
}

/// Makes the corners of cells known.
void ColorTable::fillGrid(std::span<const Origin> origins) {
    constexpr std::size_t corners = 8;
    std::array<std::size_t, cellsAtOnce * corners> missing;
    std::array<std::uint16_t, cellsAtOnce * corners * 3> colors;
    std::array<std::uint16_t, cellsAtOnce * corners * 4> results;
    std::size_t count = 0;
    for (const Origin& origin : origins) {
        for (std::size_t corner = 0; corner < corners; ++corner) {
            Origin position = origin;
            for (std::size_t axis = 0; axis < 3; ++axis)
                position[axis] += corner >> axis & 1U;
            const std::size_t node = nodeAt(position);
            if (nodes_[node][0] != unknownNode[0])
                continue;
            nodes_[node] = {}; // for now, and thus once only
            for (std::size_t axis = 0; axis < 3; ++axis)
                colors[3 * count + axis] = wide(position[axis] * stepBytes);
            missing[count++] = node;
        }
    }
    if (count == 0)
        return;
    convert_(colors.data(), results.data(), count);
    for (std::size_t i = 0; i < count; ++i) {
        for (std::size_t channel = 0; channel < channels_; ++channel)
            nodes_[missing[i]][channel] = nodeChannel(results[channels_ * i + channel]);
    }
}

ColorTable::Known& ColorTable::knownAt(const std::uint8_t* color) {
    constexpr std::uint32_t spread = 0x9e3779b1; // a prime near 2^32 / golden ratio
    return known_[numberOf(color) * spread >> (32 - knownBits)];
}

} // namespace Bleedwise
