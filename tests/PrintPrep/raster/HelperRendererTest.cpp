#include "PrintPrep/raster/HelperRenderer.h"

#include "PrintPrep/PrintPrepError.h"
#include "PrintPrep/platform/FileSystemError.h"
#include "PrintPrep/platform/OperationStopped.h"
#include "support/Command.h"
#include "support/OpenDescriptors.h"
#include "support/Rendering.h"
#include "support/SmallPDF.h"
#include "support/TemporaryFolder.h"
#include "support/TestPDF.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <ostream>
#include <stop_token>
#include <string>
#include <thread>
#include <variant>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Bleedwise {
namespace {

using namespace std::chrono_literals;
using std::filesystem::path;
using Testing::outputProfile;
using Testing::TemporaryFolder;
using Testing::TestPDF;

/// 1205 × 1795 pixels, 8.7 MB, so that two processes are worth while and no band has an even edge.
const PrintSettings twoBands = {102, 152, 0, true, false};
/// 1795 × 2409 pixels, 17.3 MB: four processes.
const PrintSettings fourBands = {152, 204, 0, true, false};

RenderRequest requestFor(PageRenderer& document, const PrintSettings& settings, int page = 1) {
    const PixelSize size = PageGeometry::pixelSize(settings);
    return {page, size, PageGeometry::place(document.mediaBox(page).value(), settings), 0,
            size.height};
}

PixelBuffer pixelsOf(const path& url, unsigned processes, const PrintSettings& settings,
                     int page = 1) {
    const auto document = HelperRenderer::open(url, {.processes = processes});
    return std::get<PixelBuffer>(
        document->render(requestFor(*document, settings, page), outputProfile()));
}

void expectEqual(const PixelBuffer& one, const PixelBuffer& other) {
    ASSERT_EQ(one.size(), other.size());
    const auto [first, ignored] = std::mismatch(one.data(), one.data() + one.size(), other.data());
    EXPECT_EQ(first - one.data(), static_cast<std::ptrdiff_t>(one.size())) << "first difference";
}

struct Artwork {
    const char* name;
    std::string pdf;
};

[[maybe_unused]] void PrintTo(const Artwork& artwork, std::ostream* stream) {
    *stream << artwork.name;
}

std::string imageOf(TestPDF& pdf, const std::string& entries) {
    std::string pixels;
    for (int index = 0; index < 7 * 5 * 3; ++index)
        pixels += static_cast<char>(index * 37);
    return pdf.stream("/Type /XObject /Subtype /Image /Width 7 /Height 5 /BitsPerComponent 8 "
                      "/ColorSpace /DeviceRGB /Filter /ASCIIHexDecode " +
                          entries,
                      Testing::hexadecimal(pixels));
}

/// With more rows than any sheet here.
std::string reducedImageOf(TestPDF& pdf) {
    std::string pixels;
    for (int index = 0; index < 90 * 4000; ++index)
        pixels += static_cast<char>(index * 37 % 251);
    return pdf.stream("/Type /XObject /Subtype /Image /Width 90 /Height 4000 /BitsPerComponent 8 "
                      "/ColorSpace /DeviceGray /Filter /ASCIIHexDecode",
                      Testing::hexadecimal(pixels));
}

const std::string ramp =
    "/Function << /FunctionType 2 /Domain [0 1] /N 1 /C0 [1 0 0] /C1 [0 0 1] >>";
const std::string axial = "<< /ShadingType 2 /ColorSpace /DeviceRGB /Coords [2 3 21 20] "
                          "/Extend [true true] " +
                          ramp + " >>";

std::vector<Artwork> artworks() {
    std::vector<Artwork> all;
    all.push_back({"Curves", TestPDF::ofPage({"0.3 w 1 0 0 rg 0 0 m 9 30 15 -9 24 24 c b "
                                              "0 0 m 24 24 l 3.3 21 m 21 2.7 l S"})});
    all.push_back({"Text", TestPDF::ofPage({"BT /F 3 Tf 3.1 TL 1 21 Td (Overprint) Tj T* (Bleed) "
                                            "Tj T* (Trim) Tj T* (Seams) Tj ET",
                                            "/Font << /F << /Type /Font /Subtype /Type1 /BaseFont "
                                            "/Times-Roman >> >>"})});
    all.push_back({"Axial", TestPDF::ofPage({"q 12 12 m 24 12 l 12 24 l h W n /S sh Q 1 1 5.5 5.5 "
                                             "re W n /S sh",
                                             "/Shading << /S " + axial + " >>"})});
    all.push_back(
        {"Radial", TestPDF::ofPage({"/S sh", "/Shading << /S << /ShadingType 3 /ColorSpace "
                                             "/DeviceRGB /Coords [9 12 1 15 12 11] " +
                                                 ramp + " >> >>"})});
    all.push_back({"FunctionShading",
                   TestPDF::ofPage({"24 0 0 24 0 0 cm /S sh",
                                    "/Shading << /S << /ShadingType 1 /ColorSpace /DeviceRGB "
                                    "/Function << /FunctionType 2 /Domain [0 1 0 1] /N 1 /C0 [1 0 "
                                    "0] /C1 [0 0 1] >> >> >>"})});
    {
        TestPDF pdf; // on its diagonals, between two numbers of a byte
        const std::string function =
            pdf.stream("/FunctionType 4 /Domain [0 1 0 1] /Range [0 1 0 1 0 1 0 1]",
                       "{ 2 copy add 2 div 3 1 roll sub 1 add 2 div 0.5 0.5 }");
        pdf.page({"/S sh", "/Shading << /S << /ShadingType 1 /ColorSpace /DeviceCMYK /Matrix "
                           "[24 0 0 24 0 0] /Function " +
                               function + " >> >>"});
        all.push_back({"FunctionBetweenBytes", pdf.bytes()});
    }
    {
        TestPDF pdf;
        const std::string mask =
            pdf.stream("/Type /XObject /Subtype /Form /BBox [1 1 23 23] /Group << /S /Transparency "
                       "/CS /DeviceRGB /I true >> /Resources << /Shading << /S " +
                           axial + " >> >>",
                       "/S sh");
        pdf.page({"/M gs 1 0 1 rg 0 0 24 24 re f", "/ExtGState << /M << /SMask << /S /Luminosity "
                                                   "/G " +
                                                       mask + " >> >> >>"});
        all.push_back({"SoftMask", pdf.bytes()});
    }
    {
        TestPDF pdf;
        const std::string mask =
            pdf.stream("/Type /XObject /Subtype /Form /BBox [1 1 23 23] /Group << /S /Transparency "
                       "/CS /DeviceGray /I true >> /Resources << /Shading << /A " +
                           axial +
                           " /F << /ShadingType 1 /ColorSpace /DeviceGray /Function << "
                           "/FunctionType 2 /Domain [0 1 0 1] /N 1 >> >> >> >>",
                       "0.5 w 1 1 8.3 22 re W n /A sh Q q 9.1 3.3 m 24 0 l 21 22 l h W n 24 0 0 24 "
                       "0 0 cm /F sh Q");
        pdf.page({"/M gs 1 0 1 rg 0 0 24 24 re f", "/ExtGState << /M << /SMask << /S /Luminosity "
                                                   "/G " +
                                                       mask + " >> >> >>"});
        all.push_back({"GraySoftMask", pdf.bytes()});
    }
    {
        TestPDF pdf;
        const std::string form =
            pdf.stream("/Type /XObject /Subtype /Form /BBox [0 0 24 24] /Group << /S /Transparency "
                       "/K true >>",
                       "0 1 0 rg 2 2 12 12 re f 1 0 0 rg 15 15 m 24 15 l 9 24 l f");
        pdf.page(
            {"0 0 1 rg 0 0 12 24 re f /H gs /G Do",
             "/ExtGState << /H << /ca 0.5 /BM /Multiply >> >> /XObject << /G " + form + " >>"});
        all.push_back({"Group", pdf.bytes()});
    }
    {
        TestPDF pdf;
        const std::string pattern = pdf.stream(
            "/PatternType 1 /PaintType 1 /TilingType 1 /BBox [0 0 3 3] /XStep 3.1 /YStep 2.9 "
            "/Resources << >>",
            "1 0 0 rg 0 0 2 2 re f 0 g 1 1 m 3 1 l 2 3 l f");
        pdf.page({"/Pattern cs /P scn 1 1 22 22 re f", "/Pattern << /P " + pattern + " >>"});
        all.push_back({"Tiling", pdf.bytes()});
    }
    {
        TestPDF pdf;
        const std::string image = imageOf(pdf, "");
        const std::string smooth = imageOf(pdf, "/Interpolate true");
        pdf.page({"q 20 3 -3 20 3.3 1.1 cm /I Do Q q 9 0 0 9 14 14 cm /J Do Q",
                  "/XObject << /I " + image + " /J " + smooth + " >>"});
        all.push_back({"Images", pdf.bytes()});
    }
    {
        TestPDF pdf;
        const std::string repeated = imageOf(pdf, "");
        const std::string smooth = imageOf(pdf, "/Interpolate true");
        const std::string reduced = reducedImageOf(pdf);
        pdf.page({"q 7.9 0 0 22.3 0.1 1.1 cm /R Do Q q 7.7 0 0 23 8.3 0.3 cm /S Do Q q 0.5 0 0 24 "
                  "17 0 cm /M Do Q",
                  "/XObject << /R " + repeated + " /S " + smooth + " /M " + reduced + " >>"});
        all.push_back({"UprightImages", pdf.bytes()});
    }
    return all;
}

class Seams : public testing::TestWithParam<Artwork> {};

INSTANTIATE_TEST_SUITE_P(All, Seams, testing::ValuesIn(artworks()),
                         [](const auto& example) { return std::string(example.param.name); });

TEST_P(Seams, AreInvisible) {
    const TemporaryFolder folder;
    const path url = folder.file("a.pdf", GetParam().pdf);
    const PixelBuffer alone = pixelsOf(url, 1, fourBands);
    expectEqual(alone, pixelsOf(url, 2, fourBands));
    expectEqual(alone, pixelsOf(url, 3, fourBands));
    expectEqual(alone, pixelsOf(url, 4, fourBands));
}

TEST(HelperRenderer, DescribesAPage) {
    const TemporaryFolder folder;
    const auto document = HelperRenderer::open(
        folder.file("a.pdf", TestPDF::ofPage({"", "", "-5 10 19 40", "/Rotate -90"})));
    const auto description = document->describe(1);
    ASSERT_TRUE(description);
    EXPECT_EQ(description->mediaBox, (Rectangle{-5, 10, 24, 30}));
    EXPECT_EQ(description->rotation, 270);
    EXPECT_TRUE(description->annotations.empty());
    EXPECT_FALSE(document->describe(2));
}

std::vector<Rectangle> annotationsOf(const std::string& annotations, TestPDF pdf = {}) {
    const TemporaryFolder folder;
    pdf.page({"", "", "0 0 99 99", "/Annots [" + annotations + "]"});
    const auto document = HelperRenderer::open(folder.file("a.pdf", pdf.bytes()));
    return document->describe(1).value().annotations;
}

struct Annotation {
    const char* name;
    const char* entries;
    bool hasAppearance;
    bool isPrinted;
};

class DescribedAnnotation : public testing::TestWithParam<Annotation> {};

TEST_P(DescribedAnnotation, CountsWhenItIsPrinted) {
    TestPDF pdf;
    const std::string form = pdf.stream("/Type /XObject /Subtype /Form /BBox [0 0 9 9]", "");
    const std::string appearance = GetParam().hasAppearance ? " /AP << /N " + form + " >>" : "";
    EXPECT_EQ(annotationsOf("<< /Type /Annot /Rect [1 12 3 20] " + std::string(GetParam().entries) +
                                appearance + " >>",
                            pdf),
              GetParam().isPrinted ? std::vector({Rectangle{1, 12, 2, 8}})
                                   : std::vector<Rectangle>());
}

INSTANTIATE_TEST_SUITE_P(
    A, DescribedAnnotation,
    testing::Values(Annotation{"Stamp", "/Subtype /Stamp /F 4", true, true},
                    Annotation{"StampOutOfView", "/Subtype /Stamp /F 36", true, true},
                    Annotation{"StampForTheScreen", "/Subtype /Stamp", true, false},
                    Annotation{"HiddenStamp", "/Subtype /Stamp /F 6", true, false},
                    Annotation{"StampWithoutAppearance", "/Subtype /Stamp /F 4", false, false},
                    Annotation{"FieldWithoutAppearance", "/Subtype /Widget /F 4", false, true},
                    Annotation{"SolidModel", "/Subtype /3D", true, true},
                    Annotation{"Link", "/Subtype /Link /F 4", true, false}),
    [](const auto& tested) { return tested.param.name; });

TEST(HelperRenderer, JoinsTheClosestOfTooManyAnnotations) {
    std::string annotations;
    for (int i = 0; i < 17; ++i) {
        const std::string left = std::to_string(i < 16 ? 5 * i : 78); // the last by the one before
        const std::string right = std::to_string(i < 16 ? 5 * i + 2 : 80);
        annotations +=
            "<< /Type /Annot /Subtype /Widget /F 4 /Rect [" + left + " 1 " + right + " 9] >>";
    }
    const std::vector<Rectangle> areas = annotationsOf(annotations);
    ASSERT_EQ(areas.size(), mostAnnotationAreas);
    EXPECT_EQ(areas.front(), (Rectangle{0, 1, 2, 8}));
    EXPECT_EQ(areas.back(), (Rectangle{75, 1, 5, 8}));
}

TEST(HelperRenderer, FindsForeignColours) {
    const TemporaryFolder folder;
    const auto document =
        HelperRenderer::open(folder.file("a.pdf", TestPDF::ofPage({"1 0 0 rg 0 0 9 9 re f"})));
    EXPECT_EQ(document->foreignColor(1), ForeignColor::rgb);
}

TEST(HelperRenderer, TellsAMissingPasswordFromOtherTrouble) {
    const TemporaryFolder folder;
    const path locked = folder / "locked.pdf";
    Testing::outputOf({"qpdf", "--encrypt", "user", "owner", "256", "--",
                       folder.file("plain.pdf", Testing::smallPDF()), locked});
    HelperRenderer::Opening opening(locked);
    EXPECT_EQ(opening.finish(), nullptr);
    EXPECT_TRUE(opening.needsPassword());
    HelperRenderer::Opening other(folder.file("broken.pdf", "%PDF-1.4 nonsense"));
    EXPECT_EQ(other.finish(), nullptr);
    EXPECT_FALSE(other.needsPassword());
    EXPECT_FALSE(other.hasFailed());
}

TEST(HelperRenderer, DrawsSamplesWithoutSeams) {
    for (const auto& entry :
         std::filesystem::directory_iterator(path(BLEEDWISE_SOURCE_FOLDER) / "samples")) {
        if (entry.path().extension() != ".pdf")
            continue;
        SCOPED_TRACE(entry.path());
        expectEqual(pixelsOf(entry.path(), 1, twoBands), pixelsOf(entry.path(), 2, twoBands));
    }
}

/// Its second page has nothing of the first.
std::string twoPages() {
    TestPDF pdf;
    pdf.page({"1 0 0 rg 0 0 12 24 re f"});
    pdf.page({"0 1 0 rg 12 0 12 12 re f"});
    return pdf.bytes();
}

TEST(HelperRenderer, LeavesNothingOfAPageOnTheNext) {
    const TemporaryFolder folder;
    const path url = folder.file("a.pdf", twoPages());
    const auto document = HelperRenderer::open(url, {.processes = 2});
    document->render(requestFor(*document, twoBands, 1), outputProfile());
    const RenderResult second =
        document->render(requestFor(*document, twoBands, 2), outputProfile());
    expectEqual(std::get<PixelBuffer>(second), pixelsOf(url, 1, twoBands, 2));
}

TEST(HelperRenderer, KeepsAPageThatSomebodyStillHas) {
    const TemporaryFolder folder;
    const path url = folder.file("a.pdf", twoPages());
    const auto document = HelperRenderer::open(url, {.processes = 2});
    const RenderResult first =
        document->render(requestFor(*document, twoBands, 1), outputProfile());
    document->render(requestFor(*document, twoBands, 2), outputProfile());
    expectEqual(std::get<PixelBuffer>(first), pixelsOf(url, 1, twoBands, 1));
}

TEST(HelperRenderer, DrawsPagesOfSeveralSizes) {
    const TemporaryFolder folder;
    const path url = folder.file("a.pdf", twoPages());
    const auto document = HelperRenderer::open(url, {.processes = 2});
    for (const PrintSettings& settings : {twoBands, fourBands, twoBands}) {
        const RenderResult result =
            document->render(requestFor(*document, settings, 1), outputProfile());
        expectEqual(std::get<PixelBuffer>(result), pixelsOf(url, 1, settings, 1));
    }
}

TEST(HelperRenderer, OpensFilesWhoseNamesAreNoText) {
    const TemporaryFolder folder;
    EXPECT_TRUE(HelperRenderer::open(folder.file("\xff\xfe.pdf", Testing::smallPDF())));
}

TEST(HelperRenderer, FailsForABitmapThatDoesNotFitInMemory) {
    const TemporaryFolder folder;
    const auto document = HelperRenderer::open(folder.file("a.pdf", Testing::smallPDF()));
    const RenderResult result = document->render(requestFor(*document, {2e6, 2e6, 0, true, false}),
                                                 outputProfile()); // 2 km: 2.2 TB
    EXPECT_EQ(std::get<RenderFailure>(result), RenderFailure::tooLarge);
}

TEST(HelperRenderer, GoesOnAfterABitmapThatDoesNotFit) {
    const TemporaryFolder folder;
    const auto document = HelperRenderer::open(folder.file("a.pdf", Testing::smallPDF()));
    document->render(requestFor(*document, {2e6, 2e6, 0, true, false}), outputProfile());
    const RenderResult result =
        document->render(requestFor(*document, Testing::smallSheet()), outputProfile());
    EXPECT_TRUE(std::holds_alternative<PixelBuffer>(result));
}

TEST(HelperRenderer, LeavesNoProcessAndNoDescriptorBehind) {
    const TemporaryFolder folder;
    const path url = folder.file("a.pdf", Testing::smallPDF());
    outputProfile(); // which stays
    const std::size_t before = Testing::openDescriptors();
    pixelsOf(url, 3, fourBands);
    EXPECT_EQ(Testing::openDescriptors(), before);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1); // no child at all
}

TEST(HelperRenderer, DescribesPagesThatAreSigned) {
    TestPDF pdf;
    const std::string appearance =
        pdf.stream("/Type /XObject /Subtype /Form /BBox [0 0 9 9]", "0 g 0 0 9 9 re f");
    const std::string field = pdf.object(
        "<< /Type /Annot /Subtype /Widget /F 4 /Rect [1 1 10 10] /FT /Sig /T (Signed) /AP << /N " +
        appearance +
        " >> /V << /Type /Sig /Filter /Adobe.PPKLite /SubFilter /adbe.pkcs7.detached"
        " /ByteRange [0 10 20 10] /Contents <3000> >> >>");
    pdf.catalog("/AcroForm << /SigFlags 3 /Fields [" + field + "] >>");
    pdf.page({.contents = "", .entries = "/Annots [" + field + "]"});
    const TemporaryFolder folder;
    const auto document = HelperRenderer::open(folder.file("a.pdf", pdf.bytes()));
    ASSERT_TRUE(document);
    const auto description = document->describe(1);
    ASSERT_TRUE(description);
    EXPECT_EQ(description->annotations.size(), 1U);
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST(HelperRenderer, LoadsNoCodeForSignaturesAndTIFFFiles) {
    const std::string loaded = Testing::outputOf(
        {"env", "LD_TRACE_LOADED_OBJECTS=1", RendererHelper::executableURL().native()});
    EXPECT_NE(loaded.find("stand-ins/libtiff"), std::string::npos);
    for (const char* library : {"libnssutil3", "libwebp", "libLerc"})
        EXPECT_EQ(loaded.find(library), std::string::npos) << library;
}
#endif

/// How many children this process has.
std::size_t childCount() {
    std::ifstream file("/proc/thread-self/children");
    return static_cast<std::size_t>(
        std::distance(std::istream_iterator<pid_t>(file), std::istream_iterator<pid_t>()));
}

TEST(HelperRenderer, StartsAsManyProcessesAsThePagesToComeNeed) {
    const TemporaryFolder folder;
    const path url = folder.file("a.pdf", Testing::smallPDF());
    const auto document =
        HelperRenderer::open(url, {.processes = 3, .size = PageGeometry::pixelSize(fourBands)});
    EXPECT_EQ(childCount(), 3);
    const RenderResult result = document->render(requestFor(*document, fourBands), outputProfile());
    expectEqual(std::get<PixelBuffer>(result), pixelsOf(url, 1, fourBands));
    EXPECT_EQ(childCount(), 3);
}

TEST(HelperRenderer, StartsOneProcessForSmallPagesToCome) {
    const TemporaryFolder folder;
    const auto document = HelperRenderer::open(folder.file("a.pdf", Testing::smallPDF()),
                                               {.processes = 3, .size = {1000, 1000}});
    EXPECT_EQ(childCount(), 1);
}

/// A document that everything for pages of a size was made ready for while it was opened.
std::unique_ptr<PageRenderer> openedFor(const path& url, const PrintSettings& settings) {
    const PixelSize size = PageGeometry::pixelSize(settings);
    HelperRenderer::Opening opening(url, {.processes = 2, .size = size});
    opening.prepare(outputProfile(), HelperRenderer::bitmapMemory(size));
    return opening.finish();
}

TEST(HelperRenderer, DrawsPagesThatThereWasNoMemoryForBefore) {
    const TemporaryFolder folder;
    const path url = folder.file("a.pdf", twoPages());
    HelperRenderer::Opening opening(url, {.size = PageGeometry::pixelSize(twoBands)});
    opening.prepare(outputProfile(), std::nullopt);
    const auto document = opening.finish();
    const RenderResult result = document->render(requestFor(*document, twoBands), outputProfile());
    ASSERT_TRUE(std::holds_alternative<PixelBuffer>(result));
    expectEqual(std::get<PixelBuffer>(result), pixelsOf(url, 1, twoBands));
}

TEST(HelperRenderer, MakesMemoryForBitmaps) {
    const auto memory = HelperRenderer::bitmapMemory({100, 20});
    ASSERT_TRUE(memory);
    EXPECT_EQ(memory->size(), 8'000U);
    struct stat status = {};
    ASSERT_EQ(::fstat(memory->descriptor(), &status), 0);
    EXPECT_GE(status.st_blocks * 512, 8'000);
}

TEST(HelperRenderer, MakesNoMemoryForNoBitmap) {
    EXPECT_FALSE(HelperRenderer::bitmapMemory({}));
}

TEST(HelperRenderer, MakesNoMemoryForBitmapsBeyondTheMachines) {
    EXPECT_FALSE(HelperRenderer::bitmapMemory({1 << 28, 1 << 28}));
}

TEST(HelperRenderer, DrawsWithAProfileThatWasHandedOverBefore) {
    const TemporaryFolder folder;
    const path url = folder.file("a.pdf", twoPages());
    const auto document = openedFor(url, twoBands);
    const RenderResult result = document->render(requestFor(*document, twoBands), outputProfile());
    expectEqual(std::get<PixelBuffer>(result), pixelsOf(url, 1, twoBands));
}

TEST(HelperRenderer, DrawsInAnotherSizeThanWasExpected) {
    const TemporaryFolder folder;
    const path url = folder.file("a.pdf", twoPages());
    const auto document = openedFor(url, fourBands);
    const RenderResult result = document->render(requestFor(*document, twoBands), outputProfile());
    expectEqual(std::get<PixelBuffer>(result), pixelsOf(url, 1, twoBands));
}

TEST(HelperRenderer, FailsForABitmapThatDoesNotFitInMemoryWhenItWasExpected) {
    const TemporaryFolder folder;
    const PrintSettings huge = {2e6, 2e6, 0, true, false};
    const auto document = openedFor(folder.file("a.pdf", Testing::smallPDF()), huge);
    const RenderResult result = document->render(requestFor(*document, huge), outputProfile());
    EXPECT_EQ(std::get<RenderFailure>(result), RenderFailure::tooLarge);
}

/// A renderer of which only one process is one.
path lonelyRenderer(const TemporaryFolder& folder) {
    const path url =
        folder.file("renderer", "#!/bin/sh\n"
                                "mkdir \"$0 was started\" 2>&- || exit 1\n"
                                "exec '" +
                                    RendererHelper::executableURL().native() + "' \"$@\"\n");
    std::filesystem::permissions(url, std::filesystem::perms::owner_all);
    return url;
}

TEST(HelperRenderer, DrawsAPageOfAnImageWhenOtherProcessesCannotBeHad) {
    TestPDF pdf;
    const std::string image =
        pdf.stream("/Type /XObject /Subtype /Image /Width 1205 /Height 1795 /BitsPerComponent 1 "
                   "/ColorSpace /DeviceGray /Filter /ASCIIHexDecode",
                   "ff>");
    pdf.page({"24 0 0 24 0 0 cm /I Do", "/XObject << /I " + image + " >>"});
    const TemporaryFolder folder;
    const path url = folder.file("a.pdf", pdf.bytes());
    std::unique_ptr<PageRenderer> document;
    while (!document) { // until it is the first process that can be had
        const TemporaryFolder renderer;
        const PixelSize size = PageGeometry::pixelSize(twoBands);
        HelperRenderer::Opening opening(
            url, {.executable = lonelyRenderer(renderer), .processes = 2, .size = size});
        opening.prepare(outputProfile(), HelperRenderer::bitmapMemory(size));
        document = opening.finish();
    }
    const RenderResult result = document->render(requestFor(*document, twoBands), outputProfile());
    ASSERT_TRUE(std::holds_alternative<PixelBuffer>(result));
    expectEqual(std::get<PixelBuffer>(result), pixelsOf(url, 1, twoBands));
}

TEST(HelperRenderer, DrawsNothingMoreAfterItsEnd) {
    const TemporaryFolder folder;
    const path url = folder.file("a.pdf", twoPages());
    const auto document = HelperRenderer::open(url, {.processes = 2});
    const RenderRequest request = requestFor(*document, twoBands);
    const RenderResult page = document->render(request, outputProfile());
    document->close();
    expectEqual(std::get<PixelBuffer>(page), pixelsOf(url, 1, twoBands));
    EXPECT_EQ(std::get<RenderFailure>(document->render(request, outputProfile())),
              RenderFailure::failed);
}

TEST(HelperRenderer, ThatIsNotInstalledIsAnErrorThatSaysSo) {
    const TemporaryFolder folder;
    EXPECT_THROW(HelperRenderer::open(folder.file("a.pdf", Testing::smallPDF()),
                                      {.executable = folder / "bleedwise-renderer"}),
                 FileSystemError);
}

/// A renderer that fails in the way that its name says.
class Misbehaviour : public testing::TestWithParam<const char*> {
protected:
    HelperRenderer::Options options() const {
        const path helper = folder / GetParam();
        std::filesystem::create_symlink(MISBEHAVING_RENDERER, helper);
        // Those that are silent are waited for; the others answer, or are gone, long before.
        const bool isSilent = std::string(GetParam()).starts_with("is-silent");
        return {.executable = helper, .processes = 2, .patience = isSilent ? 1s : 60s};
    }

    std::unique_ptr<PageRenderer> open() const {
        return HelperRenderer::open(folder.file("a.pdf", Testing::smallPDF()), options());
    }

    const TemporaryFolder folder;
};

std::string nameOf(const testing::TestParamInfo<const char*>& example) {
    std::string name = example.param;
    name.erase(std::remove(name.begin(), name.end(), '-'), name.end());
    return name;
}

using OnOpening = Misbehaviour;
INSTANTIATE_TEST_SUITE_P(All, OnOpening,
                         testing::Values("dies-at-once", "dies-opening", "is-silent-opening",
                                         "hangs-up-opening", "has-another-version-opening",
                                         "has-no-such-status-opening", "has-too-many-pages-opening",
                                         "has-no-pages-opening", "is-short-opening",
                                         "is-long-opening", "attaches-opening"),
                         nameOf);

TEST_P(OnOpening, OpensNothing) {
    EXPECT_FALSE(open());
}

TEST_P(OnOpening, IsToldFromADocumentThatIsNone) {
    HelperRenderer::Opening opening(folder.file("a.pdf", Testing::smallPDF()), options());
    opening.finish();
    EXPECT_TRUE(opening.hasFailed());
}

TEST_P(OnOpening, LeavesNothingBehind) {
    const std::size_t before = Testing::openDescriptors();
    open();
    EXPECT_EQ(Testing::openDescriptors(), before);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
}

using OnMeasuring = Misbehaviour;
INSTANTIATE_TEST_SUITE_P(All, OnMeasuring,
                         testing::Values("dies-measuring", "is-silent-measuring",
                                         "hangs-up-measuring", "has-another-version-measuring",
                                         "has-no-size-measuring", "is-short-measuring",
                                         "is-long-measuring", "attaches-measuring"),
                         nameOf);

TEST_P(OnMeasuring, IsAnError) {
    const auto document = open();
    ASSERT_TRUE(document);
    EXPECT_THROW(document->mediaBox(1), PrintPrepError);
    EXPECT_THROW(document->mediaBox(1), PrintPrepError);
}

using OnDrawing = Misbehaviour;
INSTANTIATE_TEST_SUITE_P(All, OnDrawing,
                         testing::Values("dies-colouring", "is-silent-colouring",
                                         "has-no-such-status-colouring", "dies-preparing",
                                         "is-silent-preparing", "has-no-such-status-preparing",
                                         "dies-drawing", "is-silent-drawing", "hangs-up-drawing",
                                         "has-another-version-drawing",
                                         "has-no-such-status-drawing", "is-short-drawing",
                                         "is-long-drawing", "attaches-drawing"),
                         nameOf);

TEST_P(OnDrawing, Fails) {
    const auto document = open();
    ASSERT_TRUE(document);
    const RenderResult result = document->render(requestFor(*document, twoBands), outputProfile());
    ASSERT_TRUE(std::holds_alternative<RenderFailure>(result));
    EXPECT_EQ(std::get<RenderFailure>(result), RenderFailure::failed);
}

using OnHandingOver = Misbehaviour;
INSTANTIATE_TEST_SUITE_P(All, OnHandingOver,
                         testing::Values("dies-colouring", "is-silent-colouring",
                                         "has-no-such-status-colouring", "dies-preparing",
                                         "is-silent-preparing", "has-no-such-status-preparing"),
                         nameOf);

TEST_P(OnHandingOver, FailsWhenItHappensWhileTheDocumentIsOpened) {
    HelperRenderer::Options early = options();
    early.size = PageGeometry::pixelSize(twoBands);
    HelperRenderer::Opening opening(folder.file("a.pdf", Testing::smallPDF()), early);
    opening.prepare(outputProfile(), HelperRenderer::bitmapMemory(early.size));
    const auto document = opening.finish();
    if (!document) { // it was gone before its answer was read
        EXPECT_TRUE(opening.hasFailed());
        return;
    }
    EXPECT_THROW(document->mediaBox(1), PrintPrepError);
    EXPECT_EQ(std::get<RenderFailure>(document->render(
                  {1, early.size, PageGeometry::place({0, 0, 10, 10}, twoBands), 0, 10},
                  outputProfile())),
              RenderFailure::failed);
}

TEST_P(OnDrawing, LeavesNothingBehind) {
    const OutputProfile& profile = outputProfile(); // which stays
    const std::size_t before = Testing::openDescriptors();
    {
        const auto document = open();
        document->render(requestFor(*document, twoBands), profile);
    }
    EXPECT_EQ(Testing::openDescriptors(), before);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
}

TEST(StopRequest, EndsProcessesThatAreSilent) {
    const TemporaryFolder folder;
    const path helper = folder / "is-silent-drawing";
    std::filesystem::create_symlink(MISBEHAVING_RENDERER, helper);
    const auto document = HelperRenderer::open(folder.file("a.pdf", Testing::smallPDF()),
                                               {.executable = helper, .processes = 2});
    RenderRequest request = requestFor(*document, twoBands);
    std::stop_source stop;
    request.stop = stop.get_token();
    std::jthread stopper([&] { stop.request_stop(); });
    const RenderResult result = document->render(request, outputProfile());
    ASSERT_TRUE(std::holds_alternative<PixelBuffer>(result));
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
}

/// A stop request while a renderer is silent that has this name.
HelperRenderer::Options stoppedSoon(const TemporaryFolder& folder, const char* misdeed,
                                    const std::stop_source& stop) {
    const path helper = folder / misdeed;
    std::filesystem::create_symlink(MISBEHAVING_RENDERER, helper);
    return {.executable = helper, .processes = 2, .stop = stop.get_token()};
}

TEST(StopRequest, EndsTheOpeningOfADocument) {
    const TemporaryFolder folder;
    std::stop_source stop;
    HelperRenderer::Opening opening(folder.file("a.pdf", Testing::smallPDF()),
                                    stoppedSoon(folder, "is-silent-opening", stop));
    std::jthread stopper([&] { stop.request_stop(); });
    EXPECT_THROW(opening.finish(), OperationStopped);
}

TEST(StopRequest, EndsAQuestion) {
    const TemporaryFolder folder;
    std::stop_source stop;
    const auto document = HelperRenderer::open(folder.file("a.pdf", Testing::smallPDF()),
                                               stoppedSoon(folder, "is-silent-measuring", stop));
    ASSERT_TRUE(document);
    std::jthread stopper([&] { stop.request_stop(); });
    EXPECT_THROW(document->mediaBox(1), OperationStopped);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
}

/// The first child of a process, when it has one.
std::optional<pid_t> childOf(pid_t process) {
    const std::string number = std::to_string(process);
    std::ifstream file("/proc/" + number + "/task/" + number + "/children");
    pid_t child = 0;
    if (file >> child)
        return child;
    return std::nullopt;
}

TEST(HelperRenderer, DiesWithTheProgram) {
    const TemporaryFolder folder;
    std::string content; // takes minutes to draw
    for (int index = 0; index < 200'000; ++index)
        content += "0 0 m 9 30 15 -9 24 24 c b\n";
    folder.file("a.pdf", TestPDF::ofPage({content}));
    const std::string input = (folder / "a.pdf").native();
    const std::string output = (folder / "b.pdf").native();
    const pid_t program = ::fork();
    if (program == 0) {
        const int nowhere = ::open("/dev/null", O_WRONLY);
        ::dup2(nowhere, STDOUT_FILENO);
        ::setenv("TMPDIR", folder.path().c_str(), 1);
        ::execl(BLEEDWISE_EXECUTABLE, BLEEDWISE_EXECUTABLE, "--convert", input.c_str(), "--width",
                "200", "--height", "200", "--no-ghostscript", "--output", output.c_str(), nullptr);
        ::_exit(127);
    }
    std::optional<pid_t> helper;
    while (!helper && ::waitpid(program, nullptr, WNOHANG) == 0)
        helper = childOf(program);
    ASSERT_TRUE(helper);
    const int handle = static_cast<int>(::syscall(SYS_pidfd_open, *helper, 0));
    ASSERT_GE(handle, 0);
    ::kill(program, SIGKILL);
    ::waitpid(program, nullptr, 0);
    pollfd end = {handle, POLLIN, 0};
    EXPECT_EQ(::poll(&end, 1, 60'000), 1);
    ::close(handle);
}

} // namespace
} // namespace Bleedwise
