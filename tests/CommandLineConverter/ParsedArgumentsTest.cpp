#include "CommandLineConverter/ParsedArguments.h"

#include "CommandLineConverter/ArgumentError.h"
#include "support/GermanLocale.h"

#include <cmath>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

using Arguments = std::vector<std::string>;

/// Arguments as the process receives them, its own path first.
ParsedArguments parsed(Arguments arguments) {
    arguments.insert(arguments.begin(), "/usr/bin/bleedwise");
    return ParsedArguments(arguments);
}

/// The usual arguments with more behind them.
ParsedArguments parsedWith(const Arguments& more) {
    Arguments arguments = {"--convert", "/a.pdf", "--width", "210", "--height", "297"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return parsed(arguments);
}

double widthOf(const std::string& text) {
    return parsed({"--convert", "/a.pdf", "--width", text, "--height", "297"}).widthMM;
}

/// The text of the error in which parsing must end.
std::string errorOf(const Arguments& arguments) {
    try {
        parsed(arguments);
    } catch (const ArgumentError& error) {
        return error.errorDescription();
    }
    ADD_FAILURE() << "parsed: " << testing::PrintToString(arguments);
    return {};
}

constexpr const char* noInput = "Missing input PDF after --convert.";
constexpr const char* noWidth = "Missing or invalid --width value.";
constexpr const char* noHeight = "Missing or invalid --height value.";

TEST(ParsedArguments, ReadsEveryFlag) {
    const ParsedArguments all =
        parsed({"--convert", "/in/a.pdf", "--output", "/out/b.pdf", "--width", "210", "--height",
                "297", "--bleed", "5", "--trim-only", "--no-ghostscript"});
    EXPECT_EQ(all.inputURL, "/in/a.pdf");
    EXPECT_EQ(all.outputURL, "/out/b.pdf");
    EXPECT_EQ(all.widthMM, 210);
    EXPECT_EQ(all.heightMM, 297);
    EXPECT_EQ(all.bleedMM, 5);
    EXPECT_FALSE(all.sourceIncludesBleed);
    EXPECT_FALSE(all.useGhostscript);
}

TEST(ParsedArguments, HasDefaultsForWhatIsOptional) {
    const ParsedArguments usual = parsedWith({});
    EXPECT_EQ(usual.outputURL, std::nullopt);
    EXPECT_EQ(usual.bleedMM, 3);
    EXPECT_TRUE(usual.sourceIncludesBleed);
    EXPECT_TRUE(usual.useGhostscript);
}

TEST(ParsedArguments, TakesFlagsInAnyOrder) {
    const ParsedArguments turned =
        parsed({"--width", "210", "--height", "297", "--convert", "/a.pdf"});
    EXPECT_EQ(turned.inputURL, "/a.pdf");
    EXPECT_EQ(turned.widthMM, 210);
    EXPECT_EQ(turned.heightMM, 297);
}

TEST(ParsedArguments, ResolvesRelativePathsAgainstTheCurrentFolder) {
    const ParsedArguments relative =
        parsed({"--convert", "in/a.pdf", "--output", "result", "--width", "1", "--height", "1"});
    EXPECT_EQ(relative.inputURL, std::filesystem::current_path() / "in/a.pdf");
    EXPECT_EQ(relative.outputURL, std::filesystem::current_path() / "result");
}

TEST(ParsedArguments, ReadsAWidthWithBlanksAroundIt) {
    EXPECT_EQ(widthOf(" 210 "), 210);
}

TEST(ParsedArguments, FailsForAWidthWithAUnit) {
    EXPECT_EQ(errorOf({"--convert", "/a.pdf", "--width", "210mm", "--height", "297"}), noWidth);
}

TEST(ParsedArguments, ReadsAWidthWithAComma) {
    EXPECT_EQ(widthOf("148,5"), 148.5);
}

TEST(ParsedArguments, FailsForAWidthWithTwoCommas) {
    EXPECT_EQ(errorOf({"--convert", "/a.pdf", "--width", "1,234,5", "--height", "297"}), noWidth);
}

TEST(ParsedArguments, DoesNotJudgeNumbers) {
    EXPECT_EQ(widthOf("-5"), -5);
    EXPECT_EQ(widthOf("0"), 0);
    EXPECT_EQ(widthOf("inf"), std::numeric_limits<double>::infinity());
    EXPECT_TRUE(std::isnan(widthOf("nan")));
}

TEST(ParsedArguments, ReadsExponentsAndHexadecimalNumbers) {
    EXPECT_EQ(widthOf("2.1e2"), 210);
    EXPECT_EQ(widthOf("0x1p3"), 8);
}

TEST(ParsedArguments, TakesThreeMillimetresForAnUnreadableBleed) {
    for (const char* text : {"x", "", "3mm", "--trim-only", "1,2,3"})
        EXPECT_EQ(parsedWith({"--bleed", text}).bleedMM, 3) << text;
}

TEST(ParsedArguments, TakesThreeMillimetresForABleedFlagAtTheEnd) {
    EXPECT_EQ(parsedWith({"--bleed"}).bleedMM, 3);
}

TEST(ParsedArguments, KeepsABleedOfZero) {
    EXPECT_EQ(parsedWith({"--bleed", "0"}).bleedMM, 0);
}

TEST(ParsedArguments, KeepsANegativeBleed) {
    EXPECT_EQ(parsedWith({"--bleed", "-3"}).bleedMM, -3);
}

TEST(ParsedArguments, TakesTheFirstOfARepeatedFlag) {
    const ParsedArguments repeated =
        parsed({"--convert", "/a.pdf", "--width", "1", "--height", "2", "--width", "3", "--convert",
                "/b.pdf", "--height", "4"});
    EXPECT_EQ(repeated.inputURL, "/a.pdf");
    EXPECT_EQ(repeated.widthMM, 1);
    EXPECT_EQ(repeated.heightMM, 2);
}

TEST(ParsedArguments, FailsWhenTheFirstOfARepeatedFlagIsUnreadable) {
    EXPECT_EQ(errorOf({"--convert", "/a.pdf", "--width", "x", "--width", "3", "--height", "4"}),
              noWidth);
}

TEST(ParsedArguments, TakesAFlagForAValue) {
    const ParsedArguments odd = parsed({"--convert", "--width", "210", "--height", "297"});
    EXPECT_EQ(odd.inputURL, std::filesystem::current_path() / "--width");
    EXPECT_EQ(odd.widthMM, 210);
}

TEST(ParsedArguments, TurnsGhostscriptOffForAFlagThatIsAValue) {
    const ParsedArguments odd = parsedWith({"--output", "--no-ghostscript"});
    EXPECT_FALSE(odd.useGhostscript);
    EXPECT_EQ(odd.outputURL, std::filesystem::current_path() / "--no-ghostscript");
}

TEST(ParsedArguments, TakesTheSourceForTrimmedForAFlagThatIsAValue) {
    EXPECT_FALSE(parsedWith({"--output", "--trim-only"}).sourceIncludesBleed);
}

TEST(ParsedArguments, HasNoOutputForAnOutputFlagAtTheEnd) {
    EXPECT_EQ(parsedWith({"--output"}).outputURL, std::nullopt);
}

TEST(ParsedArguments, IgnoresUnknownElements) {
    EXPECT_EQ(parsedWith({"--help", "-x", "file.pdf", ""}).widthMM, 210);
}

TEST(ParsedArguments, MatchesFlagsOnlyAsTheyAreWritten) {
    const ParsedArguments usual =
        parsedWith({"--BLEED", "9", "--bleed=9", "-bleed", "9", "--Trim-Only", "--trim-only "});
    EXPECT_EQ(usual.bleedMM, 3);
    EXPECT_TRUE(usual.sourceIncludesBleed);
}

TEST(ParsedArguments, KeepsTheBytesOfPaths) {
    const std::string name = "/100% \"a\" 'b' \xff\xe9\n.pdf";
    EXPECT_EQ(parsed({"--convert", name, "--width", "1", "--height", "1"}).inputURL, name);
}

TEST(ParsedArguments, FailsWithoutAnInput) {
    EXPECT_EQ(errorOf({"--width", "210", "--height", "297"}), noInput);
}

TEST(ParsedArguments, FailsForAConvertFlagAtTheEnd) {
    EXPECT_EQ(errorOf({"--width", "210", "--height", "297", "--convert"}), noInput);
}

TEST(ParsedArguments, FailsWithoutAWidth) {
    EXPECT_EQ(errorOf({"--convert", "/a.pdf", "--height", "297"}), noWidth);
}

TEST(ParsedArguments, FailsForAWidthFlagAtTheEnd) {
    EXPECT_EQ(errorOf({"--convert", "/a.pdf", "--height", "297", "--width"}), noWidth);
}

TEST(ParsedArguments, FailsForAnEmptyWidth) {
    EXPECT_EQ(errorOf({"--convert", "/a.pdf", "--width", "", "--height", "297"}), noWidth);
}

TEST(ParsedArguments, FailsWithoutAHeight) {
    EXPECT_EQ(errorOf({"--convert", "/a.pdf", "--width", "210"}), noHeight);
}

TEST(ParsedArguments, FailsForAHeightFlagAtTheEnd) {
    EXPECT_EQ(errorOf({"--convert", "/a.pdf", "--width", "210", "--height"}), noHeight);
}

TEST(ParsedArguments, FailsForAnUnreadableHeight) {
    EXPECT_EQ(errorOf({"--convert", "/a.pdf", "--width", "210", "--height", "x"}), noHeight);
}

TEST(ParsedArguments, NamesTheInputFirstWhenEverythingIsMissing) {
    EXPECT_EQ(errorOf({}), noInput);
}

TEST(ParsedArguments, NamesOnlyTheWidthWhenTheHeightIsBadToo) {
    EXPECT_EQ(errorOf({"--convert", "/a.pdf", "--width", "x", "--height", "y"}), noWidth);
}

TEST(ParsedArguments, ReadsNumbersUnderALocaleWithDecimalCommas) {
    const Testing::GermanLocale german;
    EXPECT_EQ(widthOf("148.5"), 148.5);
    EXPECT_EQ(widthOf("148,5"), 148.5);
}

TEST(ParsedArgumentsValue, IsTheElementBehindTheFirstMatch) {
    EXPECT_EQ(ParsedArguments::value("--a", {"x", "--a", "1", "--a", "2"}), "1");
}

TEST(ParsedArgumentsValue, IsTheNextElementWhateverItIs) {
    EXPECT_EQ(ParsedArguments::value("--a", {"--a", "--a"}), "--a");
    EXPECT_EQ(ParsedArguments::value("--a", {"--a", ""}), "");
}

TEST(ParsedArgumentsValue, IsNothingForAMissingFlag) {
    EXPECT_EQ(ParsedArguments::value("--a", {"x", "--b", "1"}), std::nullopt);
    EXPECT_EQ(ParsedArguments::value("--a", {}), std::nullopt);
}

TEST(ParsedArgumentsValue, IsNothingForAFlagAtTheEnd) {
    EXPECT_EQ(ParsedArguments::value("--a", {"x", "--a"}), std::nullopt);
}

} // namespace
} // namespace Bleedwise
