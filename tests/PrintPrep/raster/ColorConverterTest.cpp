#include "PrintPrep/raster/ColorConverter.h"

#include "support/Rendering.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

using Testing::outputProfile;

std::shared_ptr<const ColorConverter> fromSRGB(Intent intent = Intent::relativeColorimetric) {
    return ColorConverter::create(Profile::sRGB(), outputProfile().profile(), intent);
}

/// Colours without a pattern, the same at every run.
std::vector<std::uint8_t> randomBytes(std::size_t count) {
    std::vector<std::uint8_t> bytes;
    std::uint32_t random = 1;
    for (std::size_t i = 0; i < count; ++i) {
        random = random * 1664525 + 1013904223; // Numerical Recipes' generator
        bytes.push_back(static_cast<std::uint8_t>(random >> 24U));
    }
    return bytes;
}

/// How many of a million bytes differ by more than `distance`.
std::size_t perMillion(const std::vector<std::uint8_t>& a, const std::vector<std::uint8_t>& b,
                       int distance) {
    std::size_t different = 0;
    for (std::size_t i = 0; i < a.size(); ++i)
        different += std::abs(a[i] - b[i]) > distance ? 1U : 0U;
    return different * 1'000'000 / a.size();
}

TEST(IntentNamed, KnowsTheNamesOfAPDF) {
    EXPECT_EQ(intentNamed("Perceptual"), Intent::perceptual);
    EXPECT_EQ(intentNamed("RelativeColorimetric"), Intent::relativeColorimetric);
    EXPECT_EQ(intentNamed("Saturation"), Intent::saturation);
    EXPECT_EQ(intentNamed("AbsoluteColorimetric"), Intent::absoluteColorimetric);
}

TEST(IntentNamed, TakesUnknownNamesForRelativeColorimetric) {
    EXPECT_EQ(intentNamed("Vivid"), Intent::relativeColorimetric);
    EXPECT_EQ(intentNamed(""), Intent::relativeColorimetric);
}

TEST(ColorConverter, TakesPixelsOfRGB) {
    EXPECT_TRUE(fromSRGB()->convertsPixels());
}

TEST(ColorConverter, TakesNoPixelsOfLab) {
    const auto profile = Profile::fromBytes(Testing::labProfile());
    ASSERT_TRUE(profile);
    const auto converter =
        ColorConverter::create(*profile, outputProfile().profile(), Intent::relativeColorimetric);
    ASSERT_TRUE(converter);
    EXPECT_FALSE(converter->convertsPixels());
}

TEST(ColorConverter, IsNotMadeFromAProfileWithoutTables) {
    // A header and an empty list of tags.
    std::string header = Testing::otherCMYKProfile().substr(0, 132);
    std::fill(header.begin() + 128, header.end(), '\0');
    header.replace(0, 4, std::string("\0\0\0\x84", 4));
    const auto empty = Profile::fromBytes(header);
    ASSERT_TRUE(empty);
    EXPECT_EQ(ColorConverter::create(*empty, outputProfile().profile(), Intent::perceptual),
              nullptr);
}

class MissingTable : public testing::TestWithParam<const char*> {};

INSTANTIATE_TEST_SUITE_P(Tags, MissingTable,
                         testing::Values("A2B0", "A2B1", "A2B2", "B2A0", "B2A1", "B2A2", "wtpt",
                                         "A2B", "B2A"),
                         [](const auto& tag) { return std::string(tag.param); });

/// The output profile without the tables whose names begin so.
std::string without(std::string_view tag) {
    std::string bytes(outputProfile().bytes());
    const std::size_t listEnd = 132 + std::size_t{12} * static_cast<unsigned char>(bytes[131]);
    for (std::size_t place = bytes.find(tag, 132); place < listEnd; place = bytes.find(tag, place))
        bytes[place] = 'n'; // no tag of that name
    return bytes;
}

TEST_P(MissingTable, LetsProfilesBeConnectedJustWhenAConverterIsMade) {
    const auto profile = Profile::fromBytes(without(GetParam()));
    ASSERT_TRUE(profile);
    for (const Intent intent : {Intent::perceptual, Intent::relativeColorimetric,
                                Intent::saturation, Intent::absoluteColorimetric}) {
        EXPECT_EQ(ColorConverter::connects(Profile::sRGB(), *profile, intent),
                  ColorConverter::create(Profile::sRGB(), *profile, intent) != nullptr);
        EXPECT_EQ(ColorConverter::connects(*profile, outputProfile().profile(), intent),
                  ColorConverter::create(*profile, outputProfile().profile(), intent) != nullptr);
    }
}

TEST(ColorConverter, RoundsPixelsFromItsPreciseColors) {
    const auto converter = fromSRGB();
    const std::vector<std::uint8_t> source = randomBytes(3000);
    std::vector<std::uint8_t> pixels(4000);
    converter->convertPixels(source.data(), pixels.data(), 1000);
    for (std::size_t pixel = 0; pixel < 1000; ++pixel) {
        const std::array<double, 3> color = {source[3 * pixel] / 255., source[3 * pixel + 1] / 255.,
                                             source[3 * pixel + 2] / 255.};
        std::array<std::uint16_t, 4> precise{};
        converter->convert(color.data(), precise.data());
        for (std::size_t ink = 0; ink < 4; ++ink)
            ASSERT_NEAR(pixels[4 * pixel + ink], precise[ink] / 257., 0.51);
    }
}

class EveryIntentsColorTable : public testing::TestWithParam<Intent> {};

TEST_P(EveryIntentsColorTable, IsWithinTwoOf255OfTheProfiles) {
    const auto converter = fromSRGB(GetParam());
    constexpr std::size_t count = 400'000;
    const std::vector<std::uint8_t> source = randomBytes(3 * count);
    std::vector<std::uint8_t> precise(4 * count);
    std::vector<std::uint8_t> table(4 * count);
    converter->convertPixels(source.data(), precise.data(), count);
    converter->convertPixelsByTable(source.data(), table.data(), count);
    EXPECT_LT(perMillion(precise, table, 1), 1'000U);
    EXPECT_EQ(perMillion(precise, table, 2), 0U);
}

INSTANTIATE_TEST_SUITE_P(, EveryIntentsColorTable,
                         testing::Values(Intent::perceptual, Intent::relativeColorimetric,
                                         Intent::saturation, Intent::absoluteColorimetric));

TEST(ColorConverterTable, IsWithinTwoOf255WhereColoursAreFewToo) {
    const auto converter = fromSRGB();
    for (int level = 0; level < 256; ++level) {
        const auto byte = static_cast<std::uint8_t>(level);
        const std::vector<std::uint8_t> source = {byte, byte, byte, 255, byte, 0, 0, 255, byte};
        std::vector<std::uint8_t> precise(12);
        std::vector<std::uint8_t> table(12);
        converter->convertPixels(source.data(), precise.data(), 3);
        converter->convertPixelsByTable(source.data(), table.data(), 3);
        EXPECT_EQ(perMillion(precise, table, 2), 0U) << level;
    }
}

TEST(ColorConverterTable, GivesAColourTheSameInksWhateverCameBefore) {
    constexpr std::size_t count = 20'000;
    const std::vector<std::uint8_t> source = randomBytes(3 * count);
    std::vector<std::uint8_t> reversed;
    for (std::size_t pixel = count; pixel-- > 0;)
        reversed.insert(reversed.end(), &source[3 * pixel], &source[3 * pixel] + 3);
    std::vector<std::uint8_t> first(4 * count);
    std::vector<std::uint8_t> second(4 * count);
    fromSRGB()->convertPixelsByTable(source.data(), first.data(), count);
    fromSRGB()->convertPixelsByTable(reversed.data(), second.data(), count);
    for (std::size_t pixel = 0; pixel < count; ++pixel)
        ASSERT_TRUE(
            std::equal(&first[4 * pixel], &first[4 * pixel] + 4, &second[4 * (count - 1 - pixel)]));
}

TEST(ColorConverterTable, OfCMYKIsNearlyAsPreciseAsTheProfiles) {
    const auto converter =
        ColorConverter::create(*Profile::fromBytes(Testing::otherCMYKProfile()),
                               outputProfile().profile(), Intent::relativeColorimetric);
    constexpr std::size_t count = 20'000;
    const std::vector<std::uint8_t> source = randomBytes(4 * count);
    std::vector<std::uint8_t> precise(4 * count);
    std::vector<std::uint8_t> table(4 * count);
    converter->convertPixels(source.data(), precise.data(), count);
    converter->convertPixelsByTable(source.data(), table.data(), count);
    EXPECT_LT(perMillion(precise, table, 3), 10'000U);
}

TEST(ColorConverterWhite, IsNoInkInEveryWay) {
    for (const Intent intent : {Intent::perceptual, Intent::relativeColorimetric,
                                Intent::saturation, Intent::absoluteColorimetric}) {
        const auto converter = fromSRGB(intent);
        const std::array<double, 3> color = {1, 1, 1};
        std::array<std::uint16_t, 4> inks = {1, 1, 1, 1};
        converter->convert(color.data(), inks.data());
        EXPECT_EQ(inks, (std::array<std::uint16_t, 4>{}));

        const std::array<std::uint8_t, 3> pixel = {255, 255, 255};
        std::array<std::uint8_t, 4> bytes = {1, 1, 1, 1};
        converter->convertPixels(pixel.data(), bytes.data(), 1);
        EXPECT_EQ(bytes, (std::array<std::uint8_t, 4>{}));
        bytes = {1, 1, 1, 1};
        converter->convertPixelsByTable(pixel.data(), bytes.data(), 1);
        EXPECT_EQ(bytes, (std::array<std::uint8_t, 4>{}));
    }
}

TEST(ColorConverter, ClampsNumbersOutsideTheirRange) {
    const auto converter = fromSRGB();
    const std::array<double, 3> beyond = {2, -1, 0.5};
    const std::array<double, 3> clamped = {1, 0, 0.5};
    std::array<std::uint16_t, 4> a{};
    std::array<std::uint16_t, 4> b{};
    converter->convert(beyond.data(), a.data());
    converter->convert(clamped.data(), b.data());
    EXPECT_EQ(a, b);
}

} // namespace
} // namespace Bleedwise
