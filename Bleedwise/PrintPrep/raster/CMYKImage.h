#pragma once

#include "PrintPrep/raster/PageGeometry.h"
#include "PrintPrep/raster/PixelBuffer.h"

#include <cstdint>
#include <utility>

namespace Bleedwise {

/// A bitmap of cyan, magenta, yellow and black, one byte each in this order, 255 being full ink.
/// The rows run from the top without padding.
class CMYKImage {
public:
    /// `pixels` holds exactly `size.bytes()` bytes.
    CMYKImage(PixelSize size, PixelBuffer pixels) : size_(size), pixels_(std::move(pixels)) {}

    std::int64_t width() const noexcept { return size_.width; }
    std::int64_t height() const noexcept { return size_.height; }
    const std::uint8_t* row(std::int64_t number) const noexcept {
        return pixels_.data() + 4 * size_.width * number;
    }

private:
    PixelSize size_;
    PixelBuffer pixels_;
};

} // namespace Bleedwise
