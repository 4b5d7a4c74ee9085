#include "PrintPrep/raster/ColorTable.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <set>
#include <vector>

#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

using Bytes = std::vector<std::uint8_t>;

/// Colours without a pattern, the same at every run.
Bytes randomColors(std::size_t count) {
    Bytes bytes;
    std::uint32_t random = 1;
    for (std::size_t i = 0; i < 3 * count; ++i) {
        random = random * 1664525 + 1013904223; // Numerical Recipes' generator
        bytes.push_back(static_cast<std::uint8_t>(random >> 24U));
    }
    return bytes;
}

/// What is told apart in the table: straight, and with a sharp bend where red is in the middle.
std::uint16_t straight(const std::uint16_t* color, std::size_t channel) {
    return static_cast<std::uint16_t>((color[channel % 3] + 2 * color[(channel + 1) % 3]) / 3);
}
std::uint16_t bent(const std::uint16_t* color, std::size_t channel) {
    return color[0] < 0x8000 ? straight(color, channel)
                             : static_cast<std::uint16_t>(0xffff - straight(color, channel));
}

using Curve = std::uint16_t (*)(const std::uint16_t*, std::size_t);

ColorTable::Convert conversion(std::size_t channels, Curve curve) {
    return [=](const std::uint16_t* colors, std::uint16_t* results, std::size_t count) {
        for (std::size_t i = 0; i < count * channels; ++i)
            results[i] = curve(colors + i / channels * 3, i % channels);
    };
}

std::uint8_t byteOf(std::uint16_t number) {
    return static_cast<std::uint8_t>((number + 128) / 257);
}

/// Without the table.
Bytes exactly(const Bytes& source, std::size_t channels, Curve curve) {
    Bytes result;
    for (std::size_t pixel = 0; pixel < source.size(); pixel += 3) {
        std::array<std::uint16_t, 3> color{};
        for (std::size_t axis = 0; axis < 3; ++axis)
            color[axis] = static_cast<std::uint16_t>(source[pixel + axis] * 257);
        for (std::size_t channel = 0; channel < channels; ++channel)
            result.push_back(byteOf(curve(color.data(), channel)));
    }
    return result;
}

/// By a new table, `together` pixels at a time.
Bytes byTable(const Bytes& source, std::size_t channels, Curve curve, std::size_t together) {
    ColorTable table(channels, conversion(channels, curve));
    const std::size_t count = source.size() / 3;
    Bytes result(count * channels);
    for (std::size_t pixel = 0; pixel < count; pixel += together)
        table.convert(&source[3 * pixel], &result[channels * pixel],
                      std::min(together, count - pixel));
    return result;
}

int largestDifference(const Bytes& a, const Bytes& b) {
    int largest = 0;
    for (std::size_t i = 0; i < a.size(); ++i)
        largest = std::max(largest, std::abs(a[i] - b[i]));
    return largest;
}

class ColorTableOf : public testing::TestWithParam<std::size_t> {};

TEST_P(ColorTableOf, ReadsAStraightConversionWithinAStep) {
    const Bytes source = randomColors(5'000);
    EXPECT_LE(largestDifference(byTable(source, GetParam(), straight, source.size()),
                                exactly(source, GetParam(), straight)),
              1);
}

TEST_P(ColorTableOf, ConvertsColoursAtABendExactly) {
    Bytes source;
    for (int green = 0; green < 256; ++green) { // red in the one cell that has the bend
        for (const int red : {126, 127, 128, 129})
            source.insert(source.end(), {static_cast<std::uint8_t>(red),
                                         static_cast<std::uint8_t>(green), std::uint8_t{9}});
    }
    EXPECT_EQ(byTable(source, GetParam(), bent, source.size()), exactly(source, GetParam(), bent));
}

TEST_P(ColorTableOf, GivesTheSameHoweverManyPixelsComeTogether) {
    const Bytes source = randomColors(2'000);
    const Bytes all = byTable(source, GetParam(), bent, 2'000);
    for (const std::size_t together : {1U, 2U, 3U, 255U, 256U, 257U})
        EXPECT_EQ(byTable(source, GetParam(), bent, together), all) << together;
}

TEST_P(ColorTableOf, GivesTheSameASecondTime) {
    const Bytes source = randomColors(2'000);
    ColorTable table(GetParam(), conversion(GetParam(), bent));
    Bytes first(2'000 * GetParam());
    Bytes second(2'000 * GetParam());
    table.convert(source.data(), first.data(), 2'000);
    table.convert(source.data(), second.data(), 2'000);
    EXPECT_EQ(first, second);
}

TEST_P(ColorTableOf, WritesNothingBehindItsPixels) {
    const std::size_t channels = GetParam();
    for (const std::size_t count : {0U, 1U, 2U, 5U}) {
        ColorTable table(channels, conversion(channels, bent));
        Bytes result(8 * channels, 77);
        table.convert(randomColors(5).data(), result.data(), count);
        EXPECT_TRUE(std::all_of(result.begin() + static_cast<std::ptrdiff_t>(count * channels),
                                result.end(), [](int byte) { return byte == 77; }))
            << count;
    }
}

INSTANTIATE_TEST_SUITE_P(, ColorTableOf, testing::Values(3, 4));

TEST(ColorTable, AsksForNoColourOfItsGridTwice) {
    std::multiset<std::array<std::uint16_t, 3>> asked;
    ColorTable table(4,
                     [&](const std::uint16_t* colors, std::uint16_t* results, std::size_t count) {
                         for (std::size_t i = 0; i < count; ++i)
                             asked.insert({colors[3 * i], colors[3 * i + 1], colors[3 * i + 2]});
                         conversion(4, straight)(colors, results, count);
                     });
    const Bytes source = randomColors(3'000);
    Bytes result(12'000);
    table.convert(source.data(), result.data(), 3'000);
    EXPECT_TRUE(std::adjacent_find(asked.begin(), asked.end()) == asked.end());
}

TEST(ColorTable, TakesCellsForStraightUpToHalfAStep) {
    // In the middle of the cell of 0 to 5, the conversion leaves the straight way by `excess`.
    const auto excessive = [](std::uint16_t excess) {
        return [=](const std::uint16_t* colors, std::uint16_t* results, std::size_t count) {
            for (std::size_t i = 0; i < count; ++i) {
                const bool isMiddle = colors[3 * i] == 2 * 257 && colors[3 * i + 1] == 2 * 257;
                std::fill_n(results + 3 * i, 3, isMiddle ? 514 + excess : colors[3 * i]);
            }
        };
    };
    const Bytes middle = {2, 2, 2};
    for (const auto& [excess, expected] : {std::pair{128, 2}, {129, 3}, {257, 3}}) {
        ColorTable table(3, excessive(static_cast<std::uint16_t>(excess)));
        Bytes result(3);
        table.convert(middle.data(), result.data(), 1);
        EXPECT_EQ(result, Bytes(3, static_cast<std::uint8_t>(expected))) << excess;
    }
}

} // namespace
} // namespace Bleedwise
