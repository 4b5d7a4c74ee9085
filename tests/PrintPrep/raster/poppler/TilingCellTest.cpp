#include "PrintPrep/raster/PopplerRenderer.h"

#include "support/Rendering.h"
#include "support/TestPDF.h"

#include <ostream>
#include <string>

#include <gtest/gtest.h>

/// Where the cells of tiling patterns come to lie, and what is between them. A page of 24 points
/// has 100 pixels along each side.
namespace Bleedwise {
namespace {

using Testing::at;
using Testing::Inks;
using Testing::middle;
using Testing::noInk;
using Testing::render;
using Testing::TemporaryDocument;
using Testing::TestPDF;

constexpr double pixelsPerPoint = 100 / 24.;
constexpr Inks cyan = {{255, 0, 0, 0}};

/// A cell and how it is repeated.
struct Pattern {
    std::string contents;
    std::string step;
    std::string box = {};
    std::string matrix = "1 0 0 1 0 0";
    std::string resources = {};
    int paintType = 1;
};

std::string addPattern(TestPDF& pdf, const Pattern& pattern) {
    const std::string box =
        pattern.box.empty() ? "0 0 " + pattern.step + " " + pattern.step : pattern.box;
    return pdf.stream("/PatternType 1 /TilingType 1 /PaintType " +
                          std::to_string(pattern.paintType) + " /BBox [" + box + "] /XStep " +
                          pattern.step + " /YStep " + pattern.step + " /Matrix [" + pattern.matrix +
                          "] /Resources << " + pattern.resources + " >>",
                      pattern.contents);
}

const char* const fillPage = "/Pattern cs /Tile scn 0 0 24 24 re f";
const char* const states = "/ExtGState << /Half << /ca 0.5 >> /Multiply << /BM /Multiply >> /Over "
                           "<< /op true /OPM 1 >> >>";

std::string tiled(const Pattern& pattern, const std::string& contents = fillPage) {
    TestPDF pdf;
    const std::string tile = addPattern(pdf, pattern);
    pdf.page({contents, "/Pattern << /Tile " + tile + " >> " + states});
    return pdf.bytes();
}

/// Cyan over the lower left quarter of each cell.
Pattern quarters(double step) {
    const std::string half = std::to_string(step / 2);
    return {"1 0 0 0 k 0 0 " + half + " " + half + " re f", std::to_string(step)};
}

TEST(TilingCell, KeepsItsPitchOverTheWholePage) {
    const double step = 0.93;
    const CMYKImage image = render(tiled(quarters(step)));
    // The ink of a row, from the page's left edge to the last whole cell's, is half of it: up to
    // there, rounding each cell to pixels would add up to several.
    for (int cell = 1; cell * step < 24; ++cell) {
        const double right = cell * step * pixelsPerPoint;
        double ink = 0;
        for (int x = 0; x < static_cast<int>(right); ++x)
            ink += at(image, x, 99).values[0] / 255.;
        EXPECT_NEAR(ink, right / 2, 0.5) << "cell " << cell;
    }
}

TEST(TilingCell, KeepsItsPitchDownThePage) {
    const double step = 0.93;
    const CMYKImage image = render(tiled(quarters(step)));
    double ink = 0;
    for (int y = 0; y < 100; ++y)
        ink += at(image, 0, y).values[0] / 255.;
    EXPECT_NEAR(ink, 50, 1);
}

struct Placement {
    const char* name;
    std::string step;
    std::string matrix;
};
void PrintTo(const Placement& placement, std::ostream* stream) {
    *stream << placement.step << " by " << placement.matrix;
}

class TilingCellSeams : public testing::TestWithParam<Placement> {};

TEST_P(TilingCellSeams, AreNotSeen) {
    const auto& [name, step, matrix] = GetParam();
    const CMYKImage image = render(tiled({"1 0 0 0 k -9 -9 99 99 re f", step, {}, matrix}));
    for (int y = 0; y < 100; ++y) {
        for (int x = 0; x < 100; ++x)
            ASSERT_EQ(at(image, x, y), cyan) << x << ", " << y;
    }
}

INSTANTIATE_TEST_SUITE_P(, TilingCellSeams,
                         testing::Values(Placement{"Upright", "3.1", "1 0 0 1 0.1 0.2"},
                                         Placement{"Mirrored", "3.1", "-1 0 0 -1 0.1 0.2"},
                                         Placement{"Slanted", "3.1", "0.8 0.6 -0.6 0.8 0.1 0.2"},
                                         Placement{"Skewed", "3.1", "1 0.4 0.2 1 0.1 0.2"},
                                         Placement{"LessThanAPixel", "0.11", "1 0 0 1 0.1 0.2"}),
                         [](const auto& placement) { return std::string(placement.param.name); });

TEST(TilingCell, StandsUprightWhereItIsToBe) {
    const CMYKImage image = render(tiled(quarters(12)));
    EXPECT_EQ(at(image, 5, 95), cyan);
    EXPECT_EQ(at(image, 55, 45), cyan);
    EXPECT_EQ(at(image, 45, 95), noInk);
    EXPECT_EQ(at(image, 5, 55), noInk);
}

TEST(TilingCell, TurnsWithItsMatrix) {
    Pattern pattern = quarters(12);
    pattern.matrix = "0 1 -1 0 0 0"; // a quarter turn to the left: the ink moves to the lower right
    const CMYKImage image = render(tiled(pattern));
    EXPECT_EQ(at(image, 45, 95), cyan);
    EXPECT_EQ(at(image, 5, 95), noInk);
}

TEST(TilingCell, LeavesAGapToTheNext) {
    const CMYKImage image = render(tiled({"1 0 0 0 k 0 0 9 9 re f", "6", "0 0 3 3"}));
    EXPECT_EQ(at(image, 55, 95), cyan);
    EXPECT_EQ(at(image, 68, 95), noInk);
}

TEST(TilingCell, ReachesIntoTheNext) {
    // A cell of 6 points whose bar is beyond its step.
    const CMYKImage image = render(tiled({"1 0 0 0 k 7 0 2 6 re f", "6", "0 0 10 6"}));
    EXPECT_EQ(at(image, 58, 50), cyan);
    EXPECT_EQ(at(image, 70, 50), noInk);
}

TEST(TilingCell, LetsShineThroughOnce) {
    const CMYKImage image = render(
        tiled({"0 0 0 1 k 0 0 5 5 re f 0 0 5 5 re f", "3.1"}, "/Half gs " + std::string(fillPage)));
    EXPECT_LE(at(image, 50, 50).distance({{0, 0, 0, 128}}), 1);
}

TEST(TilingCell, OfOneOnThePageLetsShineThroughOnce) {
    const CMYKImage image = render(tiled({"0 0 0 1 k 0 0 90 90 re f 0 0 90 90 re f", "99"},
                                         "/Half gs " + std::string(fillPage)));
    EXPECT_LE(at(image, 50, 50).distance({{0, 0, 0, 128}}), 1);
}

TEST(TilingCell, IsClippedToWhatIsFilled) {
    const CMYKImage image =
        render(tiled({"1 0 0 0 k 0 0 9 9 re f", "3"}, "/Pattern cs /Tile scn 6 6 12 12 re f"));
    EXPECT_EQ(at(image, 50, 50), cyan);
    EXPECT_EQ(at(image, 22, 50), noInk);
    EXPECT_EQ(at(image, 50, 78), noInk);
}

TEST(TilingCell, DrawsTheThinnestLinesOnePixelWide) {
    // One upright line per cell of 25 pixels.
    const CMYKImage image = render(tiled({"0 w 1 0 0 0 K 3 0 m 3 6 l S", "6"}));
    int ink = 0;
    for (int x = 50; x < 75; ++x)
        ink += at(image, x, 50).values[0];
    EXPECT_NEAR(ink, 255, 70);
}

/// Ink across a line of the cell's initial width, which is drawn with one of 5 points before the
/// pattern.
double initialWidth(const std::string& step) {
    const CMYKImage image =
        render(tiled({"1 0 0 0 K 5 0 m 5 200 l S", step}, "5 w " + std::string(fillPage)));
    double ink = 0;
    for (int x = 0; x < 25; ++x)
        ink += at(image, x + 8, 50).values[0] / 255.;
    return ink;
}

TEST(TilingCell, StartsWithLinesOfOnePoint) {
    EXPECT_NEAR(initialWidth("12"), pixelsPerPoint, 0.6);
}

TEST(TilingCell, OfOneOnThePageStartsWithLinesOfOnePoint) {
    EXPECT_NEAR(initialWidth("300"), pixelsPerPoint, 0.6);
}

TEST(TilingCell, LeavesTheLineWidthAsItWas) {
    const CMYKImage image = render(
        tiled(quarters(300), "6 w " + std::string(fillPage) + " 0 0 0 1 K 0 12 m 24 12 l S"));
    EXPECT_EQ(at(image, 50, 40).values[3], 255);
}

TEST(TilingCell, BlendsWithWhatIsBelow) {
    const Inks inks =
        middle(tiled({"/Multiply gs 0 1 0 0 k 0 0 9 9 re f", "3.1", {}, "1 0 0 1 0 0", states},
                     "1 0 0 0 k 0 0 24 24 re f " + std::string(fillPage)));
    EXPECT_LE(inks.distance({{255, 255, 0, 0}}), 1) << inks;
}

TEST(TilingCell, OverprintsWhatIsBelow) {
    const Inks inks =
        middle(tiled({"/Over gs 0 0 0 1 k 0 0 9 9 re f", "3.1", {}, "1 0 0 1 0 0", states},
                     "1 0 0 0 k 0 0 24 24 re f " + std::string(fillPage)));
    EXPECT_LE(inks.distance({{255, 0, 0, 255}}), 1) << inks;
}

TEST(TilingCell, KnocksOutWhatIsBelow) {
    EXPECT_EQ(middle(tiled({"0 0 0 1 k 0 0 9 9 re f", "3.1"},
                           "1 0 0 0 k 0 0 24 24 re f " + std::string(fillPage))),
              (Inks{{0, 0, 0, 255}}));
}

TEST(TilingCell, MayHoldAnotherPattern) {
    TestPDF pdf;
    const std::string inner = addPattern(pdf, {"1 0 0 0 k 0 0 9 9 re f", "0.7"});
    const std::string outer = addPattern(pdf, {"/Pattern cs /Inner scn 0 0 9 9 re f",
                                               "3.1",
                                               {},
                                               "1 0 0 1 0 0",
                                               "/Pattern << /Inner " + inner + " >>"});
    pdf.page({fillPage, "/Pattern << /Tile " + outer + " >>"});
    EXPECT_EQ(middle(pdf.bytes()), cyan);
}

TEST(TilingCell, InItselfEnds) {
    TestPDF pdf;
    // The pattern is the document's third object, after its catalog and page tree.
    const std::string tile =
        addPattern(pdf, {"1 0 0 0 k 0 0 9 9 re f /Pattern cs /Self scn 0 0 9 9 re f",
                         "3.1",
                         {},
                         "1 0 0 1 0 0",
                         "/Pattern << /Self 3 0 R >>"});
    ASSERT_EQ(tile, "3 0 R");
    pdf.page({fillPage, "/Pattern << /Tile " + tile + " >>"});
    EXPECT_EQ(middle(pdf.bytes()), cyan);
}

TEST(TilingCell, IsTheSameInRowsDrawnApart) {
    const TemporaryDocument document(tiled(quarters(0.93)));
    EXPECT_EQ(document.rows(0, 37) + document.rows(37, 63), document.rows(0, 100));
}

TEST(TilingCell, OfCountlessCopiesIsATint) {
    const Inks inks = middle(tiled(quarters(0.0002)));
    EXPECT_LE(inks.distance({{64, 0, 0, 0}}), 10) << inks;
}

} // namespace
} // namespace Bleedwise
