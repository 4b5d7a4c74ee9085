#include "PrintPrep/Ghostscript.h"

#include "PrintPrep/PrintPrepError.h"
#include "PrintPrep/platform/FileSystemError.h"
#include "PrintPrep/platform/OperationStopped.h"
#include "support/FakeGhostscript.h"
#include "support/GermanLocale.h"
#include "support/Lifeline.h"
#include "support/ScopedVariable.h"
#include "support/SmallPDF.h"
#include "support/TemporaryFolder.h"

#include <cerrno>
#include <csignal>
#include <fstream>
#include <set>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Bleedwise {
namespace {

using std::filesystem::path;
using Testing::contents;
using Testing::FakeGhostscript;
using Testing::Lifeline;
using Testing::ScopedVariable;
using Testing::TemporaryFolder;
using Lines = std::vector<std::string>;

const PrintSettings withBleed = {210, 297, 3, true, true};
const PrintSettings trimOnly = {210, 297, 3, false, true};

/// What the search gives when just these files are executable.
std::string foundAmong(const std::set<path>& executables, std::string_view searchPath) {
    const auto found =
        Ghostscript::find([&](const path& url) { return executables.count(url) > 0; }, searchPath);
    return found ? found->url.native() : "nothing";
}

/// The paths that a search without success tests, in order.
std::vector<path> tested(std::string_view searchPath) {
    std::vector<path> urls;
    EXPECT_FALSE(Ghostscript::find(
        [&](const path& url) {
            urls.push_back(url);
            return false;
        },
        searchPath));
    return urls;
}

TEST(GhostscriptFind, PrefersTheFirstUsualPlaceWhateverTheSearchPathSays) {
    EXPECT_EQ(foundAmong({"/opt/homebrew/bin/gs", "/usr/local/bin/gs", "/usr/bin/gs", "/first/gs"},
                         "/first:/usr/local/bin"),
              "/opt/homebrew/bin/gs");
}

TEST(GhostscriptFind, PrefersTheSecondUsualPlaceToTheThird) {
    EXPECT_EQ(foundAmong({"/usr/bin/gs", "/usr/local/bin/gs"}, "/usr/bin"), "/usr/local/bin/gs");
}

TEST(GhostscriptFind, PrefersTheLastUsualPlaceToTheSearchPath) {
    EXPECT_EQ(foundAmong({"/usr/bin/gs", "/first/gs"}, "/first"), "/usr/bin/gs");
}

TEST(GhostscriptFind, TakesTheFirstHitAlongTheSearchPath) {
    EXPECT_EQ(foundAmong({"/b/gs", "/c/gs"}, "/a:/b:/c"), "/b/gs");
}

TEST(GhostscriptFind, TestsTheUsualPlacesAndThenTheSearchPathInOrder) {
    EXPECT_EQ(tested("/b:/a"), (std::vector<path>{"/opt/homebrew/bin/gs", "/usr/local/bin/gs",
                                                  "/usr/bin/gs", "/b/gs", "/a/gs"}));
}

TEST(GhostscriptFind, DropsEmptyPiecesOfTheSearchPath) {
    for (const char* searchPath : {":/only:", "::/only", "/only::", ":/only"}) {
        const std::vector<path> urls = tested(searchPath);
        ASSERT_EQ(urls.size(), 4U) << searchPath;
        EXPECT_EQ(urls.back(), "/only/gs") << searchPath;
    }
}

TEST(GhostscriptFind, TestsOnlyTheUsualPlacesWithAnEmptySearchPath) {
    EXPECT_EQ(tested("").size(), 3U);
    EXPECT_EQ(tested(":::").size(), 3U);
}

TEST(GhostscriptFind, TestsARepeatedFolderAgain) {
    EXPECT_EQ(tested("/usr/bin:/usr/bin").size(), 5U);
}

TEST(GhostscriptFind, ResolvesARelativeSearchPathAgainstTheCurrentFolder) {
    EXPECT_EQ(tested("tools").back(), std::filesystem::current_path() / "tools/gs");
}

TEST(GhostscriptFind, PassesOverARelativeFolderWhenTheCurrentFolderIsGone) {
    const std::filesystem::path before = std::filesystem::current_path();
    {
        const TemporaryFolder folder;
        std::filesystem::current_path(folder.path());
    }
    EXPECT_EQ(foundAmong({"/a/gs"}, "tools:/a"), "/a/gs");
    std::filesystem::current_path(before);
}

TEST(GhostscriptFind, FindsNothingWithoutAnyExecutable) {
    EXPECT_EQ(foundAmong({}, "/a:/b"), "nothing");
}

TEST(GhostscriptFind, FindsThisMachinesGhostscript) {
    const auto found = Ghostscript::find();
    ASSERT_TRUE(found);
    EXPECT_EQ(::access(found->url.c_str(), X_OK), 0);
}

TEST(GhostscriptArguments, AreTheseTwentyFourForASourceWithBleed) {
    EXPECT_EQ(Ghostscript::arguments("/in/a b.pdf", "/out/x.pdf", "/profiles/f 39.icc", withBleed),
              (Lines{"-dBATCH",
                     "-dNOPAUSE",
                     "-dSAFER",
                     "--permit-file-read=/in/a b.pdf",
                     "--permit-file-read=/profiles/f 39.icc",
                     "--permit-file-write=/out/x.pdf",
                     "-sDEVICE=pdfwrite",
                     "-o",
                     "/out/x.pdf",
                     "-dCompatibilityLevel=1.4",
                     "-dPDFSETTINGS=/prepress",
                     "-dProcessColorModel=/DeviceCMYK",
                     "-sColorConversionStrategy=CMYK",
                     "-sColorConversionStrategyForImages=CMYK",
                     "-dOverrideICC",
                     "-sOutputICCProfile=/profiles/f 39.icc",
                     "-dFIXEDMEDIA",
                     "-dDEVICEWIDTHPOINTS=612.283465",
                     "-dDEVICEHEIGHTPOINTS=858.897638",
                     "-c",
                     "<</PageOffset [0 0]>> setpagedevice",
                     "-dPDFFitPage",
                     "-f",
                     "/in/a b.pdf"}));
}

TEST(GhostscriptArguments, AreTheseTwentyFourForASourceOfTrimSize) {
    EXPECT_EQ(Ghostscript::arguments("/in/a.pdf", "/out/x.pdf", "/profiles/f39.icc", trimOnly),
              (Lines{"-dBATCH",
                     "-dNOPAUSE",
                     "-dSAFER",
                     "--permit-file-read=/in/a.pdf",
                     "--permit-file-read=/profiles/f39.icc",
                     "--permit-file-write=/out/x.pdf",
                     "-sDEVICE=pdfwrite",
                     "-o",
                     "/out/x.pdf",
                     "-dCompatibilityLevel=1.4",
                     "-dPDFSETTINGS=/prepress",
                     "-dProcessColorModel=/DeviceCMYK",
                     "-sColorConversionStrategy=CMYK",
                     "-sColorConversionStrategyForImages=CMYK",
                     "-dOverrideICC",
                     "-sOutputICCProfile=/profiles/f39.icc",
                     "-dFIXEDMEDIA",
                     "-dDEVICEWIDTHPOINTS=595.275591",
                     "-dDEVICEHEIGHTPOINTS=841.889764",
                     "-c",
                     "<</PageOffset [8.503937 8.503937]>> setpagedevice",
                     "-dPDFFitPage",
                     "-f",
                     "/in/a.pdf"}));
}

TEST(GhostscriptArguments, AreTheSameInBothModesWithoutBleed) {
    const auto arguments = [](bool sourceIncludesBleed) {
        return Ghostscript::arguments("/i", "/o", "/p", {210, 297, 0, sourceIncludesBleed, true});
    };
    EXPECT_EQ(arguments(true), arguments(false));
}

TEST(GhostscriptArguments, HaveTheTrimSizeAndNoOffsetWithoutBleed) {
    const Lines arguments = Ghostscript::arguments("/i", "/o", "/p", {210, 297, 0, true, true});
    EXPECT_EQ(arguments[17], "-dDEVICEWIDTHPOINTS=595.275591");
    EXPECT_EQ(arguments[18], "-dDEVICEHEIGHTPOINTS=841.889764");
    EXPECT_EQ(arguments[20], "<</PageOffset [0 0]>> setpagedevice");
}

TEST(GhostscriptArguments, HavePointsUnderALocaleWithDecimalCommas) {
    const Lines expected = Ghostscript::arguments("/i", "/o", "/p", trimOnly);
    const Testing::GermanLocale german;
    EXPECT_EQ(Ghostscript::arguments("/i", "/o", "/p", trimOnly), expected);
}

TEST(GhostscriptOptions, NameTheProfileForVectorsTextAndImages) {
    EXPECT_EQ(Ghostscript::options("", "/a b/f39.icc"),
              "\"-sVectorICCProfile=/a b/f39.icc\" \"-sTextICCProfile=/a b/f39.icc\" "
              "\"-sImageICCProfile=/a b/f39.icc\" ");
}

TEST(GhostscriptOptions, StandBehindTheCallersOwn) {
    EXPECT_EQ(Ghostscript::options("-dQUIET -sX=\"a b\"", "/p"),
              "-dQUIET -sX=\"a b\" \"-sVectorICCProfile=/p\" \"-sTextICCProfile=/p\" "
              "\"-sImageICCProfile=/p\" ");
}

TEST(GhostscriptOptions, ChooseThePreviousInterpreter) {
    EXPECT_EQ(Ghostscript::options("", "/p", Ghostscript::Interpreter::previous),
              "\"-sVectorICCProfile=/p\" \"-sTextICCProfile=/p\" \"-sImageICCProfile=/p\" "
              "-dNEWPDF=false ");
}

TEST(GhostscriptOptions, AddNoSecondBlankBehindTheCallersOwn) {
    EXPECT_EQ(Ghostscript::options("-q ", "/p").substr(0, 5), "-q \"-");
}

/// One run of a fake Ghostscript.
class GhostscriptRun : public testing::Test {
protected:
    Ghostscript::Result convert(const path& ghostscriptURL,
                                const PrintSettings& settings = withBleed) const {
        return Ghostscript::convertToCMYKSync(ghostscriptURL, "/in/a.pdf", outputURL(), "/p/f.icc",
                                              settings);
    }

    Lines logOf(std::string_view script) const {
        const FakeGhostscript ghostscript(script);
        return convert(ghostscript.url()).log;
    }

    /// The description of the engine's own error that a run must end in.
    std::string failureOf(std::string_view script) const {
        const FakeGhostscript ghostscript(script);
        try {
            convert(ghostscript.url());
        } catch (const PrintPrepError& error) {
            return error.errorDescription();
        }
        ADD_FAILURE() << "the run did not fail";
        return {};
    }

    path outputURL() const { return folder / "work.pdf"; }

    const TemporaryFolder folder;
};

TEST_F(GhostscriptRun, PassesTheArgumentsUnchanged) {
    const FakeGhostscript ghostscript;
    convert(ghostscript.url(), trimOnly);
    EXPECT_EQ(ghostscript.arguments(),
              Ghostscript::arguments("/in/a.pdf", outputURL(), "/p/f.icc", trimOnly));
}

TEST_F(GhostscriptRun, PassesPathsThroughNoShell) {
    const FakeGhostscript ghostscript;
    const std::string hostile = "/in/$(id) `id` \"a\" 'b' ; * \\ \n.pdf";
    Ghostscript::convertToCMYKSync(ghostscript.url(), hostile, outputURL(), "/p/f.icc", withBleed);
    EXPECT_EQ(ghostscript.arguments().back(), hostile);
}

class GhostscriptInputNames : public testing::TestWithParam<const char*> {};

TEST_P(GhostscriptInputNames, AreReplacedByAPassingLinkToTheInput) {
    const TemporaryFolder folder;
    const ScopedVariable temporary("TMPDIR", folder.path().native());
    const std::filesystem::path output = folder / "output.pdf";
    const FakeGhostscript ghostscript;
    Ghostscript::convertToCMYKSync(ghostscript.url(), GetParam(), output, "/p/f.icc", withBleed);
    const std::filesystem::path name = ghostscript.arguments().back();
    EXPECT_EQ(name.parent_path(), folder.path());
    EXPECT_FALSE(std::filesystem::is_symlink(name)) << "the link is still there";
}

INSTANTIATE_TEST_SUITE_P(ThatGhostscriptMisreads, GhostscriptInputNames,
                         testing::Values("/in/\xff.pdf", "/in/|a.pdf", "/in/%pipe%a.pdf",
                                         "/in\xc3(/a.pdf"));

TEST(GhostscriptOptions, RefuseAnInheritedValueThatEndsWithinQuotationMarks) {
    for (const char* value : {"\"-dFoo", "-dA \"b\" \"", "\"-sA=b\\\""}) {
        SCOPED_TRACE(value);
        EXPECT_THROW(Ghostscript::options(value, "/p/f.icc"), PrintPrepError);
    }
}

TEST(GhostscriptOptions, AcceptAnInheritedValueWithClosedOrEscapedQuotationMarks) {
    for (const char* value : {"", "\"-sA=b c\"", "-sA=\\\"", "\"-sA=\\\"\""}) {
        SCOPED_TRACE(value);
        EXPECT_NO_THROW(Ghostscript::options(value, "/p/f.icc"));
    }
}

TEST(GhostscriptOptions, EscapeAQuotationMarkInTheProfilesPath) {
    EXPECT_NE(Ghostscript::options("", "/a\"b/f.icc").find("=/a\\\"b/f.icc\""), std::string::npos);
}

TEST_F(GhostscriptRun, SetsTheOptionsInTheEnvironment) {
    const ScopedVariable inherited("GS_OPTIONS", std::nullopt);
    const FakeGhostscript ghostscript;
    convert(ghostscript.url());
    EXPECT_EQ(ghostscript.options(),
              "\"-sVectorICCProfile=/p/f.icc\" \"-sTextICCProfile=/p/f.icc\" "
              "\"-sImageICCProfile=/p/f.icc\" ");
}

TEST_F(GhostscriptRun, AppendsTheOptionsBehindThoseOfTheCaller) {
    const ScopedVariable inherited("GS_OPTIONS", "-dMine");
    const FakeGhostscript ghostscript;
    convert(ghostscript.url());
    EXPECT_EQ(ghostscript.options(), "-dMine \"-sVectorICCProfile=/p/f.icc\" "
                                     "\"-sTextICCProfile=/p/f.icc\" "
                                     "\"-sImageICCProfile=/p/f.icc\" ");
}

TEST_F(GhostscriptRun, LeavesTheOptionsOfThisProcessAlone) {
    const ScopedVariable inherited("GS_OPTIONS", "-dMine");
    convert(FakeGhostscript().url());
    EXPECT_STREQ(std::getenv("GS_OPTIONS"), "-dMine");
}

TEST_F(GhostscriptRun, SetsThePageBoxesOfTheResult) {
    convert(FakeGhostscript().url());
    const std::string bytes = contents(outputURL());
    EXPECT_TRUE(bytes.starts_with(Testing::smallPDF()));
    EXPECT_NE(bytes.find("/MediaBox [0 0 612.283465 858.897638] "), std::string::npos);
    EXPECT_NE(bytes.find("/TrimBox [8.503937 8.503937 603.779528 850.393701] "), std::string::npos);
}

TEST_F(GhostscriptRun, SetsTheSamePageBoxesForASourceOfTrimSize) {
    convert(FakeGhostscript().url(), trimOnly);
    EXPECT_NE(contents(outputURL()).find("/MediaBox [0 0 612.283465 858.897638] "),
              std::string::npos);
}

TEST_F(GhostscriptRun, GivesTheConsoleLinesOfBothStreamsInTheOrderOfWriting) {
    EXPECT_EQ(logOf("echo one; echo two >&2; echo three; echo four >&2"),
              (Lines{"one", "two", "three", "four"}));
}

TEST_F(GhostscriptRun, DropsBlankLines) {
    EXPECT_EQ(logOf("printf '\\n\\none\\n\\n\\ntwo\\n\\n'"), (Lines{"one", "two"}));
}

TEST_F(GhostscriptRun, KeepsALineOfBlanks) {
    EXPECT_EQ(logOf("printf ' \\none'"), (Lines{" ", "one"}));
}

TEST_F(GhostscriptRun, KeepsALastLineWithoutLineFeed) {
    EXPECT_EQ(logOf("printf 'one\\ntwo'"), (Lines{"one", "two"}));
}

TEST_F(GhostscriptRun, SaysThatItFinishedWhenThereWasNoConsoleText) {
    EXPECT_EQ(logOf(""), Lines{"Ghostscript finished without messages."});
}

TEST_F(GhostscriptRun, SaysThatItFinishedWhenThereWereOnlyBlankLines) {
    EXPECT_EQ(logOf("printf '\\n\\n'"), Lines{"Ghostscript finished without messages."});
}

TEST_F(GhostscriptRun, TakesTextThatIsNotUTF8ForNone) {
    EXPECT_EQ(logOf("printf 'one\\n\\377\\ntwo\\n'"),
              Lines{"Ghostscript finished without messages."});
}

TEST_F(GhostscriptRun, KeepsTextBeyondASCII) {
    EXPECT_EQ(logOf("echo 'Größe 日本'"), Lines{"Größe 日本"});
}

TEST_F(GhostscriptRun, EndsWithTenMegabytesInOneLine) {
    const Lines log = logOf("head -c 10485760 /dev/zero | tr '\\0' x");
    ASSERT_EQ(log.size(), 1U);
    EXPECT_TRUE(log.front() == std::string(10U << 20U, 'x'));
}

TEST_F(GhostscriptRun, EndsWithTenMegabytesOfLinesOnTheErrorStream) {
    const Lines log = logOf("yes 0123456789abcde | head -n 655360 >&2");
    ASSERT_EQ(log.size(), 655360U);
    EXPECT_EQ(log.back(), "0123456789abcde");
}

TEST_F(GhostscriptRun, FailsWithTheConsoleLinesOfAnotherExitStatus) {
    EXPECT_EQ(failureOf("echo one; echo; echo two >&2; exit 1"), "Ghostscript failed.\none\ntwo");
}

TEST_F(GhostscriptRun, FailsWithAnEmptyTextWhenNothingWasSaid) {
    EXPECT_EQ(failureOf("exit 1"), "Ghostscript failed.\n");
}

TEST_F(GhostscriptRun, FailsWithAnEmptyTextWhenTheTextIsNotUTF8) {
    EXPECT_EQ(failureOf("printf 'one\\n\\377\\n'; exit 1"), "Ghostscript failed.\n");
}

TEST_F(GhostscriptRun, FailsWithTenMegabytesOfText) {
    EXPECT_EQ(failureOf("head -c 10485760 /dev/zero | tr '\\0' x; exit 255").size(),
              std::string("Ghostscript failed.\n").size() + (10U << 20U));
}

TEST_F(GhostscriptRun, FailsWithTheTextSoFarWhenASignalEndsGhostscript) {
    EXPECT_EQ(failureOf("echo one; kill -KILL $$"), "Ghostscript failed.\none");
}

TEST_F(GhostscriptRun, LeavesTheOutputOfAFailedRunUnpatched) {
    failureOf("exit 1");
    EXPECT_EQ(contents(outputURL()), Testing::smallPDF());
}

TEST_F(GhostscriptRun, FailsWhenTheOutputIsNotAPDF) {
    EXPECT_EQ(failureOf("echo nonsense > \"$output\""),
              "Could not patch the final PDF page boxes.");
}

TEST_F(GhostscriptRun, FailsWithAFileErrorWhenThereIsNoOutput) {
    const FakeGhostscript ghostscript("rm \"$output\"");
    EXPECT_THROW(convert(ghostscript.url()), FileSystemError);
}

TEST_F(GhostscriptRun, FailsWithAFileErrorWhenGhostscriptIsMissing) {
    try {
        convert(folder / "missing");
        FAIL() << "the run did not fail";
    } catch (const FileSystemError& error) {
        EXPECT_EQ(error.errorDescription(), "Could not start \"" + (folder / "missing").native() +
                                                "\": No such file or directory");
    }
}

TEST_F(GhostscriptRun, FailsWithAFileErrorWhenGhostscriptIsNotExecutable) {
    try {
        convert(folder.file("gs", "#!/bin/sh\n"));
        FAIL() << "the run did not fail";
    } catch (const FileSystemError& error) {
        EXPECT_EQ(error.code(), EACCES);
    }
}

TEST_F(GhostscriptRun, WritesNothingWhenGhostscriptCannotBeStarted) {
    EXPECT_THROW(convert(folder / "missing"), FileSystemError);
    EXPECT_FALSE(std::filesystem::exists(outputURL()));
}

TEST_F(GhostscriptRun, FailsAlsoWhereTheCallerIgnoresTheEndOfChildren) {
    // Whoever started this program may have left it so; an ignored signal stays ignored.
    const auto previous = std::signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(failureOf("echo one; exit 1"), "Ghostscript failed.\none");
    std::signal(SIGCHLD, previous);
}

TEST_F(GhostscriptRun, GivesItsResultThroughAFuture) {
    const FakeGhostscript ghostscript("echo one");
    std::future<Ghostscript::Result> result = Ghostscript::convertToCMYK(
        ghostscript.url(), "/in/a.pdf", outputURL(), "/p/f.icc", withBleed);
    EXPECT_EQ(result.get().log, Lines{"one"});
    EXPECT_NE(contents(outputURL()).find("/TrimBox"), std::string::npos);
}

TEST_F(GhostscriptRun, PassesTheSameArgumentsThroughAFuture) {
    const FakeGhostscript ghostscript;
    Ghostscript::convertToCMYK(ghostscript.url(), "/in/a.pdf", outputURL(), "/p/f.icc", trimOnly)
        .get();
    EXPECT_EQ(ghostscript.arguments(),
              Ghostscript::arguments("/in/a.pdf", outputURL(), "/p/f.icc", trimOnly));
}

TEST_F(GhostscriptRun, GivesItsErrorThroughAFuture) {
    const FakeGhostscript ghostscript("echo one; exit 1");
    std::future<Ghostscript::Result> result = Ghostscript::convertToCMYK(
        ghostscript.url(), "/in/a.pdf", outputURL(), "/p/f.icc", withBleed);
    try {
        result.get();
        FAIL() << "the run did not fail";
    } catch (const PrintPrepError& error) {
        EXPECT_EQ(error.errorDescription(), "Ghostscript failed.\none");
    }
}

TEST_F(GhostscriptRun, GivesAStartFailureThroughAFuture) {
    std::future<Ghostscript::Result> result = Ghostscript::convertToCMYK(
        folder / "missing", "/in/a.pdf", outputURL(), "/p/f.icc", withBleed);
    EXPECT_THROW(result.get(), FileSystemError);
}

TEST_F(GhostscriptRun, DoesNotWaitForTheEndOfADroppedFuture) {
    const path gate = folder / "gate";
    ASSERT_EQ(::mkfifo(gate.c_str(), 0600), 0);
    const FakeGhostscript ghostscript("read line < '" + gate.native() + "'; exit 1");
    {
        const std::future<Ghostscript::Result> dropped = Ghostscript::convertToCMYK(
            ghostscript.url(), "/in/a.pdf", outputURL(), "/p/f.icc", withBleed);
    }
    std::ofstream opened(gate); // waits until the script has come to the gate
    EXPECT_TRUE(opened << "go\n" << std::flush);
}

TEST_F(GhostscriptRun, EndsGhostscriptOnAStopRequest) {
    const Lifeline lifeline;
    const FakeGhostscript fake(lifeline.script());
    std::stop_source stop;
    std::future<Ghostscript::Result> result = Ghostscript::convertToCMYK(
        fake.url(), "/in/a.pdf", outputURL(), "/p/f.icc", withBleed, stop.get_token());
    ASSERT_TRUE(lifeline.awaitStart());
    stop.request_stop();
    EXPECT_THROW(result.get(), OperationStopped);
    EXPECT_TRUE(lifeline.awaitEnd());
}

TEST_F(GhostscriptRun, RunsOnSeveralThreadsAtOnce) {
    const FakeGhostscript ghostscript("echo \"$output\"");
    std::vector<std::future<Ghostscript::Result>> results;
    for (const char* name : {"1.pdf", "2.pdf", "3.pdf", "4.pdf"})
        results.push_back(Ghostscript::convertToCMYK(ghostscript.url(), "/in/a.pdf", folder / name,
                                                     "/p/f.icc", withBleed));
    for (std::size_t index = 0; index < results.size(); ++index)
        EXPECT_EQ(results[index].get().log,
                  Lines{(folder / (std::to_string(index + 1) + ".pdf")).native()});
}

} // namespace
} // namespace Bleedwise
