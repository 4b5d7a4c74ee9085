#include "PrintPrep/raster/PageComparison.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include <gtest/gtest.h>

namespace Bleedwise::PageComparison {
namespace {

constexpr std::ptrdiff_t width = 160;
constexpr std::ptrdiff_t height = 200;

/// A grey picture: `light` says how light each pixel is.
PageView picture(const std::function<int(int x, int y)>& light) {
    PageView::Plane plane;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x)
            plane.push_back(static_cast<std::uint8_t>(light(x, y)));
    }
    return {width, height, {plane, plane, plane}};
}

bool isIn(int x, int y, int left, int top, int right, int bottom) {
    return x >= left && x < right && y >= top && y < bottom;
}

/// Blocks on a light ground, the same in no other place or position.
int blocks(int x, int y) {
    if (isIn(x, y, 30, 40, 70, 60) || isIn(x, y, 90, 50, 110, 150) || isIn(x, y, 30, 120, 60, 180))
        return 40;
    return 230;
}

const Frame wholePage = {{0, 0, width, height}, {}, 0.5};

std::string differenceOf(const PageView& found, const Frame& frame = wholePage) {
    return difference(picture(blocks), found, frame).value_or("none");
}

TEST(PageComparison, FindsNoDifferenceInTheSame) {
    EXPECT_EQ(differenceOf(picture(blocks)), "none");
}

TEST(PageComparison, ForgivesAPixel) {
    EXPECT_EQ(differenceOf(picture([](int x, int y) { return blocks(x + 1, y + 1); })), "none");
}

TEST(PageComparison, ForgivesALittleLessColour) {
    EXPECT_EQ(differenceOf(picture([](int x, int y) { return blocks(x, y) + 10; })), "none");
}

TEST(PageComparison, ForgivesAThinLineThatOneOfBothDrawsDarker) {
    const auto line = [](int dark) {
        return picture([dark](int x, int y) { return y == 100 ? dark : blocks(x, y); });
    };
    EXPECT_EQ(difference(line(60), line(160), wholePage), std::nullopt);
}

TEST(PageComparison, SeesThatAllIsMissing) {
    EXPECT_EQ(differenceOf(picture([](int, int) { return 255; })), "is blank");
}

TEST(PageComparison, TellsAShift) {
    EXPECT_EQ(differenceOf(picture(blocks).moved(1, 4, 0)), "is shifted by about 2 mm");
}

TEST(PageComparison, TellsAShiftInBothDirections) {
    EXPECT_EQ(differenceOf(picture(blocks).moved(1, -6, 8)), "is shifted by about 5 mm");
}

TEST(PageComparison, TellsAShiftByManySmallPixels) {
    const Frame fine = {{0, 0, width, height}, {}, 0.08};
    EXPECT_EQ(differenceOf(picture(blocks).moved(1, 0, 25), fine), "is shifted by about 2 mm");
}

TEST(PageComparison, TellsAScale) {
    EXPECT_EQ(differenceOf(picture(blocks).moved(0.95, 0, 0)), "has another scale");
}

TEST(PageComparison, TellsMirrorWriting) {
    EXPECT_EQ(differenceOf(picture(blocks).mirrored()), "is mirrored");
}

TEST(PageComparison, TellsATurn) {
    EXPECT_EQ(differenceOf(picture(blocks).turned(Turn::around)), "is upside down");
}

TEST(PageComparison, TellsWhereArtworkIsMissing) {
    const PageView found =
        picture([](int x, int y) { return isIn(x, y, 30, 40, 70, 60) ? 230 : blocks(x, y); });
    EXPECT_TRUE(differenceOf(found).starts_with("lacks artwork of the original, "))
        << differenceOf(found);
}

TEST(PageComparison, TellsWhereThereIsWhatShouldNotBe) {
    const PageView found =
        picture([](int x, int y) { return isIn(x, y, 120, 20, 140, 40) ? 40 : blocks(x, y); });
    EXPECT_TRUE(differenceOf(found).starts_with("does not look like the original, "))
        << differenceOf(found);
}

/// Five lines of small letters on a ground.
int smallPrint(int x, int y, int ground, int ink) {
    const bool isLetter = isIn(x, y, 40, 80, 120, 105) && y % 5 < 2 && x % 3 != 0 && x % 16 > 2;
    return isLetter ? ink : ground;
}

/// What is said of a page that has lost small print in `ink` from a ground that is so light.
std::string differenceWithoutPrint(int ground, int ink) {
    const PageView expected = picture([&](int x, int y) { return smallPrint(x, y, ground, ink); });
    return difference(expected, picture([&](int, int) { return ground; }), wholePage)
        .value_or("none");
}

TEST(PageComparison, SeesThatDarkSmallPrintIsMissingFromAColour) {
    const std::string told = differenceWithoutPrint(128, 90);
    EXPECT_TRUE(told.starts_with("lacks artwork of the original, ")) << told;
}

TEST(PageComparison, SeesThatLightSmallPrintIsMissingFromAColour) {
    const std::string told = differenceWithoutPrint(128, 166);
    EXPECT_TRUE(told.starts_with("lacks artwork of the original, ")) << told;
}

TEST(PageComparison, TellsWhereSmallPrintIsMissing) {
    const std::string told = differenceWithoutPrint(128, 90);
    EXPECT_TRUE(told.ends_with(", 24 mm from its left and 44 mm from its top edge")) << told;
}

TEST(PageComparison, SeesSmallPrintThatShouldNotBe) {
    const PageView printed = picture([](int x, int y) { return smallPrint(x, y, 128, 90); });
    const std::string told =
        difference(picture([](int, int) { return 128; }), printed, wholePage).value_or("none");
    EXPECT_TRUE(told.starts_with("does not look like the original, ")) << told;
}

TEST(PageComparison, LeavesOutSmallPrintThatIsToBeIgnored) {
    const PageView printed = picture([](int x, int y) { return smallPrint(x, y, 128, 90); });
    const Frame covered = {{0, 0, width, height}, {{38, 78, 122, 107}}, 0.5};
    EXPECT_EQ(difference(printed, picture([](int, int) { return 128; }), covered), std::nullopt);
}

TEST(PageComparison, ForgivesSmallPrintThatIsDrawnSofter) {
    const auto print = [](int ink) {
        return picture([ink](int x, int y) { return smallPrint(x, y, 200, ink); });
    };
    EXPECT_EQ(difference(print(80), print(125), wholePage), std::nullopt);
}

TEST(PageComparison, ForgivesSmallPrintOnAnotherColour) {
    const auto print = [](int ground) {
        return picture([ground](int x, int y) {
            return isIn(x, y, 36, 76, 124, 109) ? smallPrint(x, y, ground, 90) : 60;
        });
    };
    EXPECT_EQ(difference(print(170), print(200), wholePage), std::nullopt);
}

/// Dark blocks on paper that has a tint as far as `end`.
PageView tintedDownTo(int end, int tint) {
    return picture([=](int x, int y) {
        if (blocks(x, y) < 230)
            return blocks(x, y);
        return y < end ? tint : 255;
    });
}

TEST(PageComparison, SeesThatAFaintTintIsMissing) {
    const auto told = difference(tintedDownTo(140, 245), tintedDownTo(0, 255), wholePage);
    EXPECT_TRUE(told.value_or("none").starts_with("lacks artwork of the original, "))
        << told.value_or("none");
}

TEST(PageComparison, SeesAFaintTintThatShouldNotBe) {
    const auto told = difference(tintedDownTo(0, 255), tintedDownTo(140, 245), wholePage);
    EXPECT_TRUE(told.value_or("none").starts_with("does not look like the original, "))
        << told.value_or("none");
}

TEST(PageComparison, ForgivesAFainterTint) {
    EXPECT_TRUE(isRight(tintedDownTo(140, 245), tintedDownTo(140, 252), wholePage));
}

TEST(PageComparison, ForgivesATintThatEndsAPixelEarlier) {
    EXPECT_TRUE(isRight(tintedDownTo(140, 245), tintedDownTo(139, 245), wholePage));
}

TEST(PageComparison, TellsAStripThatIsCutOffFromAShift) {
    const auto darkAlongTheRight = [](int x, int y) { return x >= width - 20 ? 0 : blocks(x, y); };
    const PageView found =
        picture([&](int x, int y) { return x >= width - 6 ? 255 : darkAlongTheRight(x, y); });
    const auto told = difference(picture(darkAlongTheRight), found, wholePage);
    EXPECT_TRUE(told.value_or("none").starts_with("lacks artwork of the original, "))
        << told.value_or("none");
}

TEST(PageComparison, LooksOnlyAtThePage) {
    const PageView found = picture([](int x, int y) { return y < 20 ? 0 : blocks(x, y); });
    EXPECT_EQ(differenceOf(found, {{0, 22, width, height}, {}, 0.5}), "none");
}

TEST(PageComparison, LeavesOutWhatIsToBeIgnored) {
    const PageView found =
        picture([](int x, int y) { return isIn(x, y, 30, 40, 70, 60) ? 230 : blocks(x, y); });
    EXPECT_EQ(differenceOf(found, {{0, 0, width, height}, {{28, 38, 72, 62}}, 0.5}), "none");
}

TEST(PageComparison, SeesBetweenWhatIsToBeIgnored) {
    const PageView found =
        picture([](int x, int y) { return isIn(x, y, 90, 50, 110, 150) ? 230 : blocks(x, y); });
    EXPECT_FALSE(isRight(picture(blocks), found,
                         {{0, 0, width, height}, {{0, 0, 20, 20}, {140, 180, 160, 200}}, 0.5}));
}

TEST(PageComparison, SeesThatAllIsMissingUnderWhatIsToBeIgnored) {
    const Frame coveredPage = {{0, 0, width, height}, {{0, 0, width, height}}, 0.5};
    const PageView blank = picture([](int, int) { return 255; });
    EXPECT_FALSE(isRight(picture(blocks), blank, coveredPage));
    EXPECT_EQ(differenceOf(blank, coveredPage), "is blank");
}

TEST(PageComparison, ForgivesThatANextToInvisibleTintIsMissing) {
    const PageView blank = picture([](int, int) { return 255; });
    EXPECT_TRUE(isRight(picture([](int, int) { return 252; }), blank, wholePage));
}

TEST(PageComparison, OfEmptyPagesFindsNothing) {
    const PageView empty = picture([](int, int) { return 255; });
    EXPECT_EQ(difference(empty, empty, wholePage), std::nullopt);
}

TEST(PageComparisonFrame, IsThePageWithoutItsOutermostPixels) {
    // 100 mm square with a bleed of 10 mm that the source lacks: 0.3 mm a pixel.
    const PrintSettings settings = {100, 100, 10, false, true};
    const auto placement = PageGeometry::place({0, 0, 100, 100}, settings);
    const Frame found = frame(placement, {}, settings);
    EXPECT_NEAR(found.pixelMM, 0.3, 1e-9);
    EXPECT_NEAR(static_cast<double>(found.page.left), 10 / 0.3 + 1, 1);
    EXPECT_NEAR(static_cast<double>(found.page.bottom), 110 / 0.3 - 1, 1);
    EXPECT_TRUE(found.ignored.empty());
}

TEST(PageComparisonFrame, HasWhatIsToBeIgnoredFromTheTop) {
    const PrintSettings settings = {100, 100, 0, true, true};
    const auto placement = PageGeometry::place({0, 0, 100, 100}, settings);
    const Frame found = frame(placement, {{0, 80, 20, 20}}, settings);
    ASSERT_EQ(found.ignored.size(), 1U);
    EXPECT_TRUE(found.ignored[0].contains(10, 10));
    EXPECT_FALSE(found.ignored[0].contains(10, found.page.bottom - 10));
}

} // namespace
} // namespace Bleedwise::PageComparison
