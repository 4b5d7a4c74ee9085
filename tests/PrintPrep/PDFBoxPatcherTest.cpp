#include "PrintPrep/PDFBoxPatcher.h"

#include "PrintPrep/PrintPrepError.h"
#include "PrintPrep/platform/FileDescriptor.h"
#include "PrintPrep/platform/FileSystemError.h"
#include "support/Command.h"
#include "support/OrdinaryUser.h"
#include "support/ResourceLimit.h"
#include "support/SmallPDF.h"
#include "support/TemporaryFolder.h"

#include <cerrno>
#include <cstddef>
#include <fstream>
#include <iomanip>
#include <limits>
#include <map>
#include <new>
#include <ostream>
#include <sstream>
#include <stdexcept>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Bleedwise {
namespace {

using Testing::contents;
using Testing::TemporaryFolder;

const PrintSettings a4 = {210, 297, 3};

constexpr const char* a4Boxes =
    "/MediaBox [0 0 612.283465 858.897638] /CropBox [0 0 612.283465 858.897638] "
    "/BleedBox [0 0 612.283465 858.897638] /TrimBox [8.503937 8.503937 603.779528 850.393701] ";

constexpr const char* a4NegativeBoxes =
    "/MediaBox [-8.503937 -8.503937 603.779528 850.393701] "
    "/CropBox [-8.503937 -8.503937 603.779528 850.393701] "
    "/BleedBox [-8.503937 -8.503937 603.779528 850.393701] /TrimBox [0 0 595.275591 841.889764] ";

constexpr const char* plainPage = "<</Type/Page/Parent 2 0 R>>";
constexpr const char* plainTrailer = "trailer\n<</Size 9/Root 1 0 R>>\nstartxref\n42\n%%EOF\n";

std::string object(int number, const std::string& body) {
    return std::to_string(number) + " 0 obj\n" + body + "\nendobj\n";
}

/// What the patcher makes of a file with these bytes.
std::string patched(const std::string& bytes, const PrintSettings& settings = a4,
                    bool positiveMediaBoxes = true) {
    const TemporaryFolder folder;
    const auto url = folder.file("file.pdf", bytes);
    PDFBoxPatcher::applyPrintBoxes(url, settings, positiveMediaBoxes);
    return contents(url);
}

/// What the patcher puts behind a file with these bytes.
std::string update(const std::string& bytes) {
    const std::string result = patched(bytes);
    EXPECT_EQ(result.substr(0, bytes.size()), bytes);
    return result.substr(bytes.size());
}

/// The body that a lone page object with this body gets.
std::string rewritten(const std::string& body) {
    const auto updates = PDFBoxPatcher::pageObjectUpdates(object(3, body), a4, true);
    EXPECT_EQ(updates.size(), 1);
    return updates.empty() ? std::string() : updates.front().body;
}

std::size_t updateCount(const std::string& text) {
    return PDFBoxPatcher::pageObjectUpdates(text, a4, true).size();
}

/// Expects the refusal of `bytes`, which must be left as they are, with nothing beside them.
void expectRefused(const std::string& bytes, const PrintSettings& settings = a4) {
    const TemporaryFolder folder;
    const auto url = folder.file("file.pdf", bytes);
    try {
        PDFBoxPatcher::applyPrintBoxes(url, settings, true);
        ADD_FAILURE() << "no error for " << bytes;
    } catch (const PrintPrepError& error) {
        EXPECT_EQ(error.errorCase(), PrintPrepError::Case::couldNotPatchPDFBoxes);
        EXPECT_EQ(error.errorDescription(), "Could not patch the final PDF page boxes.");
    }
    EXPECT_EQ(contents(url), bytes);
    EXPECT_EQ(Testing::entryCount(folder.path()), 1);
}

/// Expects a file system error with this code that names `url`.
void expectFileSystemError(const std::filesystem::path& url, int code) {
    try {
        PDFBoxPatcher::applyPrintBoxes(url, a4, true);
        ADD_FAILURE() << "no error for " << url;
    } catch (const FileSystemError& error) {
        EXPECT_EQ(error.code(), code) << error.errorDescription();
        EXPECT_NE(error.errorDescription().find('"' + url.native() + '"'), std::string::npos)
            << error.errorDescription();
    }
}

/// The offset that the update's cross-reference section holds for each object.
std::map<int, std::size_t> crossReferenceOffsets(const std::string& text) {
    std::istringstream section(text.substr(text.rfind("\nxref\n") + 6));
    std::map<int, std::size_t> offsets;
    int number = 0;
    for (std::string count, offset, generation, use;
         section >> number >> count >> offset >> generation >> use;)
        offsets[number] = std::stoul(offset);
    return offsets;
}

std::string tenDigits(std::size_t number) {
    std::ostringstream digits;
    digits << std::setw(10) << std::setfill('0') << number;
    return digits.str();
}

// The update, byte for byte

TEST(PDFBoxPatcher, WritesTheUpdateOfOnePage) {
    const std::string bytes = "%PDF-1.4\n" + object(3, plainPage) + plainTrailer;
    const std::string page =
        "3 0 obj\n<< " + std::string(a4Boxes) + "/Type/Page/Parent 2 0 R>>\nendobj\n";
    EXPECT_EQ(patched(bytes), bytes + page + "xref\n3 1\n" + tenDigits(bytes.size()) +
                                  " 00000 n \ntrailer\n<< /Size 9 /Root 1 0 R /Prev 42 >>\n" +
                                  "startxref\n" + std::to_string(bytes.size() + page.size()) +
                                  "\n%%EOF\n");
}

TEST(PDFBoxPatcher, AppendsPagesInFileOrder) {
    const std::string text = update(object(12, plainPage) + object(3, plainPage) + plainTrailer);
    EXPECT_TRUE(text.starts_with("12 0 obj\n"));
    EXPECT_LT(text.find("12 0 obj\n"), text.find("\n3 0 obj\n"));
}

TEST(PDFBoxPatcher, ListsPagesByNumberEachInASectionOfItsOwn) {
    const std::string bytes = object(12, plainPage) + object(3, plainPage) + plainTrailer;
    const std::string text = update(bytes);
    EXPECT_NE(text.find("xref\n3 1\n" + tenDigits(bytes.size() + text.find("3 0 obj\n")) +
                        " 00000 n \n12 1\n" + tenDigits(bytes.size()) + " 00000 n \ntrailer\n"),
              std::string::npos)
        << text;
}

TEST(PDFBoxPatcher, DoesNotMergeNeighboursInTheCrossReferenceTable) {
    const std::string text = update(object(3, plainPage) + object(4, plainPage) + plainTrailer);
    EXPECT_NE(text.find("xref\n3 1\n"), std::string::npos) << text;
    EXPECT_NE(text.find(" 00000 n \n4 1\n"), std::string::npos) << text;
}

TEST(PDFBoxPatcher, RewritesEachDefinitionOfAnObjectInFileOrder) {
    const std::string bytes = object(3, "<</Type/Page/A 1>>") + object(2, plainPage) +
                              object(3, "<</Type/Page/A 2>>") + plainTrailer;
    const std::string text = update(bytes);
    const std::size_t first = text.find("3 0 obj\n");
    const std::size_t second = text.find("3 0 obj\n", first + 1);
    EXPECT_LT(text.find("/A 1"), second);
    EXPECT_GT(text.find("/A 2"), second);
    EXPECT_NE(text.find("\n3 1\n" + tenDigits(bytes.size() + first) + " 00000 n \n3 1\n" +
                        tenDigits(bytes.size() + second) + " 00000 n \n"),
              std::string::npos)
        << text;
}

TEST(PDFBoxPatcher, AppendsDirectlyBehindAFileWithoutFinalLineBreak) {
    std::string bytes = object(3, plainPage) + plainTrailer;
    bytes.pop_back();
    const std::string result = patched(bytes);
    EXPECT_EQ(result.substr(bytes.size() - 5, 13), "%%EOF3 0 obj\n");
    EXPECT_EQ(crossReferenceOffsets(result), (std::map<int, std::size_t>{{3, bytes.size()}}));
}

TEST(PDFBoxPatcher, PointsStartXrefAtTheNewSection) {
    const std::string result = patched(object(3, plainPage) + plainTrailer);
    const std::size_t keyword = result.rfind("startxref\n");
    EXPECT_EQ(std::stoul(result.substr(keyword + 10)), result.rfind("\nxref\n") + 1);
}

TEST(PDFBoxPatcher, LeavesOutOtherTrailerKeys) {
    const std::string text =
        update(object(3, plainPage) + "trailer\n<</ID[(a)(b)]/Size 9/Info 8 0 R/Root 1 2 R>>"
                                      "startxref 7");
    EXPECT_NE(text.find("trailer\n<< /Size 9 /Root 1 2 R /Prev 7 >>\n"), std::string::npos) << text;
}

TEST(PDFBoxPatcher, PatchesAPatchedFileAgain) {
    const std::string once = patched(Testing::smallPDF());
    const std::string twice = patched(once, {100, 100, 0});
    EXPECT_EQ(twice.substr(0, once.size()), once);
    const std::string startXref = once.substr(once.rfind("startxref\n") + 10);
    EXPECT_NE(twice.find("/Prev " + startXref.substr(0, startXref.find('\n')), once.size()),
              std::string::npos);
}

// Page dictionaries

TEST(PDFBoxPatcher, PutsTheBoxesFirstInThePageDictionary) {
    EXPECT_EQ(rewritten("<</Type/Page/MediaBox[0 0 100 100]/Parent 2 0 R>>"),
              "<< " + std::string(a4Boxes) + "/Type/Page/Parent 2 0 R>>");
}

TEST(PDFBoxPatcher, KeepsAnIndirectMediaBoxBehindTheNewOne) {
    EXPECT_EQ(rewritten("<</Type/Page/MediaBox 7 0 R>>"),
              "<< " + std::string(a4Boxes) + "/Type/Page/MediaBox 7 0 R>>");
}

TEST(PDFBoxPatcher, DropsAnInlineArtBox) {
    EXPECT_EQ(rewritten("<</Type/Page/ArtBox [1 2\n3 4]/Parent 2 0 R>>"),
              "<< " + std::string(a4Boxes) + "/Type/Page/Parent 2 0 R>>");
}

TEST(PDFBoxPatcher, DropsEveryInlineBoxWhereverItStands) {
    EXPECT_EQ(rewritten("<</CropBox[1]/BleedBox\xa0[2]/Type/Page/TrimBox\n[]/MediaBox[3]/X 1"
                        "/MediaBox[4]/CropBox [5]>>"),
              "<< " + std::string(a4Boxes) + "/Type/Page/X 1>>");
}

TEST(PDFBoxPatcher, KeepsBytesAbove127InAPageDictionary) {
    std::string bytes;
    for (int byte = 128; byte < 256; ++byte)
        bytes += static_cast<char>(byte);
    EXPECT_NE(update(object(3, "<</Type/Page/X(" + bytes + ")>>") + plainTrailer)
                  .find("/Type/Page/X(" + bytes + ")>>\nendobj\n"),
              std::string::npos);
}

TEST(PDFBoxPatcher, LeavesOutTheWhiteSpaceAroundABody) {
    const auto updates = PDFBoxPatcher::pageObjectUpdates(
        "3 0 obj \t\x85<</Type/Page>>\f\v\xa0\r\nendobj", a4, true);
    ASSERT_EQ(updates.size(), 1);
    EXPECT_EQ(updates[0].body, "<< " + std::string(a4Boxes) + "/Type/Page>>");
}

TEST(PDFBoxPatcher, PutsTheBoxesIntoTheFirstDictionary) {
    EXPECT_EQ(rewritten("%x\n<</A<</B 1>>/Type/Page>>"),
              "%x\n<< " + std::string(a4Boxes) + "/A<</B 1>>/Type/Page>>");
}

TEST(PDFBoxPatcher, ReadsTheObjectNumberAsWritten) {
    const auto updates = PDFBoxPatcher::pageObjectUpdates(
        "007 0 obj<</Type/Page>>endobj 9223372036854775807 0 obj<</Type/Page>>endobj", a4, true);
    ASSERT_EQ(updates.size(), 2);
    EXPECT_EQ(updates[0].object, 7);
    EXPECT_EQ(updates[1].object, 9223372036854775807);
}

struct TextCase {
    const char* name;
    const char* text;
};

[[maybe_unused]] void PrintTo(const TextCase& textCase, std::ostream* stream) {
    *stream << textCase.name;
}

std::string textCaseName(const testing::TestParamInfo<TextCase>& info) {
    return info.param.name;
}

class ObjectsThatAreNoPages : public testing::TestWithParam<TextCase> {};

TEST_P(ObjectsThatAreNoPages, AreNotRewritten) {
    EXPECT_EQ(updateCount(GetParam().text), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Each, ObjectsThatAreNoPages,
    testing::ValuesIn<TextCase>({
        {"PageTreeNode", "3 0 obj<</Type/Pages/Kids[]>>endobj"},
        {"SpacedPageTreeNode", "3 0 obj<</Type /Pages>>endobj"},
        {"PageWithAPagesDictionary", "3 0 obj<</Type/Page/X<</Type/Pages>>>>endobj"},
        {"Stream", "3 0 obj<</Type/Page>>stream\nx\nendstream\nendobj"},
        {"PageThatContainsTheWord", "3 0 obj<</Type/Page/X(downstream)>>endobj"},
        {"FirstGeneration", "3 1 obj<</Type/Page>>endobj"},
        {"GenerationOfTwoZeros", "3 00 obj<</Type/Page>>endobj"},
        {"OtherType", "3 0 obj<</Type/Catalog>>endobj"},
        {"NoDictionary", "3 0 obj /Type/Page endobj"},
        {"OtherCase", "3 0 obj<</type/page>>endobj"},
        {"NumberTooLarge", "9223372036854775808 0 obj<</Type/Page>>endobj"},
        {"NoEnd", "3 0 obj<</Type/Page>>"},
        {"NoNumber", "0 obj<</Type/Page>>endobj"},
        {"SignedNumberWithoutBlank", "3 0obj<</Type/Page>>endobj"},
    }),
    textCaseName);

class PageTypes : public testing::TestWithParam<TextCase> {};

TEST_P(PageTypes, AreSeenThroughWhiteSpace) {
    EXPECT_TRUE(PDFBoxPatcher::isPageDictionary(GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(Each, PageTypes,
                         testing::ValuesIn<TextCase>({
                             {"Plain", "<</Type/Page>>"},
                             {"Blank", "<</Type /Page>>"},
                             {"LineBreak", "<</Type\r\n/Page\n>>"},
                             {"NextLineAndNoBreakBlank", "<</Type\x85\xa0/Page>>"},
                             {"LongerName", "<</Type/PageX>>"},
                         }),
                         textCaseName);

// Boxes

TEST(PDFBoxPatcher, StartsTheMediaBoxAtZero) {
    EXPECT_EQ(PDFBoxPatcher::boxString(a4, true), a4Boxes);
}

TEST(PDFBoxPatcher, StartsTheTrimBoxAtZeroInTheOtherForm) {
    EXPECT_EQ(PDFBoxPatcher::boxString(a4, false), a4NegativeBoxes);
}

TEST(PDFBoxPatcher, MakesAllBoxesEqualWithoutBleed) {
    EXPECT_EQ(PDFBoxPatcher::boxString({210, 297, 0}, true),
              "/MediaBox [0 0 595.275591 841.889764] /CropBox [0 0 595.275591 841.889764] "
              "/BleedBox [0 0 595.275591 841.889764] /TrimBox [0 0 595.275591 841.889764] ");
}

TEST(PDFBoxPatcher, WritesNegatedZerosWithoutBleedInTheOtherForm) {
    EXPECT_EQ(PDFBoxPatcher::boxString({210, 297, 0}, false),
              "/MediaBox [-0 -0 595.275591 841.889764] /CropBox [-0 -0 595.275591 841.889764] "
              "/BleedBox [-0 -0 595.275591 841.889764] /TrimBox [0 0 595.275591 841.889764] ");
}

TEST(PDFBoxPatcher, AddsTheBleedInMillimetresFirst) {
    // The sum in points would end in ...4494 here.
    const PrintSettings settings = {0.1, 1, 0.3};
    const std::string width = PDFBoxPatcher::boxString(settings, true);
    EXPECT_TRUE(width.starts_with("/MediaBox [0 0 1.984252 4.535433]")) << width;
}

TEST(PDFBoxPatcher, IgnoresWhereTheBleedAndThePixelsComeFrom) {
    EXPECT_EQ(PDFBoxPatcher::boxString({210, 297, 3, false, false}, true), a4Boxes);
}

TEST(PDFBoxPatcher, WritesTheOtherFormIntoTheFile) {
    const std::string bytes = object(3, plainPage) + plainTrailer;
    EXPECT_EQ(
        patched(bytes, a4, false).substr(bytes.size(), 11 + std::string(a4NegativeBoxes).size()),
        "3 0 obj\n<< " + std::string(a4NegativeBoxes));
}

// Trailers

TEST(PDFBoxPatcher, TakesTheLastStartXref) {
    const auto trailer = PDFBoxPatcher::trailerInfo(
        "trailer<</Size 1/Root 1 0 R>>startxref 5 startxref\n6 startxref x");
    ASSERT_TRUE(trailer);
    EXPECT_EQ(trailer->previousStartXref, 6);
}

TEST(PDFBoxPatcher, TakesTheLastTrailer) {
    const auto trailer = PDFBoxPatcher::trailerInfo(
        "trailer<</Size 1/Root 1 0 R>>trailer\n<</Root 7 8 R/Size 9>>startxref 5");
    EXPECT_EQ(trailer, (PDFBoxPatcher::TrailerInfo{9, 7, 8, 5}));
}

TEST(PDFBoxPatcher, ReadsATrailerUpToANestedDictionary) {
    const auto trailer =
        PDFBoxPatcher::trailerInfo("trailer<</Size 4/Root 1 0 R/X<<>>/Size 5>>startxref 5");
    EXPECT_EQ(trailer, (PDFBoxPatcher::TrailerInfo{4, 1, 0, 5}));
}

TEST(PDFBoxPatcher, ReadsTheLargestNumbers) {
    const auto trailer = PDFBoxPatcher::trailerInfo(
        "trailer<</Size 9223372036854775807/Root 9223372036854775806 9223372036854775805 R>>"
        "startxref 9223372036854775804");
    EXPECT_EQ(trailer, (PDFBoxPatcher::TrailerInfo{9223372036854775807, 9223372036854775806,
                                                   9223372036854775805, 9223372036854775804}));
}

class UnusableTrailers : public testing::TestWithParam<TextCase> {};

TEST_P(UnusableTrailers, LeaveTheFileUnchanged) {
    expectRefused(object(3, plainPage) + GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Each, UnusableTrailers,
    testing::ValuesIn<TextCase>({
        {"Nothing", ""},
        {"NoStartXref", "trailer<</Size 4/Root 1 0 R>>"},
        {"StartXrefWithoutNumber", "trailer<</Size 4/Root 1 0 R>>startxref\n%%EOF"},
        {"StartXrefWithoutWhiteSpace", "trailer<</Size 4/Root 1 0 R>>startxref5"},
        {"StartXrefTooLarge", "trailer<</Size 4/Root 1 0 R>>startxref 9223372036854775808"},
        {"CrossReferenceStream",
         "9 0 obj<</Type/XRef/Size 4/Root 1 0 R>>stream\nx\nendstream endobj\nstartxref 5\n%%EOF"},
        {"TrailerWithoutDictionary", "trailer /Size 4/Root 1 0 R>>startxref 5"},
        {"TrailerWithoutClose", "trailer<</Size 4/Root 1 0 R startxref 5"},
        {"NoSize", "trailer<</Root 1 0 R>>startxref 5"},
        {"SizeWithoutNumber", "trailer<</Size/Root 1 0 R>>startxref 5"},
        {"SizeTooLarge", "trailer<</Size 9223372036854775808/Root 1 0 R>>startxref 5"},
        {"FirstSizeTooLarge", "trailer<</Size 9223372036854775808/Size 4/Root 1 0 R>>startxref 5"},
        {"SizeOnlyInAnEarlierTrailer",
         "trailer<</Size 4/Root 1 0 R>>trailer<</Root 1 0 R>>startxref 5"},
        {"SizeBehindANestedDictionary", "trailer<</X<<>>/Size 4/Root 1 0 R>>startxref 5"},
        {"NoRoot", "trailer<</Size 4>>startxref 5"},
        {"RootWithoutGeneration", "trailer<</Size 4/Root 1 R>>startxref 5"},
        {"RootWithoutR", "trailer<</Size 4/Root 1 0>>startxref 5"},
        {"RootTooLarge", "trailer<</Size 4/Root 9223372036854775808 0 R>>startxref 5"},
        {"RootGenerationTooLarge", "trailer<</Size 4/Root 1 9223372036854775808 R>>startxref 5"},
    }),
    textCaseName);

// Files without pages, and sizes that make none

TEST(PDFBoxPatcher, RefusesAnEmptyFile) {
    expectRefused("");
}

TEST(PDFBoxPatcher, RefusesAFileWithoutPages) {
    expectRefused(object(3, "<</Type/Pages/Kids[]/Count 0>>") + plainTrailer);
}

TEST(PDFBoxPatcher, RefusesAFileWhosePagesAreInObjectStreams) {
    const TemporaryFolder folder;
    const auto plain = folder.file("plain.pdf", Testing::smallPDF());
    const auto packed = folder / "packed.pdf";
    Testing::outputOf({"qpdf", "--object-streams=generate", plain.native(), packed.native()});
    expectRefused(contents(packed));
}

struct SizeCase {
    const char* name;
    double width;
    double height;
    double bleed;
};

[[maybe_unused]] void PrintTo(const SizeCase& sizeCase, std::ostream* stream) {
    *stream << sizeCase.name;
}

std::string sizeCaseName(const testing::TestParamInfo<SizeCase>& info) {
    return info.param.name;
}

class SizesThatMakeNoPage : public testing::TestWithParam<SizeCase> {};

TEST_P(SizesThatMakeNoPage, LeaveTheFileUnchanged) {
    const auto& [name, width, height, bleed] = GetParam();
    expectRefused(object(3, plainPage) + plainTrailer, {width, height, bleed});
}

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double largest = std::numeric_limits<double>::max();

INSTANTIATE_TEST_SUITE_P(Each, SizesThatMakeNoPage,
                         testing::ValuesIn<SizeCase>({
                             {"NoWidth", 0, 297, 3},
                             {"NoHeight", 210, 0, 3},
                             {"NegativeWidth", -210, 297, 3},
                             {"NegativeHeight", 210, -297, 3},
                             {"NegativeBleed", 210, 297, -3},
                             {"WidthThatIsWrittenAsZero", 1e-7, 297, 3},
                             {"InfiniteWidth", infinity, 297, 3},
                             {"InfiniteHeight", 210, infinity, 3},
                             {"InfiniteBleed", 210, 297, infinity},
                             {"WidthThatIsNoNumber", nan, 297, 3},
                             {"HeightThatIsNoNumber", 210, nan, 3},
                             {"BleedThatIsNoNumber", 210, 297, nan},
                             {"WidthBeyondTheRangeOfNumbers", largest, 297, 0},
                             {"WidthBeyondTheNumbersOfPDF", 757'584'511, 297, 0},
                             {"HeightBeyondTheNumbersOfPDF", 210, 757'584'511, 0},
                             {"BleedBeyondTheNumbersOfPDF", 210, 297, 378'792'256},
                             {"BleedBeyondTheRangeOfNumbers", 210, 297, largest / 4},
                         }),
                         sizeCaseName);

// The file system

TEST(PDFBoxPatcher, ReportsAMissingFile) {
    const TemporaryFolder folder;
    expectFileSystemError(folder / "none.pdf", ENOENT);
}

TEST(PDFBoxPatcher, ReportsAMissingFolder) {
    const TemporaryFolder folder;
    expectFileSystemError(folder / "none" / "file.pdf", ENOENT);
}

TEST(PDFBoxPatcher, ReportsAFolder) {
    const TemporaryFolder folder;
    expectFileSystemError(folder.path(), EISDIR);
    EXPECT_TRUE(std::filesystem::is_directory(folder.path()));
}

TEST(PDFBoxPatcher, ReportsANamedPipeWithoutWaiting) {
    const TemporaryFolder folder;
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    expectFileSystemError(folder / "pipe", EINVAL);
    EXPECT_TRUE(std::filesystem::is_fifo(folder / "pipe"));
}

TEST(PDFBoxPatcher, ReportsALinkToNothing) {
    const TemporaryFolder folder;
    std::filesystem::create_symlink("none.pdf", folder / "link.pdf");
    expectFileSystemError(folder / "link.pdf", ENOENT);
}

TEST(PDFBoxPatcher, ReportsALinkToItself) {
    const TemporaryFolder folder;
    std::filesystem::create_symlink("link.pdf", folder / "link.pdf");
    expectFileSystemError(folder / "link.pdf", ELOOP);
}

TEST(PDFBoxPatcher, ReportsAFileThatMayNotBeRead) {
    const TemporaryFolder folder;
    std::filesystem::permissions(folder.path(), std::filesystem::perms(0777));
    const auto url = folder.file("file.pdf", object(3, plainPage) + plainTrailer);
    std::filesystem::permissions(url, std::filesystem::perms::none);
    const Testing::OrdinaryUser user;
    expectFileSystemError(url, EACCES);
}

TEST(PDFBoxPatcher, ReportsAFolderThatMayNotBeWritten) {
    const TemporaryFolder folder;
    const std::string bytes = object(3, plainPage) + plainTrailer;
    const auto url = folder.file("file.pdf", bytes);
    std::filesystem::permissions(url, std::filesystem::perms(0644));
    std::filesystem::permissions(folder.path(), std::filesystem::perms(0555));
    {
        const Testing::OrdinaryUser user;
        expectFileSystemError(url, EACCES);
    }
    EXPECT_EQ(contents(url), bytes);
    std::filesystem::permissions(folder.path(), std::filesystem::perms(0700));
}

TEST(PDFBoxPatcher, PatchesTheTargetOfALink) {
    const TemporaryFolder folder;
    const TemporaryFolder other;
    const std::string bytes = object(3, plainPage) + plainTrailer;
    const auto target = folder.file("file.pdf", bytes);
    std::filesystem::create_symlink(target, other / "link.pdf");
    PDFBoxPatcher::applyPrintBoxes(other / "link.pdf", a4, true);
    EXPECT_EQ(contents(target), patched(bytes));
    EXPECT_EQ(std::filesystem::read_symlink(other / "link.pdf"), target);
}

class Permissions : public testing::TestWithParam<int> {};

TEST_P(Permissions, StayAsTheyAre) {
    const TemporaryFolder folder;
    const auto url = folder.file("file.pdf", object(3, plainPage) + plainTrailer);
    const auto permissions = std::filesystem::perms(GetParam());
    std::filesystem::permissions(url, permissions);
    PDFBoxPatcher::applyPrintBoxes(url, a4, true);
    EXPECT_EQ(std::filesystem::status(url).permissions(), permissions);
}

INSTANTIATE_TEST_SUITE_P(Each, Permissions, testing::Values(0400, 0444, 0600, 0640, 0666, 0777));

TEST(PDFBoxPatcher, LeavesNothingBesideAPatchedFile) {
    const TemporaryFolder folder;
    const auto url = folder.file("file.pdf", object(3, plainPage) + plainTrailer);
    PDFBoxPatcher::applyPrintBoxes(url, a4, true);
    EXPECT_EQ(Testing::entryCount(folder.path()), 1);
}

TEST(PDFBoxPatcher, PatchesAFileByARelativePath) {
    const TemporaryFolder folder;
    const std::string bytes = object(3, plainPage) + plainTrailer;
    const auto url = folder.file("file.pdf", bytes);
    const auto previous = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());
    PDFBoxPatcher::applyPrintBoxes("file.pdf", a4, true);
    std::filesystem::current_path(previous);
    EXPECT_EQ(contents(url), patched(bytes));
}

struct NameCase {
    const char* name;
    std::string fileName;
};

[[maybe_unused]] void PrintTo(const NameCase& nameCase, std::ostream* stream) {
    *stream << nameCase.name;
}

std::string nameCaseName(const testing::TestParamInfo<NameCase>& info) {
    return info.param.name;
}

class FileNames : public testing::TestWithParam<NameCase> {};

TEST_P(FileNames, MayBeAnything) {
    const TemporaryFolder folder;
    const auto url = folder.file(GetParam().fileName, object(3, plainPage) + plainTrailer);
    PDFBoxPatcher::applyPrintBoxes(url, a4, true);
    EXPECT_NE(contents(url).find(a4Boxes), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Each, FileNames,
                         testing::ValuesIn<NameCase>({
                             {"Blank", "a b.pdf"},
                             {"Hyphen", "-x.pdf"},
                             {"Percent", "50%s.pdf"},
                             {"UTF8", "\xc3\xa4.pdf"},
                             {"NoUTF8", "\xe4.pdf"},
                             {"Quotes", "'\".pdf"},
                             {"LineBreak", "line\nbreak"},
                             {"Longest", std::string(255, 'n')},
                         }),
                         nameCaseName);

class FullDisks : public testing::TestWithParam<unsigned> {};

TEST_P(FullDisks, LeaveTheFileUnchanged) {
    const TemporaryFolder folder;
    const std::string bytes =
        object(3, plainPage) + std::string(200'000, ' ') + plainTrailer; // written in two pieces
    const auto url = folder.file("file.pdf", bytes);
    {
        const Testing::FileSizeLimit limit(GetParam());
        expectFileSystemError(url, EFBIG);
    }
    EXPECT_EQ(contents(url), bytes);
    EXPECT_EQ(Testing::entryCount(folder.path()), 1);
}

INSTANTIATE_TEST_SUITE_P(AfterBytes, FullDisks,
                         testing::Values(0U, 1U, 65'536U, 200'000U, 200'200U));

// In place

TEST(PDFBoxPatcher, WritesTheSameUpdateInPlace) {
    const std::string bytes = object(3, plainPage) + plainTrailer;
    const TemporaryFolder folder;
    const auto url = folder.file("file.pdf", bytes);
    PDFBoxPatcher::applyPrintBoxes(url, a4, true, PDFBoxPatcher::Writing::inPlace);
    EXPECT_EQ(contents(url), patched(bytes));
}

TEST(PDFBoxPatcher, WritesTheSameUpdateForAnExcerpt) {
    const TemporaryFolder folder;
    const std::string others = "%PDF-1.4\n" + object(1, "<</Type/Catalog/Pages 2 0 R>>");
    const std::string excerpt = object(12, plainPage) + object(3, plainPage) + plainTrailer;
    const auto url = folder.file("file.pdf", others + excerpt);
    PDFBoxPatcher::appendPrintBoxes(url, static_cast<std::int64_t>((others + excerpt).size()),
                                    excerpt, a4, true);
    EXPECT_EQ(contents(url), patched(others + excerpt));
}

TEST(PDFBoxPatcher, RefusesAnExcerptWithoutPages) {
    const TemporaryFolder folder;
    const auto url = folder.file("file.pdf", object(3, plainPage) + plainTrailer);
    EXPECT_THROW(PDFBoxPatcher::appendPrintBoxes(url, 100, plainTrailer, a4, true), PrintPrepError);
    EXPECT_EQ(contents(url), object(3, plainPage) + plainTrailer);
}

TEST(PDFBoxPatcher, RefusesAnExcerptWithoutATrailer) {
    const TemporaryFolder folder;
    const auto url = folder.file("file.pdf", object(3, plainPage) + plainTrailer);
    EXPECT_THROW(PDFBoxPatcher::appendPrintBoxes(url, 100, object(3, plainPage), a4, true),
                 PrintPrepError);
    EXPECT_EQ(contents(url), object(3, plainPage) + plainTrailer);
}

TEST(PDFBoxPatcher, RefusesAFileTooLongForACrossReferenceEntryByItsSize) {
    const TemporaryFolder folder;
    const std::string bytes = object(3, plainPage) + plainTrailer;
    const auto url = folder.file("file.pdf", bytes);
    EXPECT_THROW(PDFBoxPatcher::appendPrintBoxes(url, 10'000'000'000, bytes, a4, true),
                 PrintPrepError);
    EXPECT_EQ(contents(url), bytes);
}

TEST(PDFBoxPatcher, KeepsTheFileItselfInPlace) {
    const TemporaryFolder folder;
    const auto url = folder.file("file.pdf", object(3, plainPage) + plainTrailer);
    std::filesystem::create_hard_link(url, folder / "other name.pdf");
    PDFBoxPatcher::applyPrintBoxes(url, a4, true, PDFBoxPatcher::Writing::inPlace);
    EXPECT_TRUE(std::filesystem::equivalent(url, folder / "other name.pdf"));
}

TEST(PDFBoxPatcher, ReportsAFileThatMayNotBeExtended) {
    const TemporaryFolder folder;
    const std::string bytes = object(3, plainPage) + plainTrailer;
    const auto url = folder.file("file.pdf", bytes);
    std::filesystem::permissions(folder.path(), std::filesystem::perms(0777));
    std::filesystem::permissions(url, std::filesystem::perms(0444));
    const Testing::OrdinaryUser user;
    try {
        PDFBoxPatcher::applyPrintBoxes(url, a4, true, PDFBoxPatcher::Writing::inPlace);
        ADD_FAILURE() << "no error";
    } catch (const FileSystemError& error) {
        EXPECT_EQ(error.code(), EACCES);
    }
    EXPECT_EQ(contents(url), bytes);
}

class FullDisksInPlace : public testing::TestWithParam<unsigned> {};

TEST_P(FullDisksInPlace, LeaveTheFileUnchanged) {
    const TemporaryFolder folder;
    const std::string bytes = object(3, plainPage) + std::string(1000, ' ') + plainTrailer;
    const auto url = folder.file("file.pdf", bytes);
    {
        const Testing::FileSizeLimit limit(bytes.size() + GetParam());
        EXPECT_THROW(PDFBoxPatcher::applyPrintBoxes(url, a4, true, PDFBoxPatcher::Writing::inPlace),
                     FileSystemError);
    }
    EXPECT_EQ(contents(url), bytes);
}

INSTANTIATE_TEST_SUITE_P(AfterBytes, FullDisksInPlace, testing::Values(0U, 1U, 200U));

// Real files and real readers

/// The boxes of the only page as pdfinfo reads them.
std::string pdfinfoBoxes(const std::filesystem::path& url, const std::string& page) {
    std::istringstream lines(
        Testing::outputOf({"pdfinfo", "-box", "-f", page, "-l", page, url.native()}));
    std::string boxes;
    for (std::string line; std::getline(lines, line);) {
        if (line.find("Box:") != std::string::npos)
            boxes += line + "\n";
    }
    return boxes;
}

std::string pdfinfoA4(const std::string& page) {
    const std::string label = "Page    " + page + " ";
    const std::string media = "     0.00     0.00   612.28   858.90\n";
    const std::string trim = "     8.50     8.50   603.78   850.39\n";
    // Without an ArtBox, pdfinfo shows the crop box.
    return label + "MediaBox: " + media + label + "CropBox:  " + media + label +
           "BleedBox: " + media + label + "TrimBox:  " + trim + label + "ArtBox:   " + media;
}

void expectSoundFile(const std::filesystem::path& url) {
    const Testing::CommandResult check = Testing::run({"qpdf", "--check", url.native()});
    EXPECT_EQ(check.status, 0) << check.output << check.error;
    EXPECT_EQ(check.error, "");
}

class GhostscriptFiles : public testing::Test {
protected:
    GhostscriptFiles() {
        const std::string pages =
            "<</PageSize[300 400]>>setpagedevice [/ArtBox[1 2 3 4]/PAGE pdfmark "
            "10 10 99 99 rectfill showpage 20 20 99 99 rectfill showpage";
        Testing::outputOf({"gs", "-q", "-dSAFER", "-dBATCH", "-dNOPAUSE", "-sDEVICE=pdfwrite", "-o",
                           url_.native(), "-c", pages});
        PDFBoxPatcher::applyPrintBoxes(url_, a4, true);
    }

    TemporaryFolder folder_;
    std::filesystem::path url_ = folder_ / "real.pdf";
};

TEST_F(GhostscriptFiles, AreSoundAfterwards) {
    expectSoundFile(url_);
}

TEST_F(GhostscriptFiles, HaveTheBoxesOnEveryPage) {
    EXPECT_EQ(pdfinfoBoxes(url_, "1"), pdfinfoA4("1"));
    EXPECT_EQ(pdfinfoBoxes(url_, "2"), pdfinfoA4("2"));
}

TEST_F(GhostscriptFiles, AreSoundAfterASecondPatch) {
    PDFBoxPatcher::applyPrintBoxes(url_, {148, 210, 5}, false);
    expectSoundFile(url_);
    EXPECT_NE(pdfinfoBoxes(url_, "2").find("TrimBox:       0.00     0.00   419.53   595.28"),
              std::string::npos);
}

// Large files

/// A file that is mostly a hole, which takes no room on the disk.
class SparseFile {
public:
    explicit SparseFile(const std::filesystem::path& url)
        : file_(::open(url.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600)) {}

    void write(std::string_view text) {
        const auto size = static_cast<ssize_t>(text.size());
        if (::pwrite(file_.get(), text.data(), text.size(), static_cast<off_t>(end_)) != size)
            throw std::runtime_error("could not write a sparse file");
        end_ += text.size();
    }

    void skipTo(std::size_t position) { end_ = position; }
    std::size_t end() const { return end_; }

private:
    FileDescriptor file_;
    std::size_t end_ = 0;
};

std::string bytesAt(const std::filesystem::path& url, std::size_t position, std::size_t size) {
    std::ifstream stream(url, std::ios::binary);
    stream.seekg(static_cast<std::streamoff>(position));
    std::string bytes(size, '\0');
    stream.read(bytes.data(), static_cast<std::streamsize>(size));
    bytes.resize(static_cast<std::size_t>(stream.gcount()));
    return bytes;
}

/// A comment that tells its place in the file.
std::string mark(std::size_t position) {
    return "\n%" + std::to_string(position) + "\n";
}

constexpr std::size_t markDistance = 64U << 20U;

/// Writes a valid PDF of two pages with a hole between them, in which there are marks; the second
/// page is at `position`. Gives the offset of the cross-reference table.
std::size_t writeSparsePDF(const std::filesystem::path& url, std::size_t position) {
    SparseFile file(url);
    std::string table = "xref\n0 5\n0000000000 65535 f \n";
    const auto add = [&](int number, const std::string& body) {
        table += tenDigits(file.end()) + " 00000 n \n";
        file.write(object(number, body));
    };
    file.write("%PDF-1.4\n");
    add(1, "<</Type/Catalog/Pages 2 0 R>>");
    add(2, "<</Type/Pages/Kids[3 0 R 4 0 R]/Count 2/MediaBox[0 0 9 9]>>");
    add(3, "<</Type/Page/Parent 2 0 R/Resources<<>>>>");
    for (std::size_t place = markDistance; place < position; place += markDistance) {
        file.skipTo(place);
        file.write(mark(place));
    }
    file.skipTo(position);
    add(4, "<</Type/Page/Parent 2 0 R/Resources<<>>>>");
    const std::size_t crossReference = file.end();
    file.write(table + "trailer\n<</Size 5/Root 1 0 R>>\nstartxref\n" +
               std::to_string(crossReference) + "\n%%EOF\n");
    return crossReference;
}

TEST(PDFBoxPatcher, PatchesAFileBeyondFourGibibytes) {
    constexpr std::size_t beyond = (4ULL << 30U) + 12'345;
    const TemporaryFolder folder;
    if (std::filesystem::space(folder.path()).available < 2 * beyond)
        GTEST_SKIP() << "The disk has no room for a file of four gibibytes.";
    const auto url = folder / "large.pdf";
    const std::size_t previous = writeSparsePDF(url, beyond);
    const std::size_t size = std::filesystem::file_size(url);
    const std::string start = bytesAt(url, 0, 4096);
    const std::string end = bytesAt(url, beyond, size - beyond);

    PDFBoxPatcher::applyPrintBoxes(url, a4, true);

    EXPECT_EQ(bytesAt(url, 0, start.size()), start);
    for (std::size_t place = markDistance; place < beyond; place += markDistance)
        EXPECT_EQ(bytesAt(url, place, mark(place).size()), mark(place));
    EXPECT_EQ(bytesAt(url, beyond, end.size()), end);
    const std::string page =
        "<< " + std::string(a4Boxes) + "/Type/Page/Parent 2 0 R/Resources<<>>>>";
    const std::string pages = object(3, page) + object(4, page);
    EXPECT_EQ(bytesAt(url, size, 4096),
              pages + "xref\n3 1\n" + tenDigits(size) + " 00000 n \n4 1\n" +
                  tenDigits(size + pages.size() / 2) +
                  " 00000 n \ntrailer\n<< /Size 5 /Root 1 0 R /Prev " + std::to_string(previous) +
                  " >>\nstartxref\n" + std::to_string(size + pages.size()) + "\n%%EOF\n");
    expectSoundFile(url);
    EXPECT_EQ(pdfinfoBoxes(url, "2"), pdfinfoA4("2"));
}

TEST(PDFBoxPatcher, RefusesAFileTooLongForACrossReferenceEntryBeforeCopyingIt) {
    const TemporaryFolder folder;
    const auto url = folder / "large.pdf";
    writeSparsePDF(url, 10'000'000'000);
    struct stat before = {};
    ASSERT_EQ(::stat(url.c_str(), &before), 0);
    {
        // A copy would end here and not with the error below.
        const Testing::FileSizeLimit limit(1U << 20U);
        EXPECT_THROW(PDFBoxPatcher::applyPrintBoxes(url, a4, true), PrintPrepError);
    }
    struct stat after = {};
    ASSERT_EQ(::stat(url.c_str(), &after), 0);
    EXPECT_EQ(after.st_ino, before.st_ino);
    EXPECT_EQ(after.st_size, before.st_size);
    EXPECT_EQ(after.st_mtim.tv_nsec, before.st_mtim.tv_nsec);
    EXPECT_EQ(Testing::entryCount(folder.path()), 1);
}

#ifndef __SANITIZE_ADDRESS__ // whose own memory has the size of the address space

/// The process's memory of its own, in bytes: what RLIMIT_DATA counts.
std::size_t dataSize() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        std::size_t kibibytes = 0;
        if (word == "VmData:" && status >> kibibytes)
            return kibibytes << 10U;
    }
    throw std::runtime_error("the kernel does not tell how much memory is in use");
}

TEST(PDFBoxPatcher, NeedsNoMemoryForTheFileItself) {
    constexpr std::size_t size = 300U << 20U;
    const TemporaryFolder folder;
    const auto url = folder / "large.pdf";
    writeSparsePDF(url, size);

    const Testing::ResourceLimit limit(RLIMIT_DATA, dataSize() + (8U << 20U));
    ASSERT_THROW(std::string(size, ' '), std::bad_alloc);
    EXPECT_NO_THROW(PDFBoxPatcher::applyPrintBoxes(url, a4, true));
    EXPECT_GT(std::filesystem::file_size(url), size);
}

TEST(PDFBoxPatcher, KeepsLittleOfAFileOfManyObjectsInMemory) {
    constexpr int objects = 200;
    const std::string stream = "9 0 obj\n<</Length 1048576>>\nstream\n" +
                               std::string(1U << 20U, 'j') + "\nendstream\nendobj\n";
    const TemporaryFolder folder;
    const auto url = folder.file("large.pdf", "3 0 obj\n<</Type/Page>>\nendobj\n");
    {
        std::ofstream file(url, std::ios::binary | std::ios::app);
        for (int object = 0; object < objects; ++object)
            file << stream;
        file << "trailer\n<</Size 10/Root 1 0 R>>\nstartxref\n0\n%%EOF\n";
    }

    const pid_t child = ::fork();
    if (child == 0) {
        PDFBoxPatcher::applyPrintBoxes(url, a4, true);
        ::_exit(0);
    }
    int status = 0;
    struct rusage usage = {};
    ASSERT_EQ(::wait4(child, &status, 0, &usage), child);
    EXPECT_EQ(status, 0);
    EXPECT_LT(usage.ru_maxrss, 80 << 10) << "KiB, for a file of 200 MiB";
}

#endif

} // namespace
} // namespace Bleedwise
