#include "CommandLineConverter/CommandLineConverter.h"

#include "PrintPrep/PrintSettings.h"
#include "support/Command.h"
#include "support/FakeGhostscript.h"
#include "support/GermanLocale.h"
#include "support/ScopedVariable.h"
#include "support/SmallPDF.h"
#include "support/TemporaryFolder.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <csignal>
#include <cstdint>
#include <functional>
#include <optional>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace Bleedwise {
namespace {

using std::filesystem::path;
using Testing::CommandOptions;
using Testing::CommandResult;
using Testing::contents;
using Testing::entryCount;
using Testing::FakeGhostscript;
using Testing::ScopedVariable;
using Testing::TemporaryFolder;
using Arguments = std::vector<std::string>;

constexpr const char* suffix = "_PRINT_105x148_3mm_FOGRA39_CMYK.pdf";

Arguments joined(Arguments arguments, const Arguments& more) {
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

// The run itself, with a script for Ghostscript.

/// A stream that tells what had been written each time that it was flushed.
class FlushedStream : private std::stringbuf, public std::ostream {
public:
    explicit FlushedStream(std::function<void(const std::string&)> onFlush)
        : std::ostream(this), onFlush_(std::move(onFlush)) {}

private:
    int sync() override {
        onFlush_(std::stringbuf::str());
        return 0;
    }

    std::function<void(const std::string&)> onFlush_;
};

class CommandLineRun : public testing::Test {
protected:
    /// Runs with these arguments behind the program's path.
    int convert(Arguments arguments) {
        arguments.insert(arguments.begin(), "/usr/bin/bleedwise");
        const CommandLineConverter::Discovery discovery = {
            [this]() -> std::optional<Ghostscript::Installation> {
                ++ghostscriptSearches;
                if (!ghostscript)
                    return std::nullopt;
                return Ghostscript::Installation{*ghostscript};
            },
            [this] {
                ++profileSearches;
                return profile;
            }};
        output.str("");
        error.str("");
        return CommandLineConverter::convert(arguments, discovery, output, error);
    }

    int convertUsual(const Arguments& more = {}) {
        return convert(joined({"--convert", input, "--width", "105", "--height", "148"}, more));
    }

    path result() const { return folder / (std::string("poster") + suffix); }
    std::string modeLine() const { return "Converting with: " + ghostscript->native() + "\n"; }

    const TemporaryFolder folder;
    const FakeGhostscript fake = FakeGhostscript("echo one; echo two");
    const TemporaryFolder workFolder;
    const ScopedVariable temporaryDirectory = ScopedVariable("TMPDIR", workFolder.path().native());
    const path input = folder.file("poster.pdf", Testing::smallPDF());

    std::optional<path> ghostscript = fake.url();
    std::optional<path> profile = "/profiles/f39.icc";
    int ghostscriptSearches = 0;
    int profileSearches = 0;
    std::ostringstream output;
    std::ostringstream error;
};

TEST_F(CommandLineRun, WritesTheModeThenTheConsoleLinesThenTheOutput) {
    EXPECT_EQ(convertUsual(), 0);
    EXPECT_EQ(output.str(), modeLine() + "one\ntwo\nOutput: " + result().native() + "\n");
    EXPECT_EQ(error.str(), "");
}

TEST_F(CommandLineRun, WritesTheFixedLineForASilentGhostscript) {
    const FakeGhostscript silent;
    ghostscript = silent.url();
    EXPECT_EQ(convertUsual(), 0);
    EXPECT_EQ(output.str(), modeLine() + "Ghostscript finished without messages.\nOutput: " +
                                result().native() + "\n");
}

TEST_F(CommandLineRun, FlushesEachLine) {
    std::vector<std::string> flushed;
    FlushedStream stream([&](const std::string& text) { flushed.push_back(text); });
    CommandLineConverter::convert(
        {"bleedwise", "--convert", input, "--width", "105", "--height", "148"},
        {[this] { return Ghostscript::Installation{*ghostscript}; }, [this] { return profile; }},
        stream, error);
    const std::string first = modeLine();
    EXPECT_EQ(flushed, (Arguments{first, first + "one\n", first + "one\ntwo\n",
                                  first + "one\ntwo\nOutput: " + result().native() + "\n"}));
}

TEST_F(CommandLineRun, WritesTheConsoleLinesWhenTheResultIsInPlace) {
    std::vector<bool> wasInPlace;
    FlushedStream stream(
        [&](const std::string&) { wasInPlace.push_back(std::filesystem::exists(result())); });
    CommandLineConverter::convert(
        {"bleedwise", "--convert", input, "--width", "105", "--height", "148"},
        {[this] { return Ghostscript::Installation{*ghostscript}; }, [this] { return profile; }},
        stream, error);
    EXPECT_EQ(wasInPlace, (std::vector<bool>{false, true, true, true}));
}

TEST_F(CommandLineRun, ConvertsWithTheSettingsOfTheArguments) {
    convertUsual({"--bleed", "5"});
    EXPECT_EQ(fake.arguments(),
              Ghostscript::arguments(input, fake.outputURL(), *profile, {105, 148, 5, true, true}));
}

TEST_F(CommandLineRun, ConvertsASourceOfTrimSize) {
    convertUsual({"--trim-only"});
    EXPECT_EQ(fake.arguments(), Ghostscript::arguments(input, fake.outputURL(), *profile,
                                                       {105, 148, 3, false, true}));
}

TEST_F(CommandLineRun, WorksInTheTemporaryDirectoryUnderAnUpperCaseUUID) {
    convertUsual();
    EXPECT_EQ(fake.outputURL().parent_path(), workFolder.path());
    const std::string name = fake.outputURL().filename();
    EXPECT_EQ(name.size(), 40U) << name;
    EXPECT_EQ(name.find_first_not_of("0123456789ABCDEF-"), 36U) << name;
    EXPECT_EQ(name.substr(36), ".pdf");
}

TEST_F(CommandLineRun, WorksUnderANewNameEachTime) {
    convertUsual();
    const path first = fake.outputURL();
    convertUsual();
    EXPECT_NE(fake.outputURL(), first);
}

TEST_F(CommandLineRun, LeavesNothingInTheTemporaryDirectoryAfterSuccess) {
    convertUsual();
    EXPECT_EQ(entryCount(workFolder.path()), 0U);
}

TEST_F(CommandLineRun, LeavesTheWorkFileAfterAFailure) {
    const FakeGhostscript failing("exit 1");
    ghostscript = failing.url();
    convertUsual();
    EXPECT_EQ(contents(failing.outputURL()), Testing::smallPDF());
}

TEST_F(CommandLineRun, WritesBesideTheInputUnderItsNameWithoutTheLastExtension) {
    const path dotted = folder.file("a.b.pdf", Testing::smallPDF());
    convert({"--convert", dotted, "--width", "105", "--height", "148"});
    EXPECT_TRUE(std::filesystem::exists(folder / (std::string("a.b") + suffix)));
}

TEST_F(CommandLineRun, WritesToTheOutputExactlyAsNamed) {
    const path named = folder / "result";
    EXPECT_EQ(convertUsual({"--output", named}), 0);
    EXPECT_TRUE(std::filesystem::exists(named));
    EXPECT_FALSE(std::filesystem::exists(result()));
}

TEST_F(CommandLineRun, ReplacesAnExistingResult) {
    folder.file(result().filename(), "old");
    convertUsual();
    EXPECT_TRUE(contents(result()).starts_with(Testing::smallPDF()));
}

TEST_F(CommandLineRun, MayReplaceItsInput) {
    EXPECT_EQ(convertUsual({"--output", input}), 0);
    EXPECT_NE(contents(input).find("/TrimBox"), std::string::npos);
}

TEST_F(CommandLineRun, ReportsArgumentErrorsOnOneLine) {
    struct Row {
        Arguments arguments;
        const char* text;
    };
    for (const Row& row : std::vector<Row>{
             {{"--width", "105", "--height", "148", "--convert"},
              "ERROR: Missing input PDF after --convert.\n"},
             {{"--convert", input}, "ERROR: Missing or invalid --width value.\n"},
             {{"--convert", input, "--width", "x"}, "ERROR: Missing or invalid --width value.\n"},
             {{"--convert", input, "--width", "105"},
              "ERROR: Missing or invalid --height value.\n"}}) {
        EXPECT_EQ(convert(row.arguments), 1);
        EXPECT_EQ(error.str(), row.text);
        EXPECT_EQ(output.str(), "");
    }
}

TEST_F(CommandLineRun, LooksForNothingAfterAnArgumentError) {
    convert({"--convert", input});
    EXPECT_EQ(ghostscriptSearches + profileSearches, 0);
}

TEST_F(CommandLineRun, ReportsAMissingGhostscriptOnTwoLines) {
    ghostscript = std::nullopt;
    EXPECT_EQ(convertUsual(), 1);
    EXPECT_EQ(error.str(), "ERROR: Ghostscript failed.\n"
                           "Ghostscript not found. Install it with: brew install ghostscript\n");
    EXPECT_EQ(output.str(), "");
}

TEST_F(CommandLineRun, ReportsAMissingProfileOnTwoLines) {
    profile = std::nullopt;
    EXPECT_EQ(convertUsual(), 1);
    EXPECT_EQ(error.str(), "ERROR: Ghostscript failed.\nBundled FOGRA39 profile was not found.\n");
    EXPECT_EQ(output.str(), "");
}

TEST_F(CommandLineRun, ReportsAMissingProfileTheSameWayInRasterMode) {
    profile = std::nullopt;
    EXPECT_EQ(convertUsual({"--no-ghostscript"}), 1);
    EXPECT_EQ(error.str(), "ERROR: Ghostscript failed.\nBundled FOGRA39 profile was not found.\n");
    EXPECT_EQ(output.str(), "");
}

TEST_F(CommandLineRun, ReportsGhostscriptFirstWhenTheProfileIsMissingToo) {
    ghostscript = std::nullopt;
    profile = std::nullopt;
    convertUsual();
    EXPECT_NE(error.str().find("Ghostscript not found."), std::string::npos);
    EXPECT_EQ(profileSearches, 0);
}

TEST_F(CommandLineRun, LooksForGhostscriptButDoesNotNeedItInRasterMode) {
    ghostscript = std::nullopt;
    profile = std::nullopt; // ends the run at the step behind
    convertUsual({"--no-ghostscript"});
    EXPECT_EQ(ghostscriptSearches, 1);
    EXPECT_EQ(error.str().find("Ghostscript not found."), std::string::npos);
}

TEST_F(CommandLineRun, NeverStartsGhostscriptInRasterMode) {
    convertUsual({"--no-ghostscript"});
    EXPECT_FALSE(fake.wasStarted());
}

TEST_F(CommandLineRun, ReportsWhatAFailedGhostscriptSaid) {
    const FakeGhostscript failing("echo one; echo two; exit 1");
    ghostscript = failing.url();
    EXPECT_EQ(convertUsual(), 1);
    EXPECT_EQ(error.str(), "ERROR: Ghostscript failed.\none\ntwo\n");
}

TEST_F(CommandLineRun, ReportsAllThatAFailedGhostscriptSaidAcrossAZeroByte) {
    const FakeGhostscript failing("printf 'one\\000two\\nthree\\n'; exit 1");
    ghostscript = failing.url();
    EXPECT_EQ(convertUsual(), 1);
    EXPECT_EQ(error.str(), std::string("ERROR: Ghostscript failed.\none\0two\nthree\n", 41));
}

TEST_F(CommandLineRun, WritesNothingToTheOutputAfterAnErrorBesidesTheMode) {
    const FakeGhostscript failing("echo one; exit 1");
    ghostscript = failing.url();
    convertUsual();
    EXPECT_EQ(output.str(), modeLine());
}

TEST_F(CommandLineRun, ReportsAFailedMoveAndNoConsoleLines) {
    EXPECT_EQ(convertUsual({"--output", folder.path()}), 1);
    EXPECT_EQ(error.str(),
              "ERROR: Could not write \"" + folder.path().native() + "\": Is a directory\n");
    EXPECT_EQ(output.str(), modeLine());
}

TEST_F(CommandLineRun, KeepsAnExistingResultOnEveryKindOfFailure) {
    folder.file(result().filename(), "old");
    for (const char* script :
         {"exit 1", "kill -KILL $$", "echo nonsense > \"$output\"", ": > \"$output\"",
          "rm \"$output\"", "rm \"$output\"; mkdir \"$output\""}) {
        const FakeGhostscript failing(script);
        ghostscript = failing.url();
        EXPECT_EQ(convertUsual(), 1) << script;
        EXPECT_EQ(contents(result()), "old") << script;
    }
}

TEST_F(CommandLineRun, KeepsAnExistingResultWhenGhostscriptCannotBeStarted) {
    folder.file(result().filename(), "old");
    for (const std::optional<path>& missing :
         {std::optional<path>(), std::optional(folder / "x")}) {
        ghostscript = missing;
        EXPECT_EQ(convertUsual(), 1);
        EXPECT_EQ(contents(result()), "old");
    }
}

TEST_F(CommandLineRun, KeepsAnExistingResultWhenTheProfileIsMissing) {
    folder.file(result().filename(), "old");
    profile = std::nullopt;
    EXPECT_EQ(convertUsual(), 1);
    EXPECT_EQ(contents(result()), "old");
}

TEST(CommandLineConverter, ReturnsWithoutAWordWhenNoConversionIsAskedFor) {
    // This test's own arguments have no "--convert".
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    CommandLineConverter::runIfRequested();
    EXPECT_EQ(testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr(), "");
}

// The program itself, with this machine's Ghostscript.

std::string ghostscriptPath() {
    const auto found = Ghostscript::find();
    return found ? found->url.native() : "Ghostscript is not installed";
}

std::string modeLine() {
    return "Converting with: " + ghostscriptPath() + "\n";
}

/// One page box in points, as `pdfinfo -box` prints it, to two decimals.
using Box = std::array<double, 4>;

/// `name` is one of `pdfinfo -box`, such as "TrimBox".
Box boxOf(const std::string& name, const path& pdf) {
    std::istringstream text(Testing::outputOf({"pdfinfo", "-box", pdf}));
    for (std::string line; std::getline(text, line);) {
        if (!line.starts_with(name + ":"))
            continue;
        std::istringstream numbers(line.substr(name.size() + 1));
        Box box = {};
        for (double& number : box)
            numbers >> number;
        return box;
    }
    ADD_FAILURE() << pdf << " has no " << name;
    return {};
}

void expectBox(const std::string& name, const path& pdf, const Box& expected) {
    const Box box = boxOf(name, pdf);
    for (std::size_t index = 0; index < box.size(); ++index)
        EXPECT_NEAR(box[index], expected[index], 0.006) << name << " number " << index;
}

/// A PDF that other programs take without complaint, with the boxes of this trim and bleed in mm.
void expectPrintPDF(const path& pdf, double width, double height, double bleed) {
    constexpr double k = 72 / 25.4;
    const double mediaWidth = (width + 2 * bleed) * k;
    const double mediaHeight = (height + 2 * bleed) * k;
    for (const char* name : {"MediaBox", "CropBox", "BleedBox"})
        expectBox(name, pdf, {0, 0, mediaWidth, mediaHeight});
    expectBox("TrimBox", pdf,
              {bleed * k, bleed * k, mediaWidth - bleed * k, mediaHeight - bleed * k});
    const CommandResult check = Testing::run({"qpdf", "--check", pdf});
    EXPECT_EQ(check.status, 0) << check.output << check.error;
}

/// The content stream of the first page as text.
std::string contentOf(const path& pdf) {
    return Testing::outputOf({"qpdf", "--qdf", "--object-streams=disable", pdf, "-"});
}

/// sRGB red in FOGRA39, as this machine's Ghostscript writes it.
constexpr const char* printedRed = "0 0.945 0.988 0 k\n";
constexpr const char* redContent = "1 0 0 rg 10 10 50 50 re f";
constexpr const char* blueContent = "0 0 1 rg 10 10 50 50 re f";

class CommandLineProgram : public testing::Test {
protected:
    CommandResult runProgram(const Arguments& arguments) const {
        return Testing::runBleedwise(arguments, options);
    }

    /// Converts "poster.pdf" in the current folder.
    CommandResult convert(const Arguments& more = {}) const {
        return runProgram(
            joined({"--convert", "poster.pdf", "--width", "105", "--height", "148"}, more));
    }

    /// A run that must end in an error, with nothing but the mode on standard output.
    void expectError(const CommandResult& result, const std::string& beginning) const {
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.output, modeLine());
        EXPECT_TRUE(result.error.starts_with("ERROR: " + beginning)) << result.error;
        EXPECT_TRUE(result.error.ends_with("\n")) << result.error;
    }

    void setVariable(const std::string& name, const std::string& value) {
        options.environment.emplace_back(name, value);
    }

    path result() const { return folder / (std::string("poster") + suffix); }

    const TemporaryFolder folder;
    const TemporaryFolder workFolder;
    const path input = folder.file("poster.pdf", Testing::smallPDF(redContent));
    CommandOptions options = {{{"TMPDIR", workFolder.path()},
                               {"GS_OPTIONS", ""},
                               {"DISPLAY", ""},
                               {"WAYLAND_DISPLAY", ""}},
                              folder.path()};
};

TEST_F(CommandLineProgram, PrintsItsLinesOnStandardOutputAndEndsWithZero) {
    const CommandResult run = convert();
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.error, "");
    EXPECT_TRUE(run.output.starts_with(modeLine())) << run.output;
    EXPECT_NE(run.output.find("\nPage 1\n"), std::string::npos) << run.output;
    EXPECT_TRUE(run.output.ends_with("\nOutput: " + result().native() + "\n")) << run.output;
    EXPECT_EQ(run.output.find("\n\n"), std::string::npos) << run.output;
}

TEST_F(CommandLineProgram, MakesAPrintPDFOfASourceWithBleed) {
    convert();
    expectPrintPDF(result(), 105, 148, 3);
}

TEST_F(CommandLineProgram, MakesAPrintPDFOfASourceOfTrimSize) {
    convert({"--trim-only"});
    expectPrintPDF(result(), 105, 148, 3);
}

TEST_F(CommandLineProgram, MakesAPrintPDFWithoutBleed) {
    convert({"--bleed", "0", "--output", "result.pdf"});
    expectPrintPDF(folder / "result.pdf", 105, 148, 0);
}

TEST_F(CommandLineProgram, SeparatesThroughTheShippedProfile) {
    convert();
    EXPECT_NE(contentOf(result()).find(printedRed), std::string::npos);
}

TEST_F(CommandLineProgram, NeedsNoDisplay) {
    setVariable("XDG_RUNTIME_DIR", "");
    setVariable("HOME", "");
    EXPECT_EQ(convert().status, 0);
}

TEST_F(CommandLineProgram, NeedsNoSearchPath) {
    setVariable("PATH", "");
    EXPECT_EQ(convert().status, 0);
}

TEST_F(CommandLineProgram, NeedsNoOpenStandardStreams) {
    const CommandResult run =
        Testing::run({"sh", "-c", "exec \"$0\" \"$@\" <&- >&- 2>&-", BLEEDWISE_EXECUTABLE,
                      "--convert", "poster.pdf", "--width", "105", "--height", "148"},
                     options);
    EXPECT_EQ(run.status, 0);
    expectPrintPDF(result(), 105, 148, 3);
}

TEST_F(CommandLineProgram, PassesTheCallersGhostscriptOptionsOn) {
    setVariable("GS_OPTIONS", "-q");
    EXPECT_EQ(convert().output, modeLine() + "Ghostscript finished without messages.\nOutput: " +
                                    result().native() + "\n");
    EXPECT_NE(contentOf(result()).find(printedRed), std::string::npos);
}

TEST_F(CommandLineProgram, EndsWithOneAndOneLineForAnInputThatIsNotNamed) {
    const CommandResult run = runProgram({"--width", "105", "--height", "148", "--convert"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.error, "ERROR: Missing input PDF after --convert.\n");
    EXPECT_EQ(run.output, "");
}

TEST_F(CommandLineProgram, EndsWithOneForAnInputThatIsMissing) {
    expectError(runProgram({"--convert", "missing.pdf", "--width", "105", "--height", "148"}),
                "Ghostscript failed.\n");
}

TEST_F(CommandLineProgram, EndsWithOneForAnInputThatIsNoPDF) {
    folder.file("poster.pdf", "nonsense");
    expectError(convert(), "Could not open the input PDF.\n");
}

TEST_F(CommandLineProgram, FailsAlsoWhereTheCallerIgnoresTheEndOfChildren) {
    setVariable("GS_OPTIONS", "--nonsense");
    // By bash: the smaller shells do not pass this signal's effect on.
    expectError(
        Testing::run({"bash", "-c", "trap '' CHLD; exec \"$0\" \"$@\"", BLEEDWISE_EXECUTABLE,
                      "--convert", "poster.pdf", "--width", "105", "--height", "148"},
                     options),
        "Ghostscript failed.\n");
}

TEST_F(CommandLineProgram, ResolvesRelativePathsAgainstTheCurrentFolder) {
    std::filesystem::create_directories(folder / "in/deep");
    std::filesystem::create_directory(folder / "out");
    std::filesystem::rename(input, folder / "in/poster.pdf");
    options.folder = folder / "in/deep";
    const CommandResult run =
        runProgram({"--convert", "../poster.pdf", "--output", "./../../out/result.pdf", "--width",
                    "105", "--height", "148"});
    EXPECT_EQ(run.status, 0) << run.error;
    EXPECT_TRUE(std::filesystem::exists(folder / "out/result.pdf"));
}

TEST_F(CommandLineProgram, PrintsTheAbsolutePathOfARelativeOutput) {
    EXPECT_TRUE(convert({"--output", "result.pdf"})
                    .output.ends_with("\nOutput: " + (folder / "result.pdf").native() + "\n"));
}

TEST_F(CommandLineProgram, NamesTheResultOfADottedInput) {
    folder.file("a.b.pdf", Testing::smallPDF());
    runProgram({"--convert", "a.b.pdf", "--width", "105", "--height", "148"});
    EXPECT_TRUE(std::filesystem::exists(folder / (std::string("a.b") + suffix)));
}

TEST_F(CommandLineProgram, WritesToANameWithoutExtensionInTheCurrentFolder) {
    convert({"--output", "result"});
    expectPrintPDF(folder / "result", 105, 148, 3);
    EXPECT_EQ(entryCount(folder.path()), 2U);
}

TEST_F(CommandLineProgram, ReplacesAnExistingResult) {
    folder.file(result().filename(), "old");
    EXPECT_EQ(convert().status, 0);
    expectPrintPDF(result(), 105, 148, 3);
}

TEST_F(CommandLineProgram, MayReplaceItsInput) {
    EXPECT_EQ(convert({"--output", "poster.pdf"}).status, 0);
    expectPrintPDF(input, 105, 148, 3);
    EXPECT_NE(contentOf(input).find(printedRed), std::string::npos);
}

TEST_F(CommandLineProgram, LeavesNothingBesideTheResult) {
    convert();
    EXPECT_EQ(entryCount(folder.path()), 2U);
    EXPECT_EQ(entryCount(workFolder.path()), 0U);
}

TEST_F(CommandLineProgram, KeepsAnExistingResultWhenTheInputIsNoPDF) {
    folder.file("poster.pdf", "nonsense");
    folder.file(result().filename(), "old");
    EXPECT_EQ(convert().status, 1);
    EXPECT_EQ(contents(result()), "old");
}

TEST_F(CommandLineProgram, ReadsAndWritesNumbersUnderALocaleWithDecimalCommas) {
    {
        const Testing::GermanLocale german;
        setVariable("LOCPATH", german.folder());
        setVariable("LC_ALL", Testing::GermanLocale::name);
        runProgram({"--convert", "poster.pdf", "--width", "105,5", "--height", "148.25", "--bleed",
                    "2,5"});
    }
    expectPrintPDF(folder / "poster_PRINT_105.5x148.25_2.5mm_FOGRA39_CMYK.pdf", 105.5, 148.25, 2.5);
}

// File names.

/// A name of a file or folder as people, scripts and other systems give it.
struct OddName {
    const char* title;
    const char* name;
};

void PrintTo(const OddName& oddName, std::ostream* stream) {
    *stream << oddName.title;
}

class OddNames : public CommandLineProgram, public testing::WithParamInterface<OddName> {
protected:
    static std::string name() { return GetParam().name; }
};

TEST_P(OddNames, AreFineForAnInput) {
    folder.file(name() + ".pdf", Testing::smallPDF(redContent));
    const CommandResult run =
        runProgram({"--convert", name() + ".pdf", "--width", "105", "--height", "148"});
    ASSERT_EQ(run.status, 0) << run.error;
    EXPECT_NE(contentOf(folder / (name() + suffix)).find(printedRed), std::string::npos);
}

TEST_P(OddNames, AreFineForAnOutput) {
    const CommandResult run = convert({"--output", name()});
    ASSERT_EQ(run.status, 0) << run.error;
    EXPECT_TRUE(run.output.ends_with("\nOutput: " + (folder / name()).native() + "\n"));
    EXPECT_TRUE(std::filesystem::is_regular_file(folder / name()));
}

TEST_P(OddNames, AreFineForTheTemporaryDirectory) {
    std::filesystem::create_directory(workFolder / name());
    setVariable("TMPDIR", workFolder / name());
    const CommandResult run = convert();
    EXPECT_EQ(run.status, 0) << run.error;
    EXPECT_EQ(entryCount(workFolder.path()), 1U) << "a file was written to another folder";
}

INSTANTIATE_TEST_SUITE_P(
    , OddNames,
    testing::Values(
        OddName{"WithABlank", "a b"}, OddName{"WithSeveralBlanks", "a  b "},
        OddName{"BeginningWithABlank", " a"}, OddName{"EndingInAPercentSign", "100%"},
        OddName{"WithAPageNumberFormat", "a%db"}, OddName{"WithOtherFormats", "%s%n"},
        OddName{"WithTwoPercentSigns", "%%"}, OddName{"OfAGhostscriptDevice", "%stdout"},
        OddName{"WithADoubleQuote", "a\"b"}, OddName{"BetweenDoubleQuotes", "\"a b\""},
        OddName{"WithASingleQuote", "it's"}, OddName{"OfADash", "-"}, OddName{"OfAnOption", "-o"},
        OddName{"OfAFlag", "--convert"}, OddName{"OfAPermission", "--permit-file-read=x"},
        OddName{"BeginningWithAnAtSign", "@a"}, OddName{"WithAHash", "a#b"},
        OddName{"WithAnEqualsSign", "a=b"}, OddName{"WithAColon", "a:b"},
        OddName{"WithASemicolon", "a;b"}, OddName{"WithWildcards", "a*b?"},
        OddName{"BetweenBrackets", "[a]"}, OddName{"WithAnOpenParenthesis", "(a"},
        OddName{"WithABackslash", "a\\b"}, OddName{"WithShellText", "$HOME `id`"},
        OddName{"WithALineBreak", "a\nb"}, OddName{"BeginningWithABar", "|a"},
        OddName{"OfATilde", "~"}, OddName{"OfAHiddenFile", ".hidden"},
        OddName{"BeyondASCII", "Gr\u00f6\u00dfe"}, OddName{"BeyondLatin", "\u65e5\u672c"},
        OddName{"BeyondSixteenBits", "\U0001f5a8"}, OddName{"WithAByteThatIsNotUTF8", "a\377b"},
        OddName{"InLatin1", "\xe9t\xe9"}),
    [](const auto& tested) { return tested.param.title; });

TEST_F(CommandLineProgram, NeverTakesAnotherFileForAnInputWhoseNameIsNotUTF8) {
    // The same name to a program that drops what is not UTF-8.
    folder.file("ab.pdf", Testing::smallPDF(blueContent));
    folder.file("a\377b.pdf", Testing::smallPDF(redContent));
    const CommandResult run = runProgram(
        {"--convert", "a\377b.pdf", "--output", "result.pdf", "--width", "105", "--height", "148"});
    if (run.status == 0)
        EXPECT_NE(contentOf(folder / "result.pdf").find(printedRed), std::string::npos);
    else
        EXPECT_FALSE(std::filesystem::exists(folder / "result.pdf"));
}

/// Names of the folder that the program is installed in, and with it of the profile's path.
class InstallationNames : public CommandLineProgram, public testing::WithParamInterface<OddName> {};

TEST_P(InstallationNames, DoNotChangeTheColour) {
    const path installed = workFolder / GetParam().name;
    std::filesystem::create_directories(installed / "bin");
    std::filesystem::create_directories(installed / "share/bleedwise");
    std::filesystem::copy_file(BLEEDWISE_EXECUTABLE, installed / "bin/bleedwise");
    std::filesystem::copy_file(path(BLEEDWISE_SOURCE_FOLDER) /
                                   "Bleedwise/Resources/ISOcoated_v2_eci.icc",
                               installed / "share/bleedwise/ISOcoated_v2_eci.icc");
    const CommandResult run = Testing::run({installed / "bin/bleedwise", "--convert", "poster.pdf",
                                            "--width", "105", "--height", "148"},
                                           options);
    ASSERT_EQ(run.status, 0) << run.error;
    EXPECT_NE(contentOf(result()).find(printedRed), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(
    , InstallationNames,
    testing::Values(OddName{"WithoutAnythingOdd", "plain"}, OddName{"WithBlanks", "a b  c"},
                    OddName{"WithADoubleQuote", "a\"b"},
                    OddName{"WithABlankBetweenQuotes", "\"a b\""},
                    OddName{"WithASingleQuote", "a'b"}, OddName{"WithAPercentSign", "100%d"},
                    OddName{"WithAColon", "a:b"}, OddName{"WithABackslash", "a\\b"},
                    OddName{"WithALineBreak", "a\nb"}, OddName{"BeyondASCII", "Gr\u00f6\u00dfe"}),
    [](const auto& tested) { return tested.param.title; });

// Where files cannot be written.

TEST_F(CommandLineProgram, WorksOnAnotherFileSystem) {
    const TemporaryFolder other("/dev/shm");
    struct stat here = {};
    struct stat there = {};
    ASSERT_EQ(::stat(folder.path().c_str(), &here), 0);
    ASSERT_EQ(::stat(other.path().c_str(), &there), 0);
    ASSERT_NE(here.st_dev, there.st_dev)
        << folder.path() << " and " << other.path() << " must be on different file systems";
    setVariable("TMPDIR", other.path());
    folder.file(result().filename(), "old");
    EXPECT_EQ(convert().status, 0);
    expectPrintPDF(result(), 105, 148, 3);
    EXPECT_EQ(entryCount(other.path()), 0U);
    EXPECT_EQ(entryCount(folder.path()), 2U);
}

TEST_F(CommandLineProgram, FailsWhenTheTemporaryDirectoryIsMissing) {
    setVariable("TMPDIR", folder / "missing");
    folder.file(result().filename(), "old");
    expectError(convert(), "Ghostscript failed.\n");
    EXPECT_EQ(contents(result()), "old");
}

TEST_F(CommandLineProgram, FailsWhenTheOutputsFolderIsMissing) {
    expectError(convert({"--output", "missing/result.pdf"}),
                "Could not write \"" + (folder / "missing/result.pdf").native() +
                    "\": No such file or directory\n");
}

TEST_F(CommandLineProgram, FailsWhenTheOutputsFolderIsAFile) {
    const std::string before = contents(input);
    expectError(convert({"--output", "poster.pdf/result.pdf"}),
                "Could not write \"" + (folder / "poster.pdf/result.pdf").native() +
                    "\": Not a directory\n");
    EXPECT_EQ(contents(input), before);
}

TEST_F(CommandLineProgram, FailsWhereNobodyCanWrite) {
    expectError(convert({"--output", "/proc/result.pdf"}),
                "Could not write \"/proc/result.pdf\": ");
}

TEST_F(CommandLineProgram, FailsForAnOutputThatIsAFolder) {
    std::filesystem::create_directory(folder / "result.pdf");
    folder.file("result.pdf/inside", "kept");
    expectError(convert({"--output", "result.pdf"}),
                "Could not write \"" + (folder / "result.pdf").native() + "\": Is a directory\n");
    EXPECT_EQ(contents(folder / "result.pdf/inside"), "kept");
}

TEST_F(CommandLineProgram, FailsForAnOutputThatIsANamedPipe) {
    ASSERT_EQ(::mkfifo((folder / "result.pdf").c_str(), 0600), 0);
    expectError(convert({"--output", "result.pdf"}),
                "Could not write \"" + (folder / "result.pdf").native() + "\"");
    EXPECT_TRUE(std::filesystem::is_fifo(folder / "result.pdf"));
}

/// Many rectangles: a file of some size also when it is compressed.
std::string rectangles() {
    std::string content = redContent;
    std::uint32_t random = 1;
    for (int index = 0; index < 2000; ++index) {
        for (int number = 0; number < 4; ++number) {
            random = random * 1664525 + 1013904223; // Numerical Recipes, 7.1
            content += " " + std::to_string(random >> 25U);
        }
        content += " re f";
    }
    return content;
}

TEST_F(CommandLineProgram, KeepsAnExistingResultHoweverFullTheDiskIs) {
    folder.file("poster.pdf", Testing::smallPDF(rectangles()));
    ASSERT_EQ(convert().status, 0);
    const auto size = std::filesystem::file_size(result());
    folder.file(result().filename(), "old");
    constexpr std::uintmax_t blockSize = 512; // of "ulimit -f"
    constexpr std::uintmax_t textSize = 4096; // what is printed needs a file of its own
    ASSERT_GT(size, 3 * textSize);

    for (std::uintmax_t limit = textSize; limit < size; limit += 2 * blockSize) {
        const std::string blocks = std::to_string(limit / blockSize);
        SCOPED_TRACE("files of up to " + blocks + " blocks");
        expectError(
            Testing::run({"sh", "-c", "trap '' XFSZ; ulimit -f " + blocks + "; exec \"$0\" \"$@\"",
                          BLEEDWISE_EXECUTABLE, "--convert", "poster.pdf", "--width", "105",
                          "--height", "148"},
                         options),
            "");
        EXPECT_EQ(contents(result()), "old");
        EXPECT_EQ(entryCount(folder.path()), 2U);
    }
}

// Sizes that make no page, or hardly one.

enum class Ending {
    file,
    error,
    /// Whether Ghostscript takes such a page is its own business.
    fileOrError,
};

enum class Name {
    any,
    /// The size cannot be written into a file name: without an output the program aborts.
    fatal,
};

struct OddSize {
    const char* title;
    const char* width;
    const char* bleed;
    Ending ending;
    Name name = Name::any;
};

void PrintTo(const OddSize& size, std::ostream* stream) {
    *stream << size.title;
}

class OddSizes : public CommandLineProgram, public testing::WithParamInterface<OddSize> {
protected:
    CommandResult convertOddSize(const Arguments& more) const {
        return runProgram(joined({"--convert", "poster.pdf", "--width", GetParam().width,
                                  "--height", "148", "--bleed", GetParam().bleed},
                                 more));
    } // namespace

    void expectFileOrError(const Arguments& more) const {
        const CommandResult run = convertOddSize(more);
        if (GetParam().ending == Ending::file ||
            (GetParam().ending == Ending::fileOrError && run.status == 0)) {
            EXPECT_EQ(run.status, 0) << run.error;
            expectPrintPDF(onlyResult(), std::stod(GetParam().width), 148,
                           std::stod(GetParam().bleed));
        } else {
            expectError(run, "");
            EXPECT_EQ(entryCount(folder.path()), 1U);
        }
    }

    void expectAbort(const Arguments& more) const {
        const CommandResult run = convertOddSize(more);
        EXPECT_EQ(run.status, 128 + SIGABRT);
        EXPECT_EQ(run.output, "");
        EXPECT_EQ(std::count(run.error.begin(), run.error.end(), '\n'), 1) << run.error;
        EXPECT_EQ(entryCount(folder.path()), 1U);
    }

    void expectEndingWithoutOutput(const Arguments& more) const {
        if (GetParam().name == Name::fatal)
            expectAbort(more);
        else
            expectFileOrError(more);
    }

    /// The only file beside the input, whatever its name is.
    path onlyResult() const {
        for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
            if (entry.path() != input)
                return entry.path();
        }
        return folder / "missing";
    }
}; // namespace Bleedwise

TEST_P(OddSizes, EndRightlyWithAnOutput) {
    expectFileOrError({"--output", "result.pdf"});
}

TEST_P(OddSizes, EndRightlyWithAnOutputOfATrimmedSource) {
    expectFileOrError({"--output", "result.pdf", "--trim-only"});
}

TEST_P(OddSizes, EndRightlyWithoutAnOutput) {
    expectEndingWithoutOutput({});
}

TEST_P(OddSizes, EndRightlyWithoutAnOutputOfATrimmedSource) {
    expectEndingWithoutOutput({"--trim-only"});
}

INSTANTIATE_TEST_SUITE_P(
    , OddSizes,
    testing::Values(OddSize{"WidthNotANumber", "nan", "3", Ending::error},
                    OddSize{"WidthInfinite", "inf", "3", Ending::error, Name::fatal},
                    OddSize{"WidthMinusInfinite", "-inf", "3", Ending::error, Name::fatal},
                    OddSize{"WidthZero", "0", "3", Ending::error},
                    OddSize{"WidthMinusZero", "-0", "3", Ending::error},
                    OddSize{"WidthNegative", "-5", "3", Ending::error},
                    OddSize{"WidthLessThanCanBeWritten", "1e-9", "3", Ending::error},
                    OddSize{"WidthOfAHairline", "0.01", "3", Ending::file},
                    OddSize{"WidthOfAMillimetre", "1", "3", Ending::file},
                    OddSize{"WidthOfTwentyMetres", "20000", "3", Ending::fileOrError},
                    OddSize{"WidthOfAKilometre", "1e6", "3", Ending::fileOrError},
                    OddSize{"WidthBeyondIntegers", "1e19", "3", Ending::fileOrError, Name::fatal},
                    OddSize{"WidthBeyondEverything", "1e300", "3", Ending::error, Name::fatal},
                    OddSize{"BleedNotANumber", "105", "nan", Ending::error},
                    OddSize{"BleedInfinite", "105", "inf", Ending::error, Name::fatal},
                    OddSize{"BleedMinusInfinite", "105", "-inf", Ending::error, Name::fatal},
                    OddSize{"BleedNegative", "105", "-3", Ending::error},
                    OddSize{"BleedLessThanCanBeWritten", "105", "1e-9", Ending::file},
                    OddSize{"BleedMinusZero", "105", "-0", Ending::file},
                    // A trimmed source is moved out of Ghostscript's page, which is noticed.
                    OddSize{"BleedOfAMetre", "105", "1000", Ending::fileOrError},
                    OddSize{"BleedOfAKilometre", "105", "1e6", Ending::fileOrError},
                    OddSize{"BleedBeyondIntegers", "105", "1e19", Ending::fileOrError, Name::fatal},
                    OddSize{"BleedBeyondEverything", "105", "1e300", Ending::error, Name::fatal}),
    [](const auto& tested) { return tested.param.title; });

} // namespace
} // namespace Bleedwise
