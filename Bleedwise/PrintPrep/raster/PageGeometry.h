#pragma once

#include "PrintPrep/PrintSettings.h"

#include <cstdint>

/// Where a page goes on its sheet, as numbers only.
///
/// Sheet coordinates are points with the origin at the lower-left corner of the bleed; user space
/// is the page's own (ISO 32000-1, 8.3.2.3), also with y upwards; pixels count from the top left.
namespace Bleedwise {

struct Rectangle {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    bool operator==(const Rectangle&) const = default;
};

struct PixelSize {
    std::int64_t width = 0;
    std::int64_t height = 0;

    /// Bytes of a bitmap of four 8-bit channels without padding.
    std::int64_t bytes() const { return 4 * width * height; }

    bool operator==(const PixelSize&) const = default;
};

namespace PageGeometry {

/// Resolution of every bitmap, in pixels per inch.
inline constexpr double resolution = 300;

/// Whether each side of the bitmap and its number of bytes are within 64 bits.
bool isCountable(const PrintSettings& settings);

/// Trim and bleed at 300 ppi, each side rounded half away from zero, at least 1 × 1.
///
/// A size that is not countable is a programming error: it is named on standard error and the
/// process aborts.
PixelSize pixelSize(const PrintSettings& settings);

/// The whole sheet, trim plus bleed on each side, in points.
Rectangle sheet(const PrintSettings& settings);

/// The trimmed page on the sheet, in points.
Rectangle trim(const PrintSettings& settings);

/// A page fitted into the sheet: one scale and shift, no rotation.
struct Placement {
    /// What the whole bitmap shows, in the page's user space.
    Rectangle window;
    /// The part of `window` that belongs to the page: its media box with each edge moved to the
    /// nearest pixel edge, and from there inwards by a hundredth of a pixel, so that rounding
    /// never lets a row or column beside it through.
    Rectangle visible;
};

/// Fits `mediaBox` into the sheet, or into the trim when the source has no bleed of its own,
/// keeping its proportions and centred. Nothing is visible when one of the sizes makes no page.
Placement place(const Rectangle& mediaBox, const PrintSettings& settings);

} // namespace PageGeometry
} // namespace Bleedwise
