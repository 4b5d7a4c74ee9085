#include "PrintPrep/raster/PageGeometry.h"

#include <cmath>
#include <limits>

#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

PrintSettings sized(double width, double height, double bleed, bool sourceIncludesBleed = true) {
    return {width, height, bleed, sourceIncludesBleed, false};
}

/// Where a point of the page lands, in pixels from the lower left corner of the bitmap.
double pixelX(const PageGeometry::Placement& placement, const PixelSize& size, double x) {
    return (x - placement.window.x) / placement.window.width * static_cast<double>(size.width);
}
double pixelY(const PageGeometry::Placement& placement, const PixelSize& size, double y) {
    return (y - placement.window.y) / placement.window.height * static_cast<double>(size.height);
}

TEST(PageGeometryPixelSize, OfA4WithBleed) {
    EXPECT_EQ(PageGeometry::pixelSize(sized(210, 297, 3)), (PixelSize{2551, 3579}));
}

TEST(PageGeometryPixelSize, IsAtLeastOnePixel) {
    EXPECT_EQ(PageGeometry::pixelSize(sized(0.01, 0.01, 0)), (PixelSize{1, 1}));
}

TEST(PageGeometryPixelSize, RoundsHalvesAwayFromZero) {
    // 2.5 and 7.5 pixels, exactly.
    EXPECT_EQ(PageGeometry::pixelSize(sized(25.4 / 120, 0.635, 0)), (PixelSize{3, 8}));
}

TEST(PageGeometryPixelSize, OfNegativeSizesIsOnePixel) {
    EXPECT_EQ(PageGeometry::pixelSize(sized(-5, -5, 0)), (PixelSize{1, 1}));
}

TEST(PageGeometryIsCountable, HoldsForBitmapsOf64Bits) {
    EXPECT_TRUE(PageGeometry::isCountable(sized(210, 297, 3)));
    EXPECT_TRUE(PageGeometry::isCountable(sized(-5, 0, 0)));
    EXPECT_TRUE(PageGeometry::isCountable(sized(1e8, 1e8, 0)));
}

TEST(PageGeometryIsCountable, FailsForEveryOtherBitmap) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(PageGeometry::isCountable(sized(infinity, 297, 3)));
    EXPECT_FALSE(PageGeometry::isCountable(sized(210, infinity, 3)));
    EXPECT_FALSE(PageGeometry::isCountable(sized(210, nan, 3)));
    EXPECT_FALSE(PageGeometry::isCountable(sized(210, 297, 1e300)));
    EXPECT_FALSE(PageGeometry::isCountable(sized(1e9, 1e9, 0)));
}

TEST(PageGeometryPixelSizeDeathTest, StopsTheProcessAtSizesThatCannotBeCounted) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_DEATH(PageGeometry::pixelSize(sized(infinity, 297, 3)), "^Page bitmap of inf pixels");
    EXPECT_DEATH(PageGeometry::pixelSize(sized(210, nan, 3)), "^Page bitmap of nan pixels");
    EXPECT_DEATH(PageGeometry::pixelSize(sized(1e300, 297, 3)),
                 "^Page bitmap of 1.18[0-9]*e\\+301");
    EXPECT_DEATH(PageGeometry::pixelSize(sized(1e9, 1e9, 0)), "^Page bitmap of 1.39[0-9]*e\\+20");
}

TEST(PageGeometrySheet, IsTrimPlusBleedInPoints) {
    const Rectangle sheet = PageGeometry::sheet(sized(210, 297, 3));
    EXPECT_NEAR(sheet.width, 612.283465, 1e-6);
    EXPECT_NEAR(sheet.height, 858.897638, 1e-6);
}

TEST(PageGeometryTrim, StartsBehindTheBleed) {
    const Rectangle trim = PageGeometry::trim(sized(210, 297, 3));
    EXPECT_NEAR(trim.x, 8.503937, 1e-6);
    EXPECT_NEAR(trim.y, 8.503937, 1e-6);
    EXPECT_NEAR(trim.width, 595.275591, 1e-6);
    EXPECT_NEAR(trim.height, 841.889764, 1e-6);
}

TEST(PageGeometryPlace, FillsTheSheetWithAPageThatIncludesItsBleed) {
    const PrintSettings settings = sized(210, 297, 3);
    const Rectangle page = {0, 0, 612.283465, 858.897638};
    const auto placement = PageGeometry::place(page, settings);
    const PixelSize size = PageGeometry::pixelSize(settings);
    EXPECT_NEAR(pixelX(placement, size, 0), 0, 1e-3);
    EXPECT_NEAR(pixelX(placement, size, page.width), 2551, 1e-3);
    EXPECT_NEAR(pixelY(placement, size, 0), 0, 1e-3);
    EXPECT_NEAR(pixelY(placement, size, page.height), 3579, 1e-3);
}

TEST(PageGeometryPlace, FillsTheTrimWithAPageWithoutBleed) {
    const PrintSettings settings = sized(210, 297, 3, false);
    const auto placement = PageGeometry::place({0, 0, 595.275591, 841.889764}, settings);
    const PixelSize size = PageGeometry::pixelSize(settings);
    EXPECT_NEAR(pixelX(placement, size, 0), 3 / 216. * 2551, 1e-3);
    EXPECT_NEAR(pixelX(placement, size, 595.275591), 213 / 216. * 2551, 1e-3);
    EXPECT_NEAR(pixelY(placement, size, 0), 3 / 303. * 3579, 1e-3);
    EXPECT_NEAR(pixelY(placement, size, 841.889764), 300 / 303. * 3579, 1e-3);
}

TEST(PageGeometryPlace, FitsALandscapePageByWidthAndCentresIt) {
    const PrintSettings settings = sized(100, 200, 0);
    const auto placement = PageGeometry::place({0, 0, 400, 200}, settings);
    const PixelSize size = PageGeometry::pixelSize(settings); // 1181 × 2362
    EXPECT_NEAR(pixelX(placement, size, 0), 0, 1e-3);
    EXPECT_NEAR(pixelX(placement, size, 400), 1181, 1e-3);
    EXPECT_NEAR(pixelY(placement, size, 0), 2362 * 0.375, 1e-3);
    EXPECT_NEAR(pixelY(placement, size, 200), 2362 * 0.625, 1e-3);
}

TEST(PageGeometryPlace, TakesTheMediaBoxsOriginAway) {
    const PrintSettings settings = sized(100, 100, 0);
    const auto placement = PageGeometry::place({100, 50, 200, 200}, settings);
    const PixelSize size = PageGeometry::pixelSize(settings);
    EXPECT_NEAR(pixelX(placement, size, 100), 0, 1e-3);
    EXPECT_NEAR(pixelY(placement, size, 50), 0, 1e-3);
}

TEST(PageGeometryPlace, ShowsWholePixelsOfThePage) {
    const PrintSettings settings = sized(210, 297, 3, false);
    const auto placement = PageGeometry::place({0, 0, 595.275591, 841.889764}, settings);
    const PixelSize size = PageGeometry::pixelSize(settings);
    // The trim starts at 35.43 and ends at 2515.57 pixels.
    EXPECT_NEAR(pixelX(placement, size, placement.visible.x), 35, 0.02);
    EXPECT_NEAR(pixelX(placement, size, placement.visible.x + placement.visible.width), 2516, 0.02);
    EXPECT_GT(pixelX(placement, size, placement.visible.x), 35);
    EXPECT_LT(pixelX(placement, size, placement.visible.x + placement.visible.width), 2516);
}

TEST(PageGeometryPlace, ShowsNothingWhereThereIsNoPage) {
    for (const PrintSettings& settings : {sized(0, 100, 0), sized(-10, -10, 0), sized(1, 1, -1)})
        EXPECT_EQ(PageGeometry::place({0, 0, 200, 200}, settings).visible, Rectangle());
}

TEST(PageGeometryPlace, ShowsNothingOfAPageBeyondAllMeasure) {
    EXPECT_EQ(PageGeometry::place({0, 0, 1e308, 1e308}, sized(1e-300, 1e-300, 0)).visible,
              Rectangle());
}

} // namespace
} // namespace Bleedwise
