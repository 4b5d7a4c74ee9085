#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace Bleedwise {

/// Sole owner of a block of bytes, the way that renderers hand over their bitmaps without a copy.
class PixelBuffer {
public:
    /// Gives back the block that began at its first argument and had so many bytes.
    using Release = void(void* block, std::size_t size);

    PixelBuffer() = default;
    /// Takes over `bytes`, which came from `malloc`.
    PixelBuffer(std::uint8_t* bytes, std::size_t size)
        : PixelBuffer(bytes, size, [](void* block, std::size_t) { std::free(block); }) {}
    /// Takes over `bytes`, which `release` gives back.
    PixelBuffer(std::uint8_t* bytes, std::size_t size, Release* release)
        : bytes_(bytes, Deleter{release, size}), size_(size) {}

    /// `size` bytes of zero; empty when the memory cannot be had.
    static PixelBuffer zeroed(std::size_t size) {
        auto* bytes = static_cast<std::uint8_t*>(std::calloc(size, 1));
        return {bytes, bytes ? size : 0};
    }

    /// Leaves out the bytes before `first` and all but `size` behind them.
    void crop(std::size_t first, std::size_t size) noexcept {
        first_ += first;
        size_ = size;
    }

    std::uint8_t* data() noexcept { return bytes_ ? bytes_.get() + first_ : nullptr; }
    const std::uint8_t* data() const noexcept { return bytes_ ? bytes_.get() + first_ : nullptr; }
    std::size_t size() const noexcept { return size_; }

private:
    struct Deleter {
        Release* release;
        std::size_t size;

        void operator()(std::uint8_t* bytes) const noexcept { release(bytes, size); }
    };

    std::unique_ptr<std::uint8_t, Deleter> bytes_;
    std::size_t first_ = 0;
    std::size_t size_ = 0;
};

} // namespace Bleedwise
