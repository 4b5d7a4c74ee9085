#include "PrintPrep/raster/PageView.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

using Plane = PageView::Plane;

/// Three pixels wide and two high, the same in all channels.
const Plane upright = {1, 2, 3, 4, 5, 6};

PageView numbered() {
    return {3, 2, {upright, upright, upright}};
}

TEST(PageView, IsTheLightThatInksLeave) {
    const std::vector<std::uint8_t> inks = {0, 0, 0, 0, 255, 0, 102, 0, 0, 0, 0, 255, 0, 0, 0, 102};
    PixelBuffer pixels = PixelBuffer::zeroed(inks.size());
    std::copy(inks.begin(), inks.end(), pixels.data());
    const PageView view(PixelSize{2, 2}, pixels);
    EXPECT_EQ(view.planes()[0], (Plane{255, 0, 0, 153}));
    EXPECT_EQ(view.planes()[1], (Plane{255, 255, 0, 153}));
    EXPECT_EQ(view.planes()[2], (Plane{255, 153, 0, 153}));
}

TEST(PageView, TurnsCounterclockwise) {
    const PageView left = numbered().turned(Turn::left);
    EXPECT_EQ(left.width(), 2);
    EXPECT_EQ(left.height(), 3);
    EXPECT_EQ(left.planes()[0], (Plane{3, 6, 2, 5, 1, 4}));
    EXPECT_EQ(numbered().turned(Turn::around).planes()[1], (Plane{6, 5, 4, 3, 2, 1}));
    EXPECT_EQ(numbered().turned(Turn::right).planes()[2], (Plane{4, 1, 5, 2, 6, 3}));
    EXPECT_EQ(numbered().turned(Turn::none).planes()[0], upright);
}

TEST(PageView, MirrorsLeftToRight) {
    EXPECT_EQ(numbered().mirrored().planes()[0], (Plane{3, 2, 1, 6, 5, 4}));
}

TEST(PageView, MovesToTheRightAndDownLeavingPaper) {
    EXPECT_EQ(numbered().moved(1, 1, 0).planes()[0], (Plane{255, 1, 2, 255, 4, 5}));
    EXPECT_EQ(numbered().moved(1, 0, 1).planes()[0], (Plane{255, 255, 255, 1, 2, 3}));
}

TEST(PageView, ScalesAboutItsMiddle) {
    const Plane row = {1, 2, 3};
    EXPECT_EQ(PageView(3, 1, {row, row, row}).moved(0.5, 0, 0).planes()[0], (Plane{255, 2, 255}));
}

TEST(PageViewSize, HasPixelsThatShowTwoMillimetres) {
    EXPECT_LE(PageViews::pixelMM({1000, 700, 3, true, true}), 0.7);
}

TEST(PageViewSize, HasFourHundredPixelsAtLeastAlongTheLongSide) {
    EXPECT_GE(PageViews::size({20, 50, 0, true, true}).height, 400);
}

TEST(PageViewSize, IsBoundedHoweverLargeTheSheetIs) {
    const PixelSize size = PageViews::size({50'000, 40'000, 0, true, true});
    EXPECT_LE(size.width * size.height, 1'610'000);
}

TEST(PageViewSize, IsAtLeastOnePixel) {
    EXPECT_EQ(PageViews::size({0.001, 50, 0, true, true}).width, 1);
}

} // namespace
} // namespace Bleedwise
