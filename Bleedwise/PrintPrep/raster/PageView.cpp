#include "PrintPrep/raster/PageView.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Bleedwise {
namespace {

/// 2 mm are almost three pixels of this size.
constexpr double largestPixelMM = 0.7;
/// What is too small by 2 per cent then is so by 4 pixels at either end of the long side.
constexpr double pixelsOfLongSide = 400;
/// Beyond this, as on sheets of more than a square metre, looking would cost more than it tells,
/// and every little inaccuracy of the artwork would become large.
constexpr double mostPixels = 1.6e6;

constexpr unsigned paper = 255;

/// The light that an ink and black leave.
std::uint8_t light(unsigned ink, unsigned black) {
    return static_cast<std::uint8_t>(((paper - ink) * (paper - black) + paper / 2) / paper);
}

} // namespace

PageView::PageView(PixelSize size, const PixelBuffer& pixels)
    : width_(size.width), height_(size.height) {
    const std::size_t count = pixels.size() / 4;
    for (std::size_t channel = 0; channel < planes_.size(); ++channel) {
        Plane& plane = planes_[channel];
        plane.resize(count);
        const std::uint8_t* inks = pixels.data();
        for (std::size_t pixel = 0; pixel < count; ++pixel, inks += 4)
            plane[pixel] = light(inks[channel], inks[3]);
    }
}

PageView::PageView(std::ptrdiff_t width, std::ptrdiff_t height, std::array<Plane, 3> planes)
    : width_(width), height_(height), planes_(std::move(planes)) {}

template <typename Source>
PageView PageView::arranged(std::ptrdiff_t width, std::ptrdiff_t height, Source source) const {
    std::array<Plane, 3> planes;
    for (Plane& plane : planes)
        plane.reserve(planes_[0].size());
    for (std::ptrdiff_t y = 0; y < height; ++y) {
        for (std::ptrdiff_t x = 0; x < width; ++x) {
            const std::ptrdiff_t index = source(x, y);
            for (std::size_t channel = 0; channel < planes.size(); ++channel)
                planes[channel].push_back(index < 0
                                              ? std::uint8_t{paper}
                                              : planes_[channel][static_cast<std::size_t>(index)]);
        }
    }
    return {width, height, std::move(planes)};
}

PageView PageView::turned(Turn turn) const {
    const std::ptrdiff_t lastColumn = width_ - 1;
    const std::ptrdiff_t lastRow = height_ - 1;
    switch (turn) {
    case Turn::none:
        break;
    case Turn::left:
        return arranged(height_, width_,
                        [&](auto x, auto y) { return x * width_ + lastColumn - y; });
    case Turn::around:
        return arranged(width_, height_,
                        [&](auto x, auto y) { return (lastRow - y) * width_ + lastColumn - x; });
    case Turn::right:
        return arranged(height_, width_,
                        [&](auto x, auto y) { return (lastRow - x) * width_ + y; });
    }
    return *this;
}

PageView PageView::mirrored() const {
    return arranged(width_, height_, [&](auto x, auto y) { return y * width_ + width_ - 1 - x; });
}

PageView PageView::moved(double scale, double right, double down) const {
    const double middleX = static_cast<double>(width_) / 2;
    const double middleY = static_cast<double>(height_) / 2;
    constexpr double half = 0.5; // a pixel's middle
    return arranged(width_, height_, [&](auto x, auto y) -> std::ptrdiff_t {
        const double fromX = (static_cast<double>(x) + half - right - middleX) / scale + middleX;
        const double fromY = (static_cast<double>(y) + half - down - middleY) / scale + middleY;
        if (!(fromX >= 0) || !(fromY >= 0) || !(fromX < static_cast<double>(width_)) ||
            !(fromY < static_cast<double>(height_)))
            return -1;
        return static_cast<std::ptrdiff_t>(fromY) * width_ + static_cast<std::ptrdiff_t>(fromX);
    });
}

namespace PageViews {

double pixelMM(const PrintSettings& settings) {
    const double bleeds = settings.bleedMM + settings.bleedMM;
    const double width = settings.trimWidthMM + bleeds;
    const double height = settings.trimHeightMM + bleeds;
    const double fine = std::min(largestPixelMM, std::max(width, height) / pixelsOfLongSide);
    return std::max(fine, std::sqrt(width * height / mostPixels));
}

PixelSize size(const PrintSettings& settings) {
    const double pixel = pixelMM(settings);
    const double bleeds = settings.bleedMM + settings.bleedMM;
    const auto pixels = [&](double millimetres) {
        return std::clamp<std::int64_t>(std::llround((millimetres + bleeds) / pixel), 1,
                                        static_cast<std::int64_t>(mostPixels));
    };
    return {pixels(settings.trimWidthMM), pixels(settings.trimHeightMM)};
}

} // namespace PageViews
} // namespace Bleedwise
