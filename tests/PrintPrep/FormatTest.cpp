#include "PrintPrep/Format.h"

#include "PrintPrep/PrintSettings.h"
#include "support/GermanLocale.h"

#include <csignal>
#include <limits>
#include <string>

#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

struct Case {
    double value;
    const char* text;
};

TEST(FormatMM, WritesIntegralValuesAsPlainDigits) {
    for (const auto& [value, text] :
         {Case{0, "0"}, Case{1, "1"}, Case{100, "100"}, Case{210, "210"}, Case{-5, "-5"},
          Case{20000, "20000"}, Case{1e18, "1000000000000000000"}})
        EXPECT_EQ(Format::mm(value), text);
}

TEST(FormatMM, WritesMinusZeroAsZero) {
    EXPECT_EQ(Format::mm(-0.0), "0");
}

TEST(FormatMM, KeepsTheSignOfANegativeValueThatRoundsToZero) {
    EXPECT_EQ(Format::mm(-0.001), "-0");
}

TEST(FormatMM, WritesTheSmallestFractionsAsZero) {
    EXPECT_EQ(Format::mm(0.004), "0");
    EXPECT_EQ(Format::mm(0.001), "0");
}

TEST(FormatMM, RoundsAFractionUpToAWholeNumberWithoutAPoint) {
    EXPECT_EQ(Format::mm(2.999), "3");
    EXPECT_EQ(Format::mm(99.999), "100");
}

TEST(FormatMM, WritesUpToTwoDecimalsWithoutTrailingZeros) {
    for (const auto& [value, text] :
         {Case{3.5, "3.5"}, Case{0.25, "0.25"}, Case{53.98, "53.98"}, Case{297.126, "297.13"},
          Case{10.1, "10.1"}, Case{-3.25, "-3.25"}, Case{100.5, "100.5"}})
        EXPECT_EQ(Format::mm(value), text);
}

TEST(FormatMM, RoundsTheExactBinaryValueLikeC) {
    EXPECT_EQ(Format::mm(0.125), "0.12"); // a tie goes to the even digit
    EXPECT_EQ(Format::mm(1.005), "1");    // the double is a little less than 1.005
}

TEST(FormatMM, WritesNotANumberAsNan) {
    EXPECT_EQ(Format::mm(notANumber), "nan");
}

TEST(FormatMM, WritesTheWholeRangeOf64BitIntegers) {
    EXPECT_EQ(Format::mm(-0x1p63), "-9223372036854775808");
    EXPECT_EQ(Format::mm(0x1.fffffffffffffp62), "9223372036854774784");
}

TEST(FormatMMDeathTest, AbortsOnInfinityAndNamesIt) {
    EXPECT_EXIT(Format::mm(infinity), testing::KilledBySignal(SIGABRT), "^[^\n]*[^-]inf[^\n]*\n$");
    EXPECT_EXIT(Format::mm(-infinity), testing::KilledBySignal(SIGABRT), "^[^\n]*-inf[^\n]*\n$");
}

TEST(FormatMMDeathTest, AbortsAboveTheRangeOf64BitIntegersAndNamesTheValue) {
    EXPECT_EXIT(Format::mm(0x1p63), testing::KilledBySignal(SIGABRT),
                "^[^\n]*[^0-9]9223372036854775808[^0-9][^\n]*\n$");
}

TEST(FormatMMDeathTest, AbortsBelowTheRangeOf64BitIntegersAndNamesTheValue) {
    EXPECT_EXIT(Format::mm(-0x1.0000000000001p63), testing::KilledBySignal(SIGABRT),
                "^[^\n]*-9223372036854777856[^0-9][^\n]*\n$");
}

TEST(FormatMMDeathTest, NamesARoundValueWithAllItsZeros) {
    EXPECT_EXIT(Format::mm(1e19), testing::KilledBySignal(SIGABRT),
                "^[^\n]*[^0-9]10000000000000000000[^0-9][^\n]*\n$");
}

TEST(FormatPoints, WritesMillimetresInPointsToSixDecimals) {
    EXPECT_EQ(Format::points(210 * pointsPerMillimetre), "595.275591");
    EXPECT_EQ(Format::points(297 * pointsPerMillimetre), "841.889764");
    EXPECT_EQ(Format::points(3 * pointsPerMillimetre), "8.503937");
}

TEST(FormatPoints, WritesIntegralValuesWithoutAPoint) {
    for (const auto& [value, text] : {Case{0, "0"}, Case{100, "100"}, Case{-100, "-100"},
                                      Case{14400, "14400"}, Case{1e20, "100000000000000000000"}})
        EXPECT_EQ(Format::points(value), text);
}

TEST(FormatPoints, DropsTrailingZerosOfAFraction) {
    EXPECT_EQ(Format::points(0.5), "0.5");
    EXPECT_EQ(Format::points(10.100000), "10.1");
}

TEST(FormatPoints, KeepsTheSignOfMinusZero) {
    EXPECT_EQ(Format::points(-0.0), "-0");
    EXPECT_EQ(Format::points(-0.0000001), "-0");
}

TEST(FormatPoints, WritesNotANumberAsNan) {
    EXPECT_EQ(Format::points(notANumber), "nan");
}

TEST(FormatPoints, WritesInfinityAsInf) {
    EXPECT_EQ(Format::points(infinity), "inf");
    EXPECT_EQ(Format::points(-infinity), "-inf");
}

TEST(FormatPoints, WritesTheLargestDoubleInFull) {
    const std::string text = Format::points(std::numeric_limits<double>::max());
    EXPECT_EQ(text.size(), 309U);
    EXPECT_EQ(text.substr(0, 17), "17976931348623157");
}

TEST(Format, WritesPointsUnderALocaleWithDecimalCommas) {
    const Testing::GermanLocale german;
    EXPECT_EQ(Format::mm(3.5), "3.5");
    EXPECT_EQ(Format::mm(20000), "20000");
    EXPECT_EQ(Format::points(210 * pointsPerMillimetre), "595.275591");
}

} // namespace
} // namespace Bleedwise
