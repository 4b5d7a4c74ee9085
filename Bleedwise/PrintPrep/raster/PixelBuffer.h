#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <utility>

namespace Bleedwise {

/// Sole owner of a block of bytes that came from `malloc`, the way that renderers hand over their
/// bitmaps without a copy.
class PixelBuffer {
public:
    PixelBuffer() = default;
    /// Takes over `bytes`, which `std::free` releases.
    PixelBuffer(std::uint8_t* bytes, std::size_t size) : bytes_(bytes), size_(size) {}

    /// `size` bytes of zero; empty when the memory cannot be had.
    static PixelBuffer zeroed(std::size_t size) {
        auto* bytes = static_cast<std::uint8_t*>(std::calloc(size, 1));
        return {bytes, bytes ? size : 0};
    }

    std::uint8_t* data() noexcept { return bytes_.get(); }
    const std::uint8_t* data() const noexcept { return bytes_.get(); }
    std::size_t size() const noexcept { return size_; }

private:
    struct Free {
        void operator()(std::uint8_t* bytes) const noexcept { std::free(bytes); }
    };

    std::unique_ptr<std::uint8_t, Free> bytes_;
    std::size_t size_ = 0;
};

} // namespace Bleedwise
