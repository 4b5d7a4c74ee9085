#pragma once

#include "PrintPrep/platform/FileDescriptor.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

namespace Bleedwise {

/// `SharedMemory` of another process, of which one stretch at a time is written: what lies beside
/// the stretch may be written over too, without disturbing those who work on the neighbouring ones.
/// One thread.
class FramedMemory {
public:
    /// Memory of `size` bytes, at least 1, that another process made and gave this one. Nothing
    /// when there is no address space left.
    static std::optional<FramedMemory> map(FileDescriptor memory, std::size_t size);

    std::size_t size() const noexcept { return size_; }

    /// The `size` bytes from `offset` on, which must be within the memory. Up to `frame` bytes
    /// before and behind them may be written and hold anything afterwards; beyond, nothing may be.
    /// A null pointer when there is no address space left: there is then nothing to store.
    std::uint8_t* stretch(std::size_t offset, std::size_t size, std::size_t frame);

    /// Shows the other processes what has been written to the last stretch: memory is shared by
    /// whole pages, and those that reach over its ends are private until then. False when that
    /// cannot be done.
    bool store();

private:
    /// From `begin` to `end`, counted in bytes from the beginning of the memory.
    struct Range {
        std::ptrdiff_t begin = 0;
        std::ptrdiff_t end = 0;

        bool operator==(const Range&) const = default;
    };

    FramedMemory(FileDescriptor memory, std::size_t size)
        : memory_(std::move(memory)), size_(size) {}

    /// Maps the memory with room for a frame before and behind it.
    bool reserve(std::size_t frame);
    /// Makes whole pages private or shared again, as far as they are the memory's.
    bool remap(Range pages, bool isPrivate);
    bool write(Range bytes);

    FileDescriptor memory_;
    std::size_t size_;
    /// All of it between two frames, with private pages around the stretch.
    std::shared_ptr<std::uint8_t> block_;
    std::uint8_t* data_ = nullptr;
    std::size_t frame_ = 0;
    Range stretch_;
    Range privateBefore_;
    Range privateBehind_;
};

} // namespace Bleedwise
