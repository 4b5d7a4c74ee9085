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

} // namespace

ColorTable::ColorTable(std::size_t channels, const Convert& convert)
    : channels_(channels), nodes_(nodesPerAxis * nodesPerAxis * nodesPerAxis) {
    constexpr std::size_t step16 = stepBytes * 257;
    std::vector<std::uint16_t> colors;
    for (std::size_t red = 0; red < nodesPerAxis; ++red) {
        for (std::size_t green = 0; green < nodesPerAxis; ++green) {
            for (std::size_t blue = 0; blue < nodesPerAxis; ++blue) {
                for (const std::size_t level : {red, green, blue})
                    colors.push_back(static_cast<std::uint16_t>(level * step16));
            }
        }
    }
    std::vector<std::uint16_t> results(nodes_.size() * channels);
    convert(colors.data(), results.data(), nodes_.size());

    constexpr double scale = 256.0 / stepBytes / 257; // from 65535ths to 51.2ths of a byte's step
    for (std::size_t node = 0; node < nodes_.size(); ++node) {
        for (std::size_t channel = 0; channel < channels; ++channel)
            nodes_[node][channel] =
                static_cast<std::uint16_t>(std::lround(results[node * channels + channel] * scale));
    }
}

void ColorTable::convert(const std::uint8_t* source, std::uint8_t* destination,
                         std::size_t count) const {
    if (channels_ == 4)
        convertChannels<4>(source, destination, count);
    else
        convertChannels<3>(source, destination, count);
}

template <std::size_t channels>
void ColorTable::convertChannels(const std::uint8_t* source, std::uint8_t* destination,
                                 std::size_t count) const {
    for (; count > 0; --count, source += 3, destination += channels) {
        const Node* cell = &nodes_[axes[0].distance[source[0]] + axes[1].distance[source[1]] +
                                   axes[2].distance[source[2]]];
        const Tetrahedron& inside =
            tetrahedra[axes[0].part[source[0]] + axes[1].part[source[1]] + axes[2].part[source[2]]];
        constexpr Lanes half = {128, 128, 128, 128};
        const Lanes sum = load(cell[0]) * inside.weights[0] +
                          load(cell[inside.corners[0]]) * inside.weights[1] +
                          load(cell[inside.corners[1]]) * inside.weights[2] +
                          load(cell[lastCorner]) * inside.weights[3] + half;
        for (std::size_t channel = 0; channel < channels; ++channel)
            destination[channel] = static_cast<std::uint8_t>(sum[channel] >> 8U);
    }
}

} // namespace Bleedwise
