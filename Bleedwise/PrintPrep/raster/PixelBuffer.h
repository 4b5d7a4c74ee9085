#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <utility>

namespace Bleedwise {

/// A block of bytes and its owner, the way that renderers hand over their bitmaps without a copy.
class PixelBuffer {
public:
    PixelBuffer() = default;
    /// `bytes` are `size`, until the last owner goes.
    PixelBuffer(std::shared_ptr<std::uint8_t> bytes, std::size_t size)
        : bytes_(std::move(bytes)), size_(bytes_ ? size : 0) {}

    /// `size` bytes of zero; empty when the memory cannot be had.
    static PixelBuffer zeroed(std::size_t size) {
        auto* bytes = static_cast<std::uint8_t*>(std::calloc(size, 1));
        return {bytes ? std::shared_ptr<std::uint8_t>(bytes, [](void* block) { std::free(block); })
                      : nullptr,
                size};
    }

    std::uint8_t* data() noexcept { return bytes_.get(); }
    const std::uint8_t* data() const noexcept { return bytes_.get(); }
    std::size_t size() const noexcept { return size_; }
    /// Whether this is the only owner.
    bool isUnshared() const noexcept { return bytes_.use_count() == 1; }

private:
    std::shared_ptr<std::uint8_t> bytes_;
    std::size_t size_ = 0;
};

} // namespace Bleedwise
