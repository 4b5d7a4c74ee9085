#include "ContentView/DimensionText.h"

#include <limits>
#include <utility>

#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

TEST(DimensionTextNumber, ReadsWhatPeopleType) {
    const std::pair<const char*, double> cases[] = {
        {"210", 210},   {"148,5", 148.5}, {"148.5", 148.5},   {" 3 ", 3},
        {"\t3\n", 3},   {"-1", -1},       {"1e2", 100},       {"+5", 5},
        {"\u00a03", 3}, {".5", 0.5},      {"\u20033 \r\n", 3}};
    for (const auto& [text, number] : cases)
        EXPECT_EQ(DimensionText::number(text), number) << text;
}

TEST(DimensionTextNumber, DoesNotReadOtherTexts) {
    for (const char* text : {"", " ", "abc", "3 mm", "1,000.5", "3 4", "--3"})
        EXPECT_EQ(DimensionText::number(text), std::nullopt) << text;
}

TEST(DimensionTextNumber, DoesNotReadWhatIsNoFiniteNumber) {
    for (const char* text : {"inf", "-inf", "infinity", "nan", "1e999"})
        EXPECT_EQ(DimensionText::number(text), std::nullopt) << text;
}

TEST(DimensionTextFromNumber, IsTheTextForFileNames) {
    EXPECT_EQ(DimensionText::fromNumber(210), "210");
    EXPECT_EQ(DimensionText::fromNumber(53.98), "53.98");
    EXPECT_EQ(DimensionText::fromNumber(209.99955), "210");
    EXPECT_EQ(DimensionText::fromNumber(0), "0");
}

TEST(DimensionTextFromNumber, GivesNothingForWhatNoFileNameCanSay) {
    for (const double size : {infinity, -infinity, notANumber, 0x1p63, -0x1p63, 1e300})
        EXPECT_EQ(DimensionText::fromNumber(size), std::nullopt) << size;
}

TEST(DimensionTextFromNumber, GivesTheLargestSizeThatAFileNameCanSay) {
    EXPECT_EQ(DimensionText::fromNumber(0x1.fffffffffffffp62), "9223372036854774784");
}

TEST(DimensionTextMatch, HoldsForTheSameSize) {
    const std::pair<const char*, const char*> cases[] = {
        {"3", "3"},       {"3", "3.00"},      {"3", "3,0"}, {"3", " 3 "}, {"3,5", "3.5"},
        {"3", "3.00001"}, {" 3 ", "3.00001"}, {"", ""},     {"0", "-0"}};
    for (const auto& [first, second] : cases) {
        EXPECT_TRUE(DimensionText::dimensionValuesMatch(first, second))
            << first << " and " << second;
        EXPECT_TRUE(DimensionText::dimensionValuesMatch(second, first))
            << second << " and " << first;
    }
}

TEST(DimensionTextMatch, FailsForDifferentSizes) {
    EXPECT_FALSE(DimensionText::dimensionValuesMatch("3", "3.001"));
    EXPECT_FALSE(DimensionText::dimensionValuesMatch("3", "-3"));
    EXPECT_FALSE(DimensionText::dimensionValuesMatch("3", "30"));
}

TEST(DimensionTextMatch, HoldsForTheSameTextThatIsNoNumber) {
    EXPECT_TRUE(DimensionText::dimensionValuesMatch("abc", "abc"));
    EXPECT_TRUE(DimensionText::dimensionValuesMatch("abc", " abc\n"));
    EXPECT_TRUE(DimensionText::dimensionValuesMatch("inf", "inf"));
    EXPECT_TRUE(DimensionText::dimensionValuesMatch("nan", "nan"));
}

TEST(DimensionTextMatch, FailsForDifferentTextsThatAreNoNumbers) {
    EXPECT_FALSE(DimensionText::dimensionValuesMatch("abc", "ABC"));
    EXPECT_FALSE(DimensionText::dimensionValuesMatch("a,b", "a.b"));
}

TEST(DimensionTextMatch, FailsForANumberAndAnotherText) {
    EXPECT_FALSE(DimensionText::dimensionValuesMatch("3", "3 mm"));
    EXPECT_FALSE(DimensionText::dimensionValuesMatch("", "0"));
}

} // namespace
} // namespace Bleedwise
