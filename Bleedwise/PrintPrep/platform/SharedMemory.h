#pragma once

#include "PrintPrep/platform/FileDescriptor.h"

#include <cstddef>
#include <optional>
#include <string_view>

namespace Bleedwise {

/// Memory that another process fills, and that nobody can change from a certain moment on.
///
/// Its size is fixed from the start, so that no other process can take bytes away under a reader
/// (which would be killed). The other process gets `descriptor()`.
class SharedMemory {
public:
    /// `size` bytes of zero, which take up memory as they are written. Nothing when they cannot be
    /// had; `size` is at least 1.
    static std::optional<SharedMemory> create(std::size_t size);
    /// A finished copy of `bytes`, which are at least one.
    static std::optional<SharedMemory> copyOf(std::string_view bytes);

    int descriptor() const noexcept { return file_.get(); }
    std::size_t size() const noexcept { return size_; }

    /// Makes the bytes final. False when a process holds on to a way of changing them: it then has
    /// a writable mapping.
    bool finish();

    /// The finished bytes, for reading, until `munmap` of `size()` bytes; a null pointer when there
    /// is no address space left.
    void* map() const noexcept;

private:
    SharedMemory(FileDescriptor file, std::size_t size) : file_(std::move(file)), size_(size) {}

    FileDescriptor file_;
    std::size_t size_ = 0;
};

} // namespace Bleedwise
