#include "PrintPrep/SizeDetector.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <unicode/regex.h>
#include <unicode/unistr.h>

namespace Bleedwise {

[[maybe_unused]] void PrintTo(const DetectedSize& size, std::ostream* stream) {
    *stream << size.width << " x " << size.height;
    if (size.bleed)
        *stream << " + " << *size.bleed;
}

namespace {

using SizeDetector::detect;

struct NameCase {
    std::string testName;
    std::string name;
    std::optional<DetectedSize> size;
};
[[maybe_unused]] void PrintTo(const NameCase& nameCase, std::ostream* stream) {
    *stream << nameCase.testName;
}

class SizeInName : public testing::TestWithParam<NameCase> {};

TEST_P(SizeInName, IsRead) {
    EXPECT_EQ(detect(GetParam().name), GetParam().size);
}

std::string testNameOf(const testing::TestParamInfo<NameCase>& info) {
    return info.param.testName;
}

DetectedSize size(double width, double height, std::optional<double> bleed = std::nullopt) {
    return {width, height, bleed};
}

INSTANTIATE_TEST_SUITE_P(
    Usual, SizeInName,
    testing::Values(
        NameCase{"WithBleed", "Poster 210x297mm+3", size(210, 297, 3)},
        NameCase{"MultiplicationSign", "flyer_148 × 210", size(148, 210)},
        NameCase{"CapitalsBlanksAndComma", "A5 148X210MM + 2,5 mm", size(148, 210, 2.5)},
        NameCase{"DecimalComma", "card 85,5x55", size(85.5, 55)},
        NameCase{"DecimalPoint", "card 85.5x55.25+1.5", size(85.5, 55.25, 1.5)},
        NameCase{"OtherNumberBefore", "proof2 10x20", size(10, 20)},
        NameCase{"ThirdNumberBehindX", "210 x 297 x 3", size(210, 297)},
        NameCase{"FirstOfTwo", "plan-100x200-then-300x400", size(100, 200)},
        NameCase{"Zero", "0x0", size(0, 0)}, NameCase{"Pixels", "1920x1080", size(1920, 1080)},
        NameCase{"MixedCaseUnit", "10x20Mm", size(10, 20)},
        NameCase{"UnitBehindTheBleed", "10x20+3mm", size(10, 20, 3)},
        NameCase{"BleedWithoutUnits", "10x20 +3", size(10, 20, 3)},
        NameCase{"OtherUnit", "10x20cm+3", size(10, 20)},
        NameCase{"UnitBetween", "10mm x 20mm", std::nullopt},
        NameCase{"NothingBehindPlus", "10x20+", size(10, 20)},
        NameCase{"SecondNumberAfterAComma", "1,2,3x4", size(2.3, 4)},
        NameCase{"PointWithoutDecimals", "10.x20", std::nullopt},
        NameCase{"PointBehind", "10x20.", size(10, 20)},
        NameCase{"MinusBefore", "-10x20", size(10, 20)},
        NameCase{"LeadingZeros", "010x0020", size(10, 20)}, NameCase{"ZeroX", "0x1F", size(0, 1)},
        NameCase{"Exponent", "1e3x20", size(3, 20)}),
    testNameOf);

INSTANTIATE_TEST_SUITE_P(None, SizeInName,
                         testing::Values(NameCase{"Empty", "", std::nullopt},
                                         NameCase{"NoX", "210-297", std::nullopt},
                                         NameCase{"OneNumber", "210x", std::nullopt},
                                         NameCase{"OnlyX", "x", std::nullopt},
                                         NameCase{"AsteriskForX", "210*297", std::nullopt},
                                         NameCase{"LetterBetween", "210ax297", std::nullopt}),
                         testNameOf);

// Digits and blanks of other scripts take part in a match, but only ASCII digits make a number.
INSTANTIATE_TEST_SUITE_P(
    Unicode, SizeInName,
    testing::Values(NameCase{"NoBreakBlanks", "148\u00a0×\u00a0210\u00a0mm\u00a0+\u00a03",
                             size(148, 210, 3)},
                    NameCase{"NarrowNoBreakBlanks", "148\u202fx\u202f210", size(148, 210)},
                    NameCase{"IdeographicBlanks", "148\u3000x\u3000210", size(148, 210)},
                    NameCase{"LineBreaks", "148\u2028x\u0085210", size(148, 210)},
                    NameCase{"ZeroWidthBlank", "148\u200bx210", std::nullopt},
                    NameCase{"FullWidthDigits", "２１０x２９７", std::nullopt},
                    NameCase{"FullWidthDigitsBeforeASize", "２１０x２９７ 10x20", std::nullopt},
                    NameCase{"ArabicDigits", "٢١٠x٢٩٧", std::nullopt},
                    NameCase{"FullWidthDigitInside", "2１0x297", std::nullopt},
                    NameCase{"FullWidthHeight", "210x２９７", std::nullopt},
                    NameCase{"FullWidthBleed", "210x297+３", size(210, 297)},
                    NameCase{"FullWidthX", "210ｘ297", std::nullopt},
                    NameCase{"FullWidthPlus", "210x297＋3", size(210, 297)},
                    NameCase{"RomanNumeralIsNoDigit", "Ⅳx20", std::nullopt},
                    NameCase{"SuperscriptIsNoDigit", "10²x20", std::nullopt},
                    NameCase{"DigitsBeyondTheBasicPlane", "\U0001d7d8x20", std::nullopt},
                    NameCase{"AccentBehindANumber", "10\u0301x20", std::nullopt},
                    NameCase{"AccentInANumber", "1\u03010x20", size(0, 20)},
                    NameCase{"AccentBehindTheX", "10x\u030120", std::nullopt},
                    NameCase{"DecomposedLetters", "Cafe\u0301 10x20", size(10, 20)},
                    NameCase{"CyrillicX", "10х20", std::nullopt}),
    testNameOf);

INSTANTIATE_TEST_SUITE_P(Bytes, SizeInName,
                         testing::Values(NameCase{"Latin1Before", "Caf\xe9 10x20", size(10, 20)},
                                         NameCase{"Latin1Sign",
                                                  "10\xd7"
                                                  "20",
                                                  std::nullopt},
                                         NameCase{"CutOffSequence", "10x20\xc3", size(10, 20)},
                                         NameCase{"InsideANumber",
                                                  "1\xff"
                                                  "0x20",
                                                  size(0, 20)},
                                         NameCase{"Control", std::string("1\0 10x20", 8),
                                                  size(10, 20)}),
                         testNameOf);

TEST(SizeDetector, ReadsNumbersBeyondAllMeasureAsInfinite) {
    const std::string digits(400, '9');
    EXPECT_EQ(detect(digits + "x1"), size(std::numeric_limits<double>::infinity(), 1));
}

TEST(SizeDetector, FindsASizeBehindALongNumber) {
    EXPECT_EQ(detect(std::string(100000, '7') + " 10x20"), size(10, 20));
}

TEST(SizeDetector, ReadsASizeAcrossManyBlanks) {
    const std::string blanks(100000, ' ');
    EXPECT_EQ(detect("10" + blanks + "x" + blanks + "20" + blanks + "+3"), size(10, 20, 3));
}

/// The match of the plain expression, as texts of its groups.
std::vector<std::string> plainMatch(const std::string& name) {
    UErrorCode status = U_ZERO_ERROR;
    icu::RegexMatcher matcher(
        icu::UnicodeString(u"(?i)(\\d+(?:[,.]\\d+)?)\\s*(?:x|\u00d7)\\s*(\\d+(?:[,.]\\d+)?)\\s*"
                           u"(?:mm)?(?:\\s*\\+\\s*(\\d+(?:[,.]\\d+)?)\\s*(?:mm)?)?"),
        0, status);
    const icu::UnicodeString text = icu::UnicodeString::fromUTF8(name);
    matcher.reset(text);
    std::vector<std::string> groups;
    if (!matcher.find(status))
        return groups;
    for (int group = 1; group <= 3; ++group)
        matcher.group(group, status).toUTF8String(groups.emplace_back());
    return groups;
}

/// A number of ASCII digits as `detect` should read it.
std::optional<double> plainNumber(std::string text) {
    std::replace(text.begin(), text.end(), ',', '.');
    return text.empty() ? std::nullopt : std::optional(std::stod(text));
}

TEST(SizeDetectorProperty, FindsWhatThePlainExpressionFinds) {
    EXPECT_TRUE(rc::check([] {
        const auto part = rc::gen::element<std::string>("1", "2", "30", ",", ".", "x", "X", "×",
                                                        "mm", "MM", "+", " ", "\u00a0", "-", "a");
        std::string name;
        for (const std::string& text : *rc::gen::container<std::vector<std::string>>(part))
            name += text;
        const std::vector<std::string> groups = plainMatch(name);
        std::optional<DetectedSize> expected;
        if (!groups.empty())
            expected =
                size(*plainNumber(groups[0]), *plainNumber(groups[1]), plainNumber(groups[2]));
        RC_ASSERT(detect(name) == expected);
    }));
}

TEST(SizeDetectorProperty, ReadsAnyBytes) {
    EXPECT_TRUE(rc::check([](const std::string& before, const std::string& after) {
        const auto found = detect(before + "/10x20/" + after);
        RC_ASSERT(found.has_value());
    }));
}

} // namespace
} // namespace Bleedwise
