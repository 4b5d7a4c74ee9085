#pragma once

#include "PrintPrep/PrintSettings.h"
#include "PrintPrep/raster/PageGeometry.h"
#include "PrintPrep/raster/PixelBuffer.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Bleedwise {

/// Quarter turns counterclockwise.
enum class Turn { none, left, around, right };

/// A page as it looks from some way off: three planes of light, red, green and blue, that its inks
/// leave. 255 is paper. Rows run from the top without padding.
class PageView {
public:
    using Plane = std::vector<std::uint8_t>;

    /// From a bitmap of cyan, magenta, yellow and black; `pixels` holds `size.bytes()` bytes.
    PageView(PixelSize size, const PixelBuffer& pixels);
    /// Each plane holds `width * height` bytes.
    PageView(std::ptrdiff_t width, std::ptrdiff_t height, std::array<Plane, 3> planes);

    std::ptrdiff_t width() const noexcept { return width_; }
    std::ptrdiff_t height() const noexcept { return height_; }
    const std::array<Plane, 3>& planes() const noexcept { return planes_; }
    std::size_t bytes() const noexcept { return 3 * planes_[0].size(); }

    PageView turned(Turn turn) const;
    /// Left to right.
    PageView mirrored() const;
    /// Scaled about its middle, then moved to the right and down by so many pixels; paper where
    /// there was nothing.
    PageView moved(double scale, double right, double down) const;

private:
    /// The picture whose pixels come from `source(x, y)`, an index, or paper where that is −1.
    template <typename Source>
    PageView arranged(std::ptrdiff_t width, std::ptrdiff_t height, Source source) const;

    std::ptrdiff_t width_;
    std::ptrdiff_t height_;
    std::array<Plane, 3> planes_;
};

namespace PageViews {

/// How large a sheet's view is: fine enough to see 2 mm on any sheet up to a square metre, and 2
/// per cent of a small one, and otherwise as coarse as possible, since its size is what looking at
/// it costs.
PixelSize size(const PrintSettings& settings);

/// What a side of a pixel is on paper, in mm.
double pixelMM(const PrintSettings& settings);

} // namespace PageViews
} // namespace Bleedwise
