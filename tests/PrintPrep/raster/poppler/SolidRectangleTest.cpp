#include "PrintPrep/raster/PopplerRenderer.h"

#include "support/Rendering.h"
#include "support/TestPDF.h"

#include <cstring>
#include <ostream>
#include <string>

#include <gtest/gtest.h>

/// Large rectangles are written into the bitmap directly. A clip that lets everything through, but
/// is no rectangle, leaves them to Poppler: both ways have to give the same pixels.
namespace Bleedwise {
namespace {

using Testing::at;
using Testing::Inks;
using Testing::noInk;
using Testing::render;
using Testing::TestPDF;

struct Case {
    const char* name;
    std::string contents;
};

const char* const resources =
    "/ExtGState << /Half << /ca 0.5 >> /Multiply << /BM /Multiply >> /Over << /op true /OPM 1 >> "
    "/NoAdjust << /SA false >> /Adjust << /SA true >> >>";

CMYKImage drawn(const std::string& contents) {
    return render(TestPDF::ofPage({"0.2 0.1 0 0 k 3 3 9.3 18 re f\n" + contents, resources}));
}

void PrintTo(const Case& rectangle, std::ostream* stream) {
    *stream << rectangle.contents;
}

class SolidRectangle : public testing::TestWithParam<Case> {};

TEST_P(SolidRectangle, ComesOutAsPopplerDrawsIt) {
    const std::string& contents = GetParam().contents;
    const CMYKImage direct = drawn(contents);
    const CMYKImage byPoppler = drawn("-999 -999 m 3000 -999 l -999 3000 l h W n " + contents);
    for (std::int64_t y = 0; y < direct.height(); ++y)
        ASSERT_EQ(std::memcmp(direct.row(y), byPoppler.row(y),
                              4 * static_cast<std::size_t>(direct.width())),
                  0)
            << "row " << y;
}

INSTANTIATE_TEST_SUITE_P(
    , SolidRectangle,
    testing::Values(
        Case{"TheWholePage", "0 0 0 1 k 0 0 24 24 re f"},
        Case{"BeyondThePage", "1 0 0 0 k -500 -500 1000 1000 re f"},
        Case{"BetweenPixels", "0.3 0.2 0.1 0.5 k 1.37 2.11 20.03 18.57 re f"},
        Case{"HalfPixels", "0 1 0 0 k 0.12 0.12 23.76 23.76 re f"},
        Case{"NegativeSize", "0 0 1 0 k 22.3 21.7 -20 -19 re f"},
        Case{"Scaled", "0.07 0 0 -0.13 1.1 22.9 cm 1 0 1 0 k 10 10 290 150 re f"},
        Case{"AsLines", "0 1 1 0 k 2 2 m 21.4 2 l 21.4 20.2 l 2 20.2 l f"},
        Case{"AsClosedLinesUpFirst", "0 1 1 0 k 2 2 m 2 20.2 l 21.4 20.2 l 21.4 2 l h f"},
        Case{"EvenOdd", "0 1 1 0 k 1.5 1.5 20 20 re f*"},
        Case{"RGB", "0.9 0.2 0.1 rg 1 1 22 22 re f"}, Case{"Gray", "0.25 g 1 1 22 22 re f"},
        Case{"ClippedBetweenPixels", "3.33 4.77 15.1 16.21 re W n 1 0 0 0 k 0 0 24 24 re f"},
        Case{"ClippedToNothing", "30 30 5 5 re W n 1 0 0 0 k 0 0 24 24 re f"},
        Case{"HalfTransparent", "/Half gs 1 0 0 0 k 1 1 22 22 re f"},
        Case{"Multiplied", "/Multiply gs 0 1 0 0 k 1 1 22 22 re f"},
        Case{"Overprinted", "/Over gs 0 0 0 1 k 1 1 22 22 re f"},
        Case{"AfterOverprint",
             "q /Over gs 0 0 0 1 k 4 4 3 3 re f Q 1 0.5 0 0 k 1.3 1.3 21.1 21.3 re f"},
        Case{"StrokeAdjustmentOff", "/NoAdjust gs 0 0 0 1 k 1.3 1.3 21.1 21.3 re f"},
        Case{"StrokeAdjustmentOn", "/Adjust gs 0 0 0 1 k 1.3 1.3 21.1 21.3 re f"},
        Case{"Rotated", "0 1 -1 0 24 0 cm 0 0 0 1 k 1.3 2.6 21.1 19.3 re f"},
        Case{"Skewed", "1 0.1 0 1 0 0 cm 0 0 0 1 k 1.3 2.6 21.1 19.3 re f"},
        Case{"ACurveInPlaceOfASide", "0 0 0 1 k 2 2 m 21 2 l 21 5 23 7 21 20 c 2 20 l h f"},
        Case{"TwoRectangles", "0 0 0 1 k 1 1 22 22 re 4 4 16 16 re f*"},
        Case{"AThinOne", "0 0 0 1 k 1 11.5 22 0.3 re f"},
        Case{"WithAStroke", "0 0 0 1 k 1 0 0 0 K 0.7 w 2.2 2.2 19.3 19.4 re B"}),
    [](const auto& test) { return test.param.name; });

TEST(SolidRectanglesIn, AnIsolatedGroupComesOutAsPopplerDrawsIt) {
    const auto grouped = [](const std::string& contents, const std::string& group) {
        TestPDF pdf;
        const std::string form = pdf.stream("/Type /XObject /Subtype /Form /BBox [2.3 2.3 21 22] "
                                            "/Group << /S /Transparency " +
                                                group + " >>",
                                            contents);
        pdf.page({"0.2 0.1 0 0 k 3 3 9.3 18 re f /Half gs /Form Do",
                  std::string(resources) + " /XObject << /Form " + form + " >>"});
        return render(pdf.bytes());
    };
    for (const char* group : {"/I true", "/I false", "/I true /K true", "/I false /K true"}) {
        const std::string contents = "1 0 0 0 k 0 0 24 24 re f 0 1 0 0 k 5 5 14 14 re f";
        const CMYKImage direct = grouped(contents, group);
        const CMYKImage byPoppler =
            grouped("-999 -999 m 3000 -999 l -999 3000 l h W n " + contents, group);
        EXPECT_EQ(std::memcmp(direct.row(0), byPoppler.row(0), 40'000), 0) << group;
    }
}

TEST(SolidRectangles, CoversWhatIsBelow) {
    EXPECT_EQ(at(drawn("0 0 0 1 k 0 0 24 24 re f"), 20, 50), (Inks{{0, 0, 0, 255}}));
}

TEST(SolidRectangles, LeavesTheRestAlone) {
    EXPECT_EQ(at(drawn("0 0 0 1 k 0 0 24 12 re f"), 90, 20), noInk);
}

} // namespace
} // namespace Bleedwise
