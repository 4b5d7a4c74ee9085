#include "PrintPrep/raster/ColorTable.h"

#include <algorithm>
#include <cmath>
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

/// For each byte and axis: the distance of its cell in nodes, and its part of the number of the
/// tetrahedron.
struct Axis {
    std::array<std::uint32_t, 256> distance{};
    std::array<std::uint32_t, 256> part{};
};

constexpr std::array<Axis, 3> makeAxes() {
    std::array<Axis, 3> axes{};
    constexpr std::array<std::size_t, 3> parts = {fractions * fractions, fractions, 1};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        for (std::size_t byte = 0; byte < 256; ++byte) {
            axes[axis].distance[byte] =
                static_cast<std::uint32_t>(place(byte).cell * strides[axis]);
            axes[axis].part[byte] = static_cast<std::uint32_t>(place(byte).fraction * parts[axis]);
        }
    }
    return axes;
}

constexpr std::array<Axis, 3> axes = makeAxes();

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

/// Four channels that the compiler keeps in one register.
using Lanes [[gnu::vector_size(8)]] = std::uint16_t;

Lanes load(const std::array<std::uint16_t, 4>& node) {
    Lanes lanes;
    std::memcpy(&lanes, node.data(), sizeof lanes);
    return lanes;
}

/// What a byte is in 16 bits.
constexpr std::uint16_t wide(std::size_t byte) {
    return static_cast<std::uint16_t>(byte * 257);
}

/// The interpolated colour in 256ths of a byte's step.
Lanes interpolate(const std::array<std::uint16_t, 4>* cell, const Tetrahedron& inside) {
    return load(cell[0]) * inside.weights[0] + load(cell[inside.corners[0]]) * inside.weights[1] +
           load(cell[inside.corners[1]]) * inside.weights[2] +
           load(cell[lastCorner]) * inside.weights[3];
}

/// No colour: those stay below a fifth.
constexpr std::array<std::uint16_t, 4> unknownNode = {0xffff, 0xffff, 0xffff, 0xffff};

constexpr std::size_t nodeAt(const std::array<std::size_t, 3>& position) {
    return position[0] * strides[0] + position[1] * strides[1] + position[2] * strides[2];
}

/// Colours in rough cells that are remembered.
constexpr std::size_t knownBits = 15;

} // namespace

ColorTable::ColorTable(std::size_t channels, Convert convert)
    : channels_(channels), convert_(std::move(convert)),
      nodes_(nodesPerAxis * nodesPerAxis * nodesPerAxis, unknownNode), cells_(nodes_.size()),
      known_(std::size_t{1} << knownBits) {}

void ColorTable::convert(const std::uint8_t* source, std::uint8_t* destination, std::size_t count) {
    const std::lock_guard lock(mutex_);
    if (channels_ == 4)
        convertChannels<4>(source, destination, count);
    else
        convertChannels<3>(source, destination, count);
}

template <std::size_t channels>
void ColorTable::convertChannels(const std::uint8_t* source, std::uint8_t* destination,
                                 std::size_t count) {
    for (; count > 0; --count, source += 3, destination += channels) {
        const std::size_t first =
            axes[0].distance[source[0]] + axes[1].distance[source[1]] + axes[2].distance[source[2]];
        if (cells_[first] != Cell::smooth) {
            if (cells_[first] == Cell::unknown)
                cells_[first] = explore(source);
            if (cells_[first] == Cell::rough) {
                std::copy_n(exactly(source).data(), channels, destination);
                continue;
            }
        }
        constexpr Lanes half = {128, 128, 128, 128};
        const Lanes sum = interpolate(&nodes_[first],
                                      tetrahedra[axes[0].part[source[0]] + axes[1].part[source[1]] +
                                                 axes[2].part[source[2]]]) +
                          half;
        for (std::size_t channel = 0; channel < channels; ++channel)
            destination[channel] = static_cast<std::uint8_t>(sum[channel] >> 8U);
    }
}

/// Makes the grid known around a colour, and tries the interpolation where it is worst: in the
/// middle of the cell, and of each tetrahedron.
ColorTable::Cell ColorTable::explore(const std::uint8_t* source) {
    std::array<std::size_t, 3> origin{};
    for (std::size_t axis = 0; axis < 3; ++axis)
        origin[axis] = place(source[axis]).cell;
    fillGrid(origin);

    constexpr std::array<std::array<std::size_t, 3>, 7> trials = {
        {{2, 2, 2}, {1, 2, 3}, {1, 3, 2}, {2, 1, 3}, {2, 3, 1}, {3, 1, 2}, {3, 2, 1}}};
    std::array<std::uint16_t, trials.size() * 3> colors{};
    std::array<std::uint16_t, trials.size() * 4> results{};
    for (std::size_t trial = 0; trial < trials.size(); ++trial) {
        for (std::size_t axis = 0; axis < 3; ++axis)
            colors[3 * trial + axis] = wide(origin[axis] * stepBytes + trials[trial][axis]);
    }
    convert_(colors.data(), results.data(), trials.size());
    const auto* cell = &nodes_[nodeAt(origin)];
    for (std::size_t trial = 0; trial < trials.size(); ++trial) {
        const Lanes sum = interpolate(cell, makeTetrahedron(trials[trial]));
        for (std::size_t channel = 0; channel < channels_; ++channel) {
            const double exact = results[channels_ * trial + channel] * (256.0 / 257);
            constexpr double tolerance = 128; // half a byte's step
            if (std::abs(exact - sum[channel]) > tolerance)
                return Cell::rough;
        }
    }
    return Cell::smooth;
}

/// Makes the corners of the cell at `origin` known.
void ColorTable::fillGrid(const std::array<std::size_t, 3>& origin) {
    constexpr std::size_t corners = 8;
    std::array<std::size_t, corners> missing{};
    std::size_t count = 0;
    std::array<std::uint16_t, corners * 3> colors{};
    for (std::size_t corner = 0; corner < corners; ++corner) {
        std::array<std::size_t, 3> position = origin;
        for (std::size_t axis = 0; axis < 3; ++axis)
            position[axis] += corner >> axis & 1U;
        const std::size_t node = nodeAt(position);
        if (nodes_[node] != unknownNode)
            continue;
        for (std::size_t axis = 0; axis < 3; ++axis)
            colors[3 * count + axis] = wide(position[axis] * stepBytes);
        missing[count++] = node;
    }
    std::array<std::uint16_t, corners * 4> results{};
    convert_(colors.data(), results.data(), count);
    constexpr double scale = 256.0 / stepBytes / 257; // from 65535ths
    for (std::size_t i = 0; i < count; ++i) {
        nodes_[missing[i]] = {};
        for (std::size_t channel = 0; channel < channels_; ++channel)
            nodes_[missing[i]][channel] =
                static_cast<std::uint16_t>(std::lround(results[channels_ * i + channel] * scale));
    }
}

const std::array<std::uint8_t, 4>& ColorTable::exactly(const std::uint8_t* source) {
    // Never 0, which is an empty place.
    const std::uint32_t color =
        1U << 24U | std::uint32_t{source[0]} << 16U | std::uint32_t{source[1]} << 8U | source[2];
    constexpr std::uint32_t spread = 0x9e3779b1; // a prime near 2^32 / golden ratio
    Known& place = known_[color * spread >> (32 - knownBits)];
    if (place.source != color) {
        const std::array<std::uint16_t, 3> numbers = {wide(source[0]), wide(source[1]),
                                                      wide(source[2])};
        std::array<std::uint16_t, 4> result{};
        convert_(numbers.data(), result.data(), 1);
        for (std::size_t channel = 0; channel < channels_; ++channel)
            place.result[channel] = static_cast<std::uint8_t>((result[channel] + 128) / 257);
        place.source = color;
    }
    return place.result;
}

} // namespace Bleedwise
