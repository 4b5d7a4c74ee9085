#include "PrintPrep/PDFInspector.h"

#include "support/Command.h"
#include "support/SmallPDF.h"
#include "support/TemporaryFolder.h"
#include "support/TestPDF.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace Bleedwise {

[[maybe_unused]] void PrintTo(const PageSizeMM& size, std::ostream* stream) {
    *stream << size.width << " x " << size.height;
}

namespace {

using std::filesystem::path;
using Testing::TemporaryFolder;
using Testing::TestPDF;

/// A whole number of millimetres for a whole number of points.
constexpr double inch = 25.4;

std::optional<PageSizeMM> sizeOf(const std::string& pdf) {
    const TemporaryFolder folder;
    return PDFInspector::firstPageSizeMM(folder.file("a.pdf", pdf));
}

std::optional<PageSizeMM> sizeOfPage(const std::string& mediaBox, const std::string& entries = "") {
    return sizeOf(TestPDF::ofPage({"", "", mediaBox, entries}));
}

void expectSize(const std::optional<PageSizeMM>& size, double width, double height) {
    ASSERT_TRUE(size);
    EXPECT_DOUBLE_EQ(size->width, width);
    EXPECT_DOUBLE_EQ(size->height, height);
}

TEST(PDFInspector, MeasuresAnA4Page) {
    const std::optional<PageSizeMM> size = sizeOfPage("0 0 595.276 841.89");
    ASSERT_TRUE(size);
    EXPECT_NEAR(size->width, 210.0, 0.001);
    EXPECT_NEAR(size->height, 297.0, 0.001);
}

TEST(PDFInspector, DoesNotRound) {
    expectSize(sizeOfPage("0 0 100.5 1"), 100.5 / 72 * inch, 1.0 / 72 * inch);
}

TEST(PDFInspector, MeasuresABoxAwayFromTheOrigin) {
    expectSize(sizeOfPage("-72 72 72 360"), 2 * inch, 4 * inch);
}

TEST(PDFInspector, MeasuresABoxWithItsCornersExchanged) {
    expectSize(sizeOfPage("144 288 0 0"), 2 * inch, 4 * inch);
}

TEST(PDFInspector, MeasuresTheFirstPageOnly) {
    TestPDF pdf;
    pdf.page({"", "", "0 0 72 144"});
    pdf.page({"", "", "0 0 720 720"});
    expectSize(sizeOf(pdf.bytes()), inch, 2 * inch);
}

TEST(PDFInspector, LooksAtNoOtherBox) {
    expectSize(sizeOfPage("0 0 720 720", "/CropBox [0 0 72 72] /TrimBox [9 9 99 99] "
                                         "/BleedBox [8 8 88 88] /ArtBox [7 7 77 77]"),
               10 * inch, 10 * inch);
}

TEST(PDFInspector, DoesNotTurnARotatedPage) {
    expectSize(sizeOfPage("0 0 72 144", "/Rotate 90"), inch, 2 * inch);
}

TEST(PDFInspector, FindsABoxThatThePageInherits) {
    TestPDF pdf;
    const std::string page = pdf.object("<< /Type /Page /Parent 4 0 R >>");
    const std::string pages =
        pdf.object("<< /Type /Pages /Count 1 /Kids [" + page + "] /MediaBox [0 0 72 144] >>");
    pdf.catalog("/Pages " + pages);
    std::string bytes = pdf.bytes();
    bytes.replace(bytes.find("/Pages 2 0 R"), 12, "            ");
    expectSize(sizeOf(bytes), inch, 2 * inch);
}

TEST(PDFInspector, MeasuresADocumentThatIsCutOff) {
    const std::string whole = TestPDF::ofPage({"", "", "0 0 72 144"});
    expectSize(sizeOf(whole.substr(0, whole.find("startxref"))), inch, 2 * inch);
}

TEST(PDFInspector, MeasuresADocumentThatOpensWithoutAPassword) {
    const TemporaryFolder folder;
    const path plain = folder.file("plain.pdf", TestPDF::ofPage({"", "", "0 0 72 144"}));
    const path locked = folder / "locked.pdf";
    Testing::outputOf({"qpdf", "--encrypt", "", "owner", "256", "--", plain, locked});
    expectSize(PDFInspector::firstPageSizeMM(locked), inch, 2 * inch);
}

TEST(PDFInspector, HasNothingOfADocumentThatNeedsAPassword) {
    const TemporaryFolder folder;
    const path plain = folder.file("plain.pdf", Testing::smallPDF());
    const path locked = folder / "locked.pdf";
    Testing::outputOf({"qpdf", "--encrypt", "user", "owner", "256", "--", plain, locked});
    EXPECT_EQ(PDFInspector::firstPageSizeMM(locked), std::nullopt);
}

TEST(PDFInspector, HasNothingOfADocumentWithoutPages) {
    EXPECT_EQ(sizeOf(TestPDF().bytes()), std::nullopt);
}

TEST(PDFInspector, HasNothingOfAFileThatIsNoPDF) {
    EXPECT_EQ(sizeOf("A4, 210 x 297 mm"), std::nullopt);
    EXPECT_EQ(sizeOf(""), std::nullopt);
}

TEST(PDFInspector, HasNothingOfAMissingFile) {
    const TemporaryFolder folder;
    EXPECT_EQ(PDFInspector::firstPageSizeMM(folder / "missing.pdf"), std::nullopt);
}

TEST(PDFInspector, HasNothingOfAFolder) {
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder / "folder.pdf");
    EXPECT_EQ(PDFInspector::firstPageSizeMM(folder / "folder.pdf"), std::nullopt);
}

TEST(PDFInspector, DoesNotWaitForAPipe) {
    const TemporaryFolder folder;
    ASSERT_EQ(::mkfifo((folder / "pipe.pdf").c_str(), 0600), 0);
    EXPECT_EQ(PDFInspector::firstPageSizeMM(folder / "pipe.pdf"), std::nullopt);
}

TEST(PDFInspector, HasNothingOfADamagedStart) {
    const std::string whole = Testing::smallPDF();
    for (std::size_t length = 0; length < whole.find("/MediaBox"); ++length)
        EXPECT_EQ(sizeOf(whole.substr(0, length)), std::nullopt) << length;
}

/// The processes that this thread has started.
std::vector<pid_t> children() {
    std::ifstream file("/proc/thread-self/children");
    return {std::istream_iterator<pid_t>(file), {}};
}

TEST(PDFInspector, MeasuresTheNextDocumentWhenItsProcessHasDied) {
    const TemporaryFolder folder;
    const path file = folder.file("a.pdf", TestPDF::ofPage({"", "", "0 0 72 144"}));
    PDFInspector::firstPageSizeMM(file);
    for (const pid_t process : children())
        ::kill(process, SIGKILL);
    expectSize(PDFInspector::firstPageSizeMM(file), inch, 2 * inch);
}

TEST(PDFInspector, MeasuresInAnyThread) {
    const TemporaryFolder folder;
    const path file = folder.file("a.pdf", TestPDF::ofPage({"", "", "0 0 72 144"}));
    std::optional<PageSizeMM> there;
    std::thread([&] { there = PDFInspector::firstPageSizeMM(file); }).join();
    expectSize(there, inch, 2 * inch);
    expectSize(PDFInspector::firstPageSizeMM(file), inch, 2 * inch);
}

class OddName : public testing::TestWithParam<const char*> {};

TEST_P(OddName, IsOpened) {
    const TemporaryFolder folder;
    EXPECT_TRUE(PDFInspector::firstPageSizeMM(folder.file(GetParam(), Testing::smallPDF())));
}

INSTANTIATE_TEST_SUITE_P(All, OddName,
                         testing::Values("-o.pdf", "a b.pdf", "%d.pdf", "\"a\".pdf", "é.pdf",
                                         "\xff\xfe.pdf", "a\nb.pdf"),
                         [](const auto& example) {
                             return "Number" + std::to_string(example.index);
                         });

TEST(PDFInspector, PrintsNothing) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    sizeOf("%PDF-1.7\n1 0 obj << /Type /Catalog >> trailer << /Root 1 0 R >>");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

} // namespace
} // namespace Bleedwise
