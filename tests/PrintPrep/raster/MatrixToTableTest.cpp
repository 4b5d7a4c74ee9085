#include "PrintPrep/raster/MatrixToTable.h"

#include "support/Rendering.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

using Testing::outputProfile;

std::unique_ptr<const MatrixToTable> wayOf(const Profile& source, const Profile& destination,
                                           Intent intent) {
    return MatrixToTable::of(source, destination, intent,
                             *ColorConverter::create(source, destination, intent));
}

/// The largest difference in 65535, over colours 15 bytes apart in each channel.
int largestDifference(const Profile& source, Intent intent) {
    const Profile& destination = outputProfile().profile();
    const auto littleCMS = ColorConverter::create(source, destination, intent);
    const auto way = MatrixToTable::of(source, destination, intent, *littleCMS);
    if (!way)
        return -1;
    int largest = 0;
    for (unsigned color = 0; color < 18 * 18 * 18 - 1; ++color) { // white has its own rule
        const std::array<unsigned, 3> bytes = {color % 18 * 15, color / 18 % 18 * 15,
                                               color / 324 * 15};
        std::array<std::uint16_t, 3> numbers{};
        std::array<double, 3> shares{};
        for (std::size_t channel = 0; channel < 3; ++channel) {
            numbers[channel] = static_cast<std::uint16_t>(bytes[channel] * 257);
            shares[channel] = bytes[channel] / 255.0;
        }
        std::array<std::uint16_t, 4> actual{};
        std::array<std::uint16_t, 4> expected{};
        way->convert(numbers.data(), actual.data(), 1);
        littleCMS->convert(shares.data(), expected.data());
        for (std::size_t ink = 0; ink < 4; ++ink)
            largest = std::max(largest, std::abs(actual[ink] - expected[ink]));
    }
    return largest;
}

TEST(MatrixToTable, GivesLittleCMSsInksOfSRGB) {
    const int difference = largestDifference(Profile::sRGB(), Intent::relativeColorimetric);
    EXPECT_GE(difference, 0);
    EXPECT_LE(difference, 32);
}

TEST(MatrixToTable, GivesLittleCMSsSaturatedInks) {
    const int difference = largestDifference(Profile::sRGB(), Intent::saturation);
    EXPECT_GE(difference, 0);
    EXPECT_LE(difference, 32);
}

TEST(MatrixToTable, GivesLittleCMSsInksOfAnotherRGB) {
    const auto adobeRGB = Profile::fromBytes(Testing::adobeRGBProfile());
    const int difference = largestDifference(*adobeRGB, Intent::relativeColorimetric);
    EXPECT_GE(difference, 0);
    EXPECT_LE(difference, 32);
}

TEST(MatrixToTable, ConvertsManyAsOneByOne) {
    const auto way =
        wayOf(Profile::sRGB(), outputProfile().profile(), Intent::relativeColorimetric);
    constexpr std::size_t count = 216; // six steps of each channel
    std::vector<std::uint16_t> colors;
    for (unsigned color = 0; color < count; ++color) {
        for (const unsigned step : {color % 6, color / 6 % 6, color / 36})
            colors.push_back(static_cast<std::uint16_t>(step * 51 * 257));
    }
    std::vector<std::uint16_t> together(4 * count);
    std::vector<std::uint16_t> alone(4 * count);
    way->convert(colors.data(), together.data(), count);
    for (std::size_t i = 0; i < count; ++i)
        way->convert(colors.data() + 3 * i, alone.data() + 4 * i, 1);
    EXPECT_EQ(together, alone);
}

TEST(MatrixToTable, LeavesAbsoluteColorsToLittleCMS) {
    EXPECT_FALSE(wayOf(Profile::sRGB(), outputProfile().profile(), Intent::absoluteColorimetric));
}

TEST(MatrixToTable, LeavesOtherSourcesToLittleCMS) {
    const auto cmyk = Profile::fromBytes(Testing::otherCMYKProfile());
    EXPECT_FALSE(wayOf(*cmyk, outputProfile().profile(), Intent::relativeColorimetric));
    EXPECT_FALSE(wayOf(Profile::lab(), outputProfile().profile(), Intent::relativeColorimetric));
}

TEST(MatrixToTable, LeavesOtherDestinationsToLittleCMS) {
    const auto adobeRGB = Profile::fromBytes(Testing::adobeRGBProfile());
    EXPECT_FALSE(wayOf(Profile::sRGB(), *adobeRGB, Intent::relativeColorimetric));
}

TEST(MatrixToTable, IsGivenUpWhereLittleCMSGivesOtherInks) {
    const Profile& destination = outputProfile().profile();
    const auto other = ColorConverter::create(*Profile::fromBytes(Testing::adobeRGBProfile()),
                                              destination, Intent::relativeColorimetric);
    EXPECT_FALSE(
        MatrixToTable::of(Profile::sRGB(), destination, Intent::relativeColorimetric, *other));
}

} // namespace
} // namespace Bleedwise
