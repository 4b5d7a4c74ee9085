#include "PrintPrep/raster/PageGeometry.h"

#include "PrintPrep/platform/FatalError.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>
#include <string>

namespace Bleedwise::PageGeometry {
namespace {

constexpr double millimetresPerInch = 25.4;

/// How far the clip stays inside its outermost pixels, in pixels.
constexpr double inset = 0.01;

/// A bitmap's sides as numbers that may be too large to count, or NaN.
struct Sides {
    double width;
    double height;
};

double pixels(double millimetres) {
    const double rounded = std::round(millimetres / millimetresPerInch * resolution);
    return std::isnan(rounded) ? rounded : std::max(1.0, rounded);
}

Sides sides(const PrintSettings& settings) {
    const double bleeds = settings.bleedMM + settings.bleedMM;
    return {pixels(settings.trimWidthMM + bleeds), pixels(settings.trimHeightMM + bleeds)};
}

/// 2^63 is the first integral double beyond 64 bits.
bool fits(double side) {
    return side < 0x1p63;
}

/// Nothing for what is not countable.
std::optional<PixelSize> counted(const Sides& sides) {
    if (!fits(sides.width) || !fits(sides.height))
        return std::nullopt;
    const PixelSize size = {static_cast<std::int64_t>(sides.width),
                            static_cast<std::int64_t>(sides.height)};
    if (size.width > std::numeric_limits<std::int64_t>::max() / 4 / size.height)
        return std::nullopt;
    return size;
}

[[noreturn]] void sizeError(const Sides& sides) {
    double tooLarge = sides.width * sides.height;
    for (const double side : {sides.height, sides.width}) {
        if (!fits(side))
            tooLarge = side;
    }
    char digits[32];
    const auto end = std::to_chars(digits, digits + sizeof digits, tooLarge).ptr;
    fatalError("Page bitmap of " + std::string(digits, end) + " pixels cannot be counted.");
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

bool isCountable(const PrintSettings& settings) {
    return counted(sides(settings)).has_value();
}

PixelSize pixelSize(const PrintSettings& settings) {
    const Sides wanted = sides(settings);
    const std::optional<PixelSize> size = counted(wanted);
    if (!size)
        sizeError(wanted);
    return *size;
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
