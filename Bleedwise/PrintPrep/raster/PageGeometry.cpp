#include "PrintPrep/raster/PageGeometry.h"

#include "PrintPrep/platform/FatalError.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <string>

namespace Bleedwise::PageGeometry {
namespace {

constexpr double millimetresPerInch = 25.4;

/// How far the clip stays inside its outermost pixels, in pixels.
constexpr double inset = 0.01;

[[noreturn]] void sizeError(double value) {
    char digits[32];
    const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    fatalError("Page bitmap of " + std::string(digits, end) + " pixels cannot be counted.");
}

std::int64_t pixels(double millimetres) {
    const double rounded = std::round(millimetres / millimetresPerInch * resolution);
    const double size = std::isnan(rounded) ? rounded : std::max(1.0, rounded);
    // 2^63 is the first integral double beyond 64 bits.
    if (!(size < 0x1p63))
        sizeError(size);
    return static_cast<std::int64_t>(size);
}

/// The nearest pixel edges of the interval from `start` to `start + length` of `pixelCount` pixels
/// that together are `windowLength` long, as an interval of the same unit.
void snap(double& start, double& length, double windowStart, double windowLength,
          double pixelCount) {
    const double pixel = windowLength / pixelCount;
    const double first = std::round((start - windowStart) / pixel) + inset;
    const double last = std::round((start + length - windowStart) / pixel) - inset;
    start = windowStart + first * pixel;
    length = std::max(0.0, last - first) * pixel;
}

bool isFinite(const Rectangle& rectangle) {
    return std::isfinite(rectangle.x) && std::isfinite(rectangle.y) &&
           std::isfinite(rectangle.width) && std::isfinite(rectangle.height);
}

} // namespace

PixelSize pixelSize(const PrintSettings& settings) {
    const double bleeds = settings.bleedMM + settings.bleedMM;
    const PixelSize size = {pixels(settings.trimWidthMM + bleeds),
                            pixels(settings.trimHeightMM + bleeds)};
    if (size.width > std::numeric_limits<std::int64_t>::max() / 4 / size.height)
        sizeError(static_cast<double>(size.width) * static_cast<double>(size.height));
    return size;
}

Rectangle sheet(const PrintSettings& settings) {
    const double bleeds = settings.bleedMM + settings.bleedMM;
    return {0, 0, (settings.trimWidthMM + bleeds) * pointsPerMillimetre,
            (settings.trimHeightMM + bleeds) * pointsPerMillimetre};
}

Rectangle trim(const PrintSettings& settings) {
    const double bleed = settings.bleedMM * pointsPerMillimetre;
    return {bleed, bleed, settings.trimWidthMM * pointsPerMillimetre,
            settings.trimHeightMM * pointsPerMillimetre};
}

Placement place(const Rectangle& mediaBox, const PrintSettings& settings) {
    const Rectangle paper = sheet(settings);
    const Rectangle target = settings.sourceIncludesBleed ? paper : trim(settings);
    const double scale = std::min(target.width / mediaBox.width, target.height / mediaBox.height);
    const double x0 = target.x + target.width / 2 - mediaBox.width * scale * 0.5;
    const double y0 = target.y + target.height / 2 - mediaBox.height * scale * 0.5;

    Placement placement;
    placement.window = {mediaBox.x - x0 / scale, mediaBox.y - y0 / scale, paper.width / scale,
                        paper.height / scale};
    if (!(scale > 0) || !isFinite(placement.window) || !(placement.window.width > 0) ||
        !(placement.window.height > 0))
        return {};
    const PixelSize size = pixelSize(settings);
    placement.visible = mediaBox;
    snap(placement.visible.x, placement.visible.width, placement.window.x, placement.window.width,
         static_cast<double>(size.width));
    snap(placement.visible.y, placement.visible.height, placement.window.y, placement.window.height,
         static_cast<double>(size.height));
    return placement;
}

} // namespace Bleedwise::PageGeometry
