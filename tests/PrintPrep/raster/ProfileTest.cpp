#include "PrintPrep/raster/Profile.h"

#include "support/Rendering.h"

#include <array>
#include <cmath>
#include <limits>
#include <optional>
#include <ostream>
#include <string>

#include <gtest/gtest.h>
#include <lcms2.h>

namespace Bleedwise {
namespace {

using Space = Profile::Space;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

/// CIE standard illuminant D65 and sRGB's primaries beside it (IEC 61966-2-1).
constexpr Profile::XYZ d65 = {0.9505, 1, 1.089};
constexpr std::array<Profile::XYZ, 3> sRGBPrimaries = {
    {{0.4124, 0.2126, 0.0193}, {0.3576, 0.7152, 0.1192}, {0.1805, 0.0722, 0.9505}}};

/// What a profile says of a colour, relative to white.
cmsCIELab measured(const Profile& profile, unsigned format, const std::array<double, 4>& color) {
    const Profile lab = Profile::lab();
    cmsHTRANSFORM transform =
        cmsCreateTransform(profile.handle(), format, lab.handle(), TYPE_Lab_DBL,
                           INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_NOOPTIMIZE);
    cmsCIELab result{};
    cmsDoTransform(transform, color.data(), &result, 1);
    cmsDeleteTransform(transform);
    return result;
}

struct Kind {
    const char* name;
    std::string (*bytes)();
    Space space;
    int channels;
};

std::ostream& operator<<(std::ostream& stream, const Kind& kind) {
    return stream << kind.name;
}

class ProfileFromBytes : public testing::TestWithParam<Kind> {
protected:
    static std::optional<Profile> profile() { return Profile::fromBytes(GetParam().bytes()); }
};

INSTANTIATE_TEST_SUITE_P(
    Kinds, ProfileFromBytes,
    testing::Values(Kind{"Gray", Testing::grayProfile, Space::gray, 1},
                    Kind{"RGB", Testing::adobeRGBProfile, Space::rgb, 3},
                    Kind{"CMYK", [] { return std::string(Testing::outputProfile().bytes()); },
                         Space::cmyk, 4},
                    Kind{"Lab", Testing::labProfile, Space::lab, 3}),
    [](const auto& kind) { return std::string(kind.param.name); });

TEST_P(ProfileFromBytes, KnowsItsSpace) {
    ASSERT_TRUE(profile());
    EXPECT_EQ(profile()->space(), GetParam().space);
}

TEST_P(ProfileFromBytes, KnowsItsChannels) {
    ASSERT_TRUE(profile());
    EXPECT_EQ(profile()->channels(), GetParam().channels);
}

TEST(Profile, OfAnotherSpaceHasNoChannels) {
    std::string bytes = Testing::adobeRGBProfile();
    bytes.replace(16, 4, "HSV "); // the data's space (ICC.1:2010, 7.2.6)
    const auto profile = Profile::fromBytes(bytes);
    ASSERT_TRUE(profile);
    EXPECT_EQ(profile->space(), Space::other);
    EXPECT_EQ(profile->channels(), 0);
}

TEST(Profile, IsNotMadeOfNothing) {
    EXPECT_FALSE(Profile::fromBytes(""));
}

TEST(Profile, IsNotMadeOfOtherBytes) {
    EXPECT_FALSE(Profile::fromBytes(std::string(4096, 'x')));
}

TEST(Profile, IsNotMadeOfPartOfAHeader) {
    EXPECT_FALSE(Profile::fromBytes(Testing::adobeRGBProfile().substr(0, 100)));
}

TEST(Profile, OutlivesItsBytes) {
    std::string bytes = Testing::adobeRGBProfile();
    const auto profile = Profile::fromBytes(bytes);
    bytes.assign(bytes.size(), '\0');
    ASSERT_TRUE(profile);
    EXPECT_NEAR(measured(*profile, TYPE_RGB_DBL, {1, 1, 1}).L, 100, 0.1);
}

TEST(Profile, StaysValidInACopy) {
    std::optional<Profile> original = Profile::fromBytes(Testing::adobeRGBProfile());
    ASSERT_TRUE(original);
    const Profile copy = *original;
    original.reset();
    EXPECT_NEAR(measured(copy, TYPE_RGB_DBL, {1, 1, 1}).L, 100, 0.1);
}

TEST(LabProfile, KeepsItsNumbers) {
    const cmsCIELab color = measured(Profile::lab(), TYPE_Lab_DBL, {60, 40, -30});
    EXPECT_NEAR(color.L, 60, 0.01);
    EXPECT_NEAR(color.a, 40, 0.01);
    EXPECT_NEAR(color.b, -30, 0.01);
}

TEST(CalibratedRGB, OfSRGBsPrimariesHasItsRed) {
    const auto profile = Profile::calibratedRGB(d65, {1, 1, 1}, sRGBPrimaries);
    ASSERT_TRUE(profile);
    const cmsCIELab color = measured(*profile, TYPE_RGB_DBL, {1, 0, 0});
    const cmsCIELab red = measured(Profile::sRGB(), TYPE_RGB_DBL, {1, 0, 0});
    // The primaries are given in four digits: a tenth of what an eye can tell.
    EXPECT_LT(cmsDeltaE(&color, &red), 0.1);
}

TEST(CalibratedRGB, RaisesNumbersToItsGamma) {
    const auto profile = Profile::calibratedRGB(d65, {2, 2, 2}, sRGBPrimaries);
    ASSERT_TRUE(profile);
    // 0.5² of white's luminance is L* 57.08 (ISO 11664-4).
    EXPECT_NEAR(measured(*profile, TYPE_RGB_DBL, {0.5, 0.5, 0.5}).L, 57.08, 0.05);
}

TEST(CalibratedGray, RaisesNumbersToItsGamma) {
    const auto profile = Profile::calibratedGray(d65, 2);
    ASSERT_TRUE(profile);
    EXPECT_NEAR(measured(*profile, TYPE_GRAY_DBL, {0.5}).L, 57.08, 0.05);
}

struct Numbers {
    const char* name;
    Profile::XYZ white;
    double gamma;
};

std::ostream& operator<<(std::ostream& stream, const Numbers& numbers) {
    return stream << numbers.name;
}

class UnusableNumbers : public testing::TestWithParam<Numbers> {};

INSTANTIATE_TEST_SUITE_P(
    Numbers, UnusableNumbers,
    testing::Values(Numbers{"BlackWhite", {0, 0, 0}, 1}, Numbers{"NegativeWhite", {-1, -1, -1}, 1},
                    Numbers{"InfiniteWhite", {infinity, 1, 1}, 1},
                    Numbers{"UndefinedWhite", {notANumber, 1, 1}, 1}, Numbers{"NoGamma", d65, 0},
                    Numbers{"NegativeGamma", d65, -1}, Numbers{"InfiniteGamma", d65, infinity},
                    Numbers{"UndefinedGamma", d65, notANumber}),
    [](const auto& numbers) { return std::string(numbers.param.name); });

TEST_P(UnusableNumbers, MakeNoCalibratedRGB) {
    const double gamma = GetParam().gamma;
    EXPECT_FALSE(Profile::calibratedRGB(GetParam().white, {gamma, gamma, gamma}, sRGBPrimaries));
}

TEST_P(UnusableNumbers, MakeNoCalibratedGray) {
    EXPECT_FALSE(Profile::calibratedGray(GetParam().white, GetParam().gamma));
}

TEST(CalibratedRGB, IsNotMadeOfAPrimaryWithoutLight) {
    std::array<Profile::XYZ, 3> primaries = sRGBPrimaries;
    primaries[1] = {0, 0, 0};
    EXPECT_FALSE(Profile::calibratedRGB(d65, {1, 1, 1}, primaries));
}

TEST(CalibratedRGB, IsNotMadeOfOnePrimaryOnly) {
    EXPECT_FALSE(Profile::calibratedRGB(d65, {1, 1, 1},
                                        {sRGBPrimaries[0], sRGBPrimaries[0], sRGBPrimaries[0]}));
}

} // namespace
} // namespace Bleedwise
