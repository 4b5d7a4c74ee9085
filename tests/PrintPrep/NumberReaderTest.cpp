#include "PrintPrep/NumberReader.h"

#include "support/GermanLocale.h"

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

using NumberReader::number;

constexpr double infinity = std::numeric_limits<double>::infinity();

struct Row {
    std::string text;
    double value;
};

void expectValues(const std::vector<Row>& rows) {
    for (const Row& row : rows)
        EXPECT_EQ(number(row.text), row.value) << testing::PrintToString(row.text);
}

void expectUnreadable(const std::vector<std::string>& texts) {
    for (const std::string& text : texts)
        EXPECT_EQ(number(text), std::nullopt) << testing::PrintToString(text);
}

TEST(NumberReader, ReadsDecimalNumbers) {
    expectValues({{"210", 210},
                  {"297.5", 297.5},
                  {"0", 0},
                  {"0.25", 0.25},
                  {".5", 0.5},
                  {"5.", 5},
                  {"007", 7},
                  {"3.10", 3.1},
                  {"1234567890123", 1234567890123.0}});
}

TEST(NumberReader, TakesACommaForAPoint) {
    expectValues({{"148,5", 148.5}, {",5", 0.5}, {"5,", 5}, {"2,1e2", 210}});
}

TEST(NumberReader, RefusesMoreThanOnePointOrComma) {
    expectUnreadable({"1,234,5", "1.234,5", "1,234.5", "1..5", ",", "."});
}

TEST(NumberReader, ReadsSigns) {
    expectValues({{"-5", -5}, {"+5", 5}, {"-0,25", -0.25}});
    EXPECT_TRUE(std::signbit(number("-0").value_or(1)));
    expectUnreadable({"--5", "+-5", "- 5", "-", "+", "5-"});
}

TEST(NumberReader, ReadsExponents) {
    expectValues({{"2.1e2", 210}, {"2.1E+2", 210}, {"2100e-1", 210}});
    expectUnreadable({"1e", "e5", "1e+", "1e5.5", "1 e5"});
}

TEST(NumberReader, ReadsHexadecimalNumbers) {
    expectValues({{"0x10", 16}, {"0XfF", 255}, {"0x1p3", 8}, {"0x1,8p1", 3}, {"-0x.8", -0.5}});
    expectUnreadable({"0x", "0xg", "x10", "0x1p"});
}

TEST(NumberReader, ReadsInfinities) {
    expectValues(
        {{"inf", infinity}, {"INF", infinity}, {"Infinity", infinity}, {"-inf", -infinity}});
    expectUnreadable({"infi", "infinit", "infinity5"});
}

TEST(NumberReader, ReadsValuesBeyondTheRangeAsInfinityAndZero) {
    expectValues({{"1e400", infinity}, {"-1e400", -infinity}, {"1e-400", 0}});
}

TEST(NumberReader, ReadsNotANumber) {
    for (const char* text : {"nan", "NaN", "-nan", "nan(1)"})
        EXPECT_TRUE(std::isnan(number(text).value_or(0))) << text;
    expectUnreadable({"nano", "nan(", "na"});
}

TEST(NumberReader, IgnoresBlanksAroundTheNumber) {
    expectValues({{" 210 ", 210}, {"   210", 210}, {"210   ", 210}});
}

TEST(NumberReader, IgnoresEveryUnicodeWhiteSpaceAroundTheNumber) {
    // The characters with the property White_Space in Unicode 15, PropList.txt.
    for (const char* blank :
         {"\t",     "\n",     "\v",     "\f",     "\r",     " ",      "\u0085", "\u00a0", "\u1680",
          "\u2000", "\u2001", "\u2002", "\u2003", "\u2004", "\u2005", "\u2006", "\u2007", "\u2008",
          "\u2009", "\u200a", "\u2028", "\u2029", "\u202f", "\u205f", "\u3000"})
        EXPECT_EQ(number(blank + std::string("210") + blank), 210) << testing::PrintToString(blank);
}

TEST(NumberReader, IgnoresANoBreakBlank) {
    EXPECT_EQ(number("\u00a0210\u00a0"), 210);
}

TEST(NumberReader, IgnoresAnIdeographicSpace) {
    EXPECT_EQ(number("\u3000210\u3000"), 210);
}

TEST(NumberReader, IgnoresMixedWhiteSpace) {
    EXPECT_EQ(number("\u3000 \u00a0\r\n210\t\u2003 "), 210);
}

TEST(NumberReader, KeepsInvisibleCharactersThatAreNoWhiteSpace) {
    expectUnreadable({"\u200b210", "210\u200d", "\ufeff210", "\u2060210", "\u180e210"});
}

TEST(NumberReader, KeepsBytesThatAreHalfAWhiteSpaceCharacter) {
    expectUnreadable({"210\205", "\240210", "210\302", "\200\200210"});
}

TEST(NumberReader, RefusesBlanksInsideTheNumber) {
    expectUnreadable({"2 10", "210\u00a0000", "1\u202f000"});
}

TEST(NumberReader, RefusesAnythingBehindTheNumber) {
    expectUnreadable({"210mm", "210 mm", "210;", "210f", "210_000", std::string("210\0", 4),
                      std::string("210\0x", 5)});
}

TEST(NumberReader, RefusesTextsWithoutANumber) {
    expectUnreadable({"", " ", "\n", "\u00a0\u3000", "x", "--height", "mm", std::string("\0", 1)});
}

TEST(NumberReader, RefusesDigitsOfOtherScripts) {
    expectUnreadable({"\uff12\uff11\uff10", "\u0662\u0661\u0660"});
}

TEST(NumberReader, ReadsAMillionBlanks) {
    EXPECT_EQ(number(std::string(1'000'000, ' ') + "210" + std::string(1'000'000, '\n')), 210);
}

TEST(NumberReader, ReadsPointsAndCommasUnderALocaleWithDecimalCommas) {
    const Testing::GermanLocale german;
    expectValues({{"148.5", 148.5}, {"148,5", 148.5}, {"0x1.8p1", 3}});
    expectUnreadable({"1.234,5", "20.000,5"});
}

} // namespace
} // namespace Bleedwise
