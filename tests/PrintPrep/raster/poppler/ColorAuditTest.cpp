#include "PrintPrep/raster/PopplerRenderer.h"
#include "support/Rendering.h"
#include "support/TemporaryFolder.h"
#include "support/TestPDF.h"

#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

using Testing::TestPDF;

std::optional<ForeignColor> audited(const std::string& pdf, int page = 1) {
    const Testing::TemporaryFolder folder;
    return PopplerRenderer::open(folder.file("a.pdf", pdf))->foreignColor(page);
}

struct Case {
    const char* name;
    ForeignColor expected;
    std::function<void(TestPDF&)> addPage;
};

void PrintTo(const Case& tested, std::ostream* stream) {
    *stream << tested.name;
}

/// A page that paints with the colour space `makeSpace` gives.
std::function<void(TestPDF&)> inSpace(const std::string& color,
                                      const std::function<std::string(TestPDF&)>& makeSpace) {
    return [=](TestPDF& pdf) {
        const std::string space = makeSpace(pdf);
        pdf.page({"/S cs " + color + " scn 0 0 9 9 re f", "/ColorSpace << /S " + space + " >>"});
    };
}

std::function<void(TestPDF&)> page(const std::string& contents, const std::string& resources = {}) {
    return [=](TestPDF& pdf) { pdf.page({contents, resources}); };
}

std::string tagged(TestPDF& pdf, const std::string& profile, int channels) {
    return "[/ICCBased " + pdf.stream("/N " + std::to_string(channels), profile) + "]";
}

const std::string font = "/Font << /F << /Type /Font /Subtype /Type1 /BaseFont /Times-Roman >> >>";

/// A page with an annotation of these flags that is painted in RGB.
std::function<void(TestPDF&)> annotated(int flags) {
    return [=](TestPDF& pdf) {
        const std::string form =
            pdf.stream("/Type /XObject /Subtype /Form /BBox [0 0 9 9] /Resources << >>",
                       "1 0 0 rg 0 0 9 9 re f");
        pdf.page({"", "", "0 0 24 24",
                  "/Annots [<< /Type /Annot /Subtype /Square /Rect [0 0 9 9] /F " +
                      std::to_string(flags) + " /AP << /N " + form + " >> >>]"});
    };
}

/// A page whose soft mask is drawn in RGB.
void addMaskedPage(TestPDF& pdf) {
    const std::string form =
        pdf.stream("/Type /XObject /Subtype /Form /BBox [0 0 24 24] /Resources << >> "
                   "/Group << /S /Transparency /CS /DeviceRGB >>",
                   "1 0 0 rg 0 0 9 9 re f");
    pdf.page({"/M gs 0 0 0 1 k 0 0 24 24 re f",
              "/ExtGState << /M << /SMask << /S /Luminosity /G " + form + " >> >> >>"});
}

/// A page filled with a pattern of ten thousand million cells, and then with `contents`.
std::function<void(TestPDF&)> tiled(int paintType, const std::string& cell,
                                    const std::string& color, const std::string& contents = {}) {
    return [=](TestPDF& pdf) {
        const std::string pattern =
            pdf.stream("/Type /Pattern /PatternType 1 /PaintType " + std::to_string(paintType) +
                           " /TilingType 1 /BBox [0 0 0.0001 0.0001] /XStep 0.0001 /YStep 0.0001 "
                           "/Resources << >>",
                       cell);
        pdf.page({color + " /P scn 0 0 10 10 re f " + contents,
                  "/Pattern << /P " + pattern +
                      " >> /ColorSpace << /R [/Pattern /DeviceRGB] /K [/Pattern /DeviceCMYK] >>"});
    };
}

/// A page filled with a pattern whose cell is filled with itself.
void addPageTiledWithItself(TestPDF& pdf) {
    const std::string pattern =
        pdf.stream("/Type /Pattern /PatternType 1 /PaintType 1 /TilingType 1 /BBox [0 0 9 9] "
                   "/XStep 9 /YStep 9 /Resources << /Pattern << /P 3 0 R >> >>",
                   "/Pattern cs /P scn 0 0 9 9 re f 1 0 0 rg 0 0 9 9 re f");
    ASSERT_EQ(pattern, "3 0 R");
    pdf.page({"/Pattern cs /P scn 0 0 24 24 re f", "/Pattern << /P 3 0 R >>"});
}

const std::string toCMYK =
    "/DeviceCMYK << /FunctionType 2 /Domain [0 1] /N 1 /C0 [0 0 0 0] /C1 [0 1 0 0] >>";

const std::vector<Case> cases = {
    {"EmptyPage", ForeignColor::none, page("")},
    {"CMYK", ForeignColor::none, page("1 0 0 0 k 0 0 9 9 re f")},
    {"Gray", ForeignColor::none, page("0.5 g 0 0 9 9 re f")},
    {"RGBFill", ForeignColor::rgb, page("1 0 0 rg 0 0 9 9 re f")},
    {"RGBEvenOddFill", ForeignColor::rgb, page("1 0 0 rg 0 0 9 9 re f*")},
    {"RGBStroke", ForeignColor::rgb, page("1 0 0 RG 0 0 9 9 re S")},
    {"RGBThatPaintsNothing", ForeignColor::none, page("1 0 0 rg 1 0 0 RG 0 0 9 9 re n")},
    {"RGBInTheOtherOfFillAndStroke", ForeignColor::none, page("1 0 0 RG 0 g 0 0 9 9 re f")},
    {"RGBText", ForeignColor::rgb, page("1 0 0 rg BT /F 9 Tf (a) Tj ET", font)},
    {"InvisibleRGBText", ForeignColor::none, page("1 0 0 rg BT 3 Tr /F 9 Tf (a) Tj ET", font)},
    {"RGBTextOutlines", ForeignColor::rgb, page("1 0 0 RG BT 1 Tr /F 9 Tf (a) Tj ET", font)},
    {"RGBStencil", ForeignColor::rgb, page("1 0 0 rg BI /W 1 /H 1 /IM true /F /AHx ID 00> EI")},
    {"CMYKAfterAnInlineImage", ForeignColor::none,
     page("BI /W 1 /H 1 /BPC 8 /CS /CMYK /F /AHx ID 00000000> EI 1 0 0 0 k 0 0 9 9 re f")},
    {"RGBAfterAnInlineImage", ForeignColor::rgb,
     page("BI /W 1 /H 1 /BPC 8 /CS /G /F /AHx ID 00> EI 1 0 0 rg 0 0 9 9 re f")},
    {"CalibratedRGB", ForeignColor::rgb,
     inSpace("1 0 0", [](TestPDF&) { return "[/CalRGB << /WhitePoint [0.95 1 1.09] >>]"; })},
    {"CalibratedGray", ForeignColor::none,
     inSpace("0.5", [](TestPDF&) { return "[/CalGray << /WhitePoint [0.95 1 1.09] >>]"; })},
    {"TaggedRGB", ForeignColor::rgb,
     inSpace("1 0 0", [](TestPDF& pdf) { return tagged(pdf, Testing::adobeRGBProfile(), 3); })},
    {"TaggedGray", ForeignColor::none,
     inSpace("0.5", [](TestPDF& pdf) { return tagged(pdf, Testing::grayProfile(), 1); })},
    {"TaggedCMYK", ForeignColor::none,
     inSpace("1 0 0 0",
             [](TestPDF& pdf) {
                 return tagged(pdf, std::string(Testing::outputProfile().bytes()), 4);
             })},
    {"Lab", ForeignColor::other,
     inSpace("50 0 0", [](TestPDF&) { return "[/Lab << /WhitePoint [0.96 1 0.82] >>]"; })},
    {"SpotDescribedInCMYK", ForeignColor::none,
     inSpace("1", [](TestPDF&) { return "[/Separation /Gold " + toCMYK + "]"; })},
    {"SpotDescribedInLab", ForeignColor::spot,
     inSpace("1",
             [](TestPDF&) {
                 return "[/Separation /Gold [/Lab << /WhitePoint [0.96 1 0.82] >>] "
                        "<< /FunctionType 2 /Domain [0 1] /N 1 /C0 [0 0 0] /C1 [50 0 0] >>]";
             })},
    {"SpotsDescribedInCMYK", ForeignColor::none,
     inSpace("1", [](TestPDF&) { return "[/DeviceN [/Gold] " + toCMYK + "]"; })},
    {"SpotsDescribedInRGB", ForeignColor::spot,
     inSpace("1",
             [](TestPDF&) {
                 return "[/DeviceN [/Gold] /DeviceRGB << /FunctionType 2 /Domain [0 1] /N 1 "
                        "/C0 [1 1 1] /C1 [1 1 0] >>]";
             })},
    {"DenseRGBPattern", ForeignColor::rgb, tiled(1, "1 0 0 rg 0 0 1 1 re f", "/Pattern cs")},
    {"DenseCMYKPattern", ForeignColor::none, tiled(1, "1 0 0 0 k 0 0 1 1 re f", "/Pattern cs")},
    {"RGBAfterADensePattern", ForeignColor::rgb,
     tiled(1, "1 0 0 0 k 0 0 1 1 re f", "/Pattern cs", "1 0 0 rg 0 0 9 9 re f")},
    {"DensePatternTintedInRGB", ForeignColor::rgb, tiled(2, "0 0 1 1 re f", "/R cs 1 0 0")},
    {"DensePatternTintedInCMYK", ForeignColor::none, tiled(2, "0 0 1 1 re f", "/K cs 1 0 0 0")},
    {"PatternOfItself", ForeignColor::rgb, addPageTiledWithItself},
    {"RGBSoftMask", ForeignColor::none, addMaskedPage},
    {"PrintedAnnotation", ForeignColor::rgb, annotated(4)},
    {"AnnotationThatIsNotPrinted", ForeignColor::none, annotated(0)},
    {"HiddenAnnotation", ForeignColor::none, annotated(4 + 2)},
};

class ColorAuditOf : public testing::TestWithParam<Case> {};

TEST_P(ColorAuditOf, GivesTheColoursThatNoPressHas) {
    TestPDF pdf;
    GetParam().addPage(pdf);
    EXPECT_EQ(audited(pdf.bytes()), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(A, ColorAuditOf, testing::ValuesIn(cases),
                         [](const auto& tested) { return tested.param.name; });

TEST(ColorAudit, IsOfOnePage) {
    TestPDF pdf;
    pdf.page({"1 0 0 rg 0 0 9 9 re f"});
    pdf.page({"0 g 0 0 9 9 re f"});
    EXPECT_EQ(audited(pdf.bytes(), 1), ForeignColor::rgb);
    EXPECT_EQ(audited(pdf.bytes(), 2), ForeignColor::none);
}

TEST(ColorAudit, OfAPageThatThereIsNotGivesNothing) {
    EXPECT_EQ(audited(TestPDF::ofPage({""}), 2), std::nullopt);
}

} // namespace
} // namespace Bleedwise
