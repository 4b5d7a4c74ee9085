#include "PrintPrep/RasterCMYKConverter.h"

#include "PrintPrep/PrintPrepError.h"
#include "PrintPrep/platform/FileSystemError.h"
#include "PrintPrep/platform/OperationStopped.h"
#include "PrintPrep/raster/PopplerRenderer.h"
#include "support/Command.h"
#include "support/Rendering.h"
#include "support/TemporaryFolder.h"
#include "support/TestPDF.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

using Testing::at;
using Testing::contents;
using Testing::Inks;
using Testing::noInk;
using Testing::outputOf;
using Testing::outputProfileURL;
using Testing::render;
using Testing::TemporaryFolder;
using Testing::TestPDF;

constexpr Inks cyan = {{255, 0, 0, 0}};
const char* const allCyan = "1 0 0 0 k -1000 -1000 3000 3000 re f";

/// 210 × 297 mm, small enough to be drawn quickly: a tenth of it.
PrintSettings tenthOfA4(bool sourceIncludesBleed = true) {
    return {21, 29.7, 3, sourceIncludesBleed, false};
}

std::string cyanPage(const std::string& mediaBox = "0 0 24 24") {
    return TestPDF::ofPage({allCyan, "", mediaBox});
}

std::optional<PrintPrepError::Case> errorOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const PrintPrepError& error) {
        return error.errorCase();
    }
    return std::nullopt;
}

class RasterWrite : public testing::Test {
protected:
    void write(const std::filesystem::path& input, const PrintSettings& settings = tenthOfA4()) {
        RasterCMYKConverter::write(input, output, outputProfileURL(), settings);
    }

    TemporaryFolder folder;
    std::filesystem::path output = folder / "result.pdf";
};

TEST(RasterRender, LeavesTheBleedOfASourceWithoutOneWhite) {
    const CMYKImage image = render(cyanPage("0 0 210 297"), tenthOfA4(false));
    ASSERT_EQ(image.width(), 319);
    ASSERT_EQ(image.height(), 422);
    for (std::int64_t y = 0; y < image.height(); ++y) {
        for (std::int64_t x = 0; x < image.width(); ++x) {
            const bool inMargin =
                x < 35 || x >= image.width() - 35 || y < 35 || y >= image.height() - 35;
            ASSERT_TRUE(!inMargin || at(image, x, y) == noInk) << x << ", " << y;
        }
    }
}

TEST(RasterRender, FillsTheTrimOfASourceWithoutBleed) {
    const CMYKImage image = render(cyanPage("0 0 210 297"), tenthOfA4(false));
    EXPECT_EQ(at(image, 36, 36), cyan);
    EXPECT_EQ(at(image, image.width() - 37, image.height() - 37), cyan);
}

TEST(RasterRender, FillsTheSheetOfASourceWithBleed) {
    const CMYKImage image = render(cyanPage("0 0 270 357"), tenthOfA4());
    EXPECT_EQ(at(image, 0, 0), cyan);
    EXPECT_EQ(at(image, image.width() - 1, image.height() - 1), cyan);
}

TEST(RasterRender, FitsALandscapePageByWidthAndCentresIt) {
    const PrintSettings portrait = {25.4 / 3, 50.8 / 3, 0, true, false}; // 100 × 200 pixels
    const CMYKImage image = render(cyanPage("0 0 48 24"), portrait);
    EXPECT_EQ(at(image, 50, 73), noInk);
    EXPECT_EQ(at(image, 0, 76), cyan);
    EXPECT_EQ(at(image, 99, 123), cyan);
    EXPECT_EQ(at(image, 50, 126), noInk);
}

TEST(RasterRender, TakesTheMediaBoxsOriginAway) {
    const CMYKImage image =
        render(TestPDF::ofPage({"1 0 0 0 k 100 100 12 12 re f", "", "100 100 124 124"}));
    EXPECT_EQ(at(image, 10, 90), cyan);
    EXPECT_EQ(at(image, 60, 40), noInk);
}

TEST(RasterRender, IgnoresTheOtherBoxesAndTheRotation) {
    const CMYKImage image = render(
        TestPDF::ofPage({"1 0 0 0 k 0 0 12 12 re f", "", "0 0 24 24",
                         "/CropBox [12 12 24 24] /TrimBox [4 4 20 20] /Rotate 90 /UserUnit 2"}));
    EXPECT_EQ(at(image, 10, 90), cyan);
    EXPECT_EQ(at(image, 10, 10), noInk);
    EXPECT_EQ(at(image, 90, 90), noInk);
}

TEST(RasterRender, ClipsContentOutsideTheMediaBox) {
    const PrintSettings wide = {50.8 / 3, 25.4 / 3, 0, true, false}; // 200 × 100 pixels
    const CMYKImage image = render(cyanPage("0 0 24 24"), wide);
    EXPECT_EQ(at(image, 49, 50), noInk);
    EXPECT_EQ(at(image, 50, 50), cyan);
    EXPECT_EQ(at(image, 149, 50), cyan);
    EXPECT_EQ(at(image, 150, 50), noInk);
}

TEST(RasterRender, LeavesAnnotationsOut) {
    TestPDF pdf;
    const std::string appearance =
        pdf.stream("/Type /XObject /Subtype /Form /BBox [0 0 24 24]", allCyan);
    const std::string stamp = pdf.object("<< /Type /Annot /Subtype /Stamp /Rect [0 0 24 24] /F 4 "
                                         "/AP << /N " +
                                         appearance + " >> >>");
    pdf.page({"", "", "0 0 24 24", "/Annots [" + stamp + "]"});
    EXPECT_EQ(Testing::middle(pdf.bytes()), noInk);
}

/// A page of two layers, cyan below magenta, of which the document's default hides the second.
std::string layeredPDF(const std::string& configuration) {
    TestPDF pdf;
    const std::string shown = pdf.object("<< /Type /OCG /Name (Shown) >>");
    const std::string hidden = pdf.object("<< /Type /OCG /Name (Hidden) >>");
    pdf.catalog("/OCProperties << /OCGs [" + shown + " " + hidden + "] /D << " + configuration +
                " [" + hidden + "] >> >>");
    pdf.page({"/OC /Below BDC 1 0 0 0 k 0 0 24 24 re f EMC "
              "/OC /Above BDC 0 1 0 0 k 0 0 24 24 re f EMC",
              "/Properties << /Below " + shown + " /Above " + hidden + " >>"});
    return pdf.bytes();
}

TEST(RasterRender, HidesTheLayersThatTheDefaultConfigurationHides) {
    EXPECT_EQ(Testing::middle(layeredPDF("/OFF")), cyan);
}

TEST(RasterRender, ShowsTheLayersThatTheDefaultConfigurationShows) {
    EXPECT_EQ(Testing::middle(layeredPDF("/ON")), (Inks{{0, 255, 0, 0}}));
}

TEST(RasterRender, FailsAtOnceForABitmapThatDoesNotFitInMemory) {
    const PrintSettings huge = {2e6, 2e6, 0, true, false}; // 2 km: 2.2 TB
    EXPECT_EQ(errorOf([&] { render(cyanPage(), huge); }),
              PrintPrepError::Case::couldNotCreateCMYKOutput);
}

TEST(RasterRender, FailsForABitmapWiderThanTheRendererCanCount) {
    const PrintSettings wide = {1e8, 0.01, 0, true, false};
    EXPECT_EQ(errorOf([&] { render(cyanPage(), wide); }),
              PrintPrepError::Case::couldNotCreateCMYKOutput);
}

TEST(RasterRenderDeathTest, StopsTheProcessAtSizesThatCannotBeCounted) {
    const PrintSettings endless = {1e300, 10, 0, true, false};
    EXPECT_DEATH(render(cyanPage(), endless), "^Page bitmap of");
}

TEST_F(RasterWrite, MakesTheSheetAndItsBoxes) {
    write(folder.file("in.pdf", cyanPage()), {210, 297, 3, true, false});
    const std::string boxes = outputOf({"pdfinfo", "-box", output.native()});
    EXPECT_NE(boxes.find("MediaBox:            0.00     0.00   612.28   858.90"),
              std::string::npos);
    EXPECT_NE(boxes.find("CropBox:             0.00     0.00   612.28   858.90"),
              std::string::npos);
    EXPECT_NE(boxes.find("BleedBox:            0.00     0.00   612.28   858.90"),
              std::string::npos);
    EXPECT_NE(boxes.find("TrimBox:             8.50     8.50   603.78   850.39"),
              std::string::npos);
}

TEST_F(RasterWrite, MakesOneBitmapOf300PixelsPerInchForEachPage) {
    TestPDF pdf;
    pdf.page({allCyan});
    pdf.page({allCyan});
    write(folder.file("in.pdf", pdf.bytes()), {210, 297, 3, true, false});
    const std::string list = outputOf({"pdfimages", "-list", output.native()});
    EXPECT_NE(list.find("   1     0 image    2551  3579  icc     4   8  image  no"),
              std::string::npos)
        << list;
    EXPECT_NE(list.find("   2     1 image    2551  3579  icc     4   8  image  no"),
              std::string::npos)
        << list;
    EXPECT_NE(list.find(" 300   300 "), std::string::npos) << list;
}

TEST_F(RasterWrite, GivesTheSameBytesForTheSameInput) {
    const auto input = folder.file("in.pdf", cyanPage());
    write(input);
    const std::string first = contents(output);
    write(input);
    EXPECT_EQ(contents(output), first);
}

TEST_F(RasterWrite, ReplacesAFileThatIsThere) {
    folder.file("result.pdf", "old");
    write(folder.file("in.pdf", cyanPage()));
    EXPECT_TRUE(contents(output).starts_with("%PDF-1.4"));
}

TEST_F(RasterWrite, LeavesAPageOutThatTheDocumentCannotDeliver) {
    TestPDF pdf;
    pdf.page({allCyan});
    pdf.page({allCyan});
    pdf.page({allCyan});
    std::string damaged = pdf.bytes();
    // The second page's object is something else.
    const std::size_t page = damaged.find("<< /Type /Page /", damaged.find("/MediaBox") + 1);
    damaged.replace(page, 17, "[0] %            ");
    write(folder.file("in.pdf", damaged));
    EXPECT_NE(outputOf({"pdfinfo", output.native()}).find("Pages:           2"), std::string::npos);
}

TEST_F(RasterWrite, RefusesWhatIsNoPDFAndLeavesNoFile) {
    const auto input = folder.file("in.pdf", "This is not a PDF.");
    EXPECT_EQ(errorOf([&] { write(input); }), PrintPrepError::Case::couldNotOpenPDF);
    EXPECT_FALSE(std::filesystem::exists(output));
}

TEST_F(RasterWrite, RefusesAMissingFile) {
    EXPECT_EQ(errorOf([&] { write(folder / "none.pdf"); }), PrintPrepError::Case::couldNotOpenPDF);
}

TEST_F(RasterWrite, RefusesAFolder) {
    EXPECT_EQ(errorOf([&] { write(folder.path()); }), PrintPrepError::Case::couldNotOpenPDF);
}

TEST_F(RasterWrite, RefusesADocumentWithoutPages) {
    const auto input = folder.file("in.pdf", TestPDF().bytes());
    EXPECT_EQ(errorOf([&] { write(input); }), PrintPrepError::Case::couldNotOpenPDF);
}

TEST_F(RasterWrite, KeepsTheInputWhenItIsAskedToReplaceIt) {
    folder.file("result.pdf", cyanPage());
    EXPECT_EQ(errorOf([&] { write(output); }), PrintPrepError::Case::couldNotOpenPDF);
    EXPECT_EQ(contents(output), cyanPage());
}

TEST_F(RasterWrite, ReportsAnExistingFolderInTheWay) {
    std::filesystem::create_directory(output);
    EXPECT_THROW(write(folder.file("in.pdf", cyanPage())), FileSystemError);
    EXPECT_TRUE(std::filesystem::is_directory(output));
}

TEST_F(RasterWrite, ReportsAProfileThatIsNotThere) {
    const auto input = folder.file("in.pdf", cyanPage());
    EXPECT_THROW(RasterCMYKConverter::write(input, output, folder / "none.icc", tenthOfA4()),
                 FileSystemError);
    EXPECT_FALSE(std::filesystem::exists(output));
}

TEST_F(RasterWrite, RefusesWhatIsNoCMYKProfile) {
    const auto input = folder.file("in.pdf", cyanPage());
    const std::string good = contents(outputProfileURL());
    for (const std::string& profile :
         {std::string("no profile"), std::string(), Testing::adobeRGBProfile(), good.substr(0, 128),
          good.substr(0, 5000)}) {
        const auto url = folder.file("profile.icc", profile);
        EXPECT_EQ(errorOf([&] { RasterCMYKConverter::write(input, output, url, tenthOfA4()); }),
                  PrintPrepError::Case::couldNotCreateCMYKOutput)
            << profile.size() << " bytes";
        EXPECT_FALSE(std::filesystem::exists(output));
    }
}

TEST_F(RasterWrite, ReportsAFolderThatIsNotThere) {
    const auto input = folder.file("in.pdf", cyanPage());
    EXPECT_EQ(errorOf([&] {
                  RasterCMYKConverter::write(input, folder / "none/result.pdf", outputProfileURL(),
                                             tenthOfA4());
              }),
              PrintPrepError::Case::couldNotCreateOutput);
}

TEST_F(RasterWrite, EndsOnAStopRequest) {
    std::stop_source stop;
    stop.request_stop();
    EXPECT_THROW(RasterCMYKConverter::write(folder.file("in.pdf", cyanPage()), output,
                                            outputProfileURL(), tenthOfA4(), stop.get_token()),
                 OperationStopped);
}

TEST(RasterRender, BreaksOffWithinAPageOnAStopRequest) {
    std::string content;
    for (int index = 0; index < 1000; ++index)
        content += "0 0 1 1 re f\n";
    const TemporaryFolder folder;
    const std::unique_ptr<PageRenderer> document =
        PopplerRenderer::open(folder.file("in.pdf", TestPDF::ofPage({content + allCyan})));
    std::stop_source stop;
    stop.request_stop();
    const CMYKImage image =
        RasterCMYKConverter::renderCMYKImage({*document, 1, {0, 0, 24, 24}, stop.get_token()},
                                             Testing::outputProfile(), Testing::smallSheet());
    EXPECT_EQ(at(image, 50, 50), noInk);
}

TEST_F(RasterWrite, CannotPatchSizesThatMakeNoPage) {
    const auto input = folder.file("in.pdf", cyanPage());
    EXPECT_EQ(errorOf([&] {
                  write(input, {0, 100, 0, true, false});
              }),
              PrintPrepError::Case::couldNotPatchPDFBoxes);
}

} // namespace
} // namespace Bleedwise
