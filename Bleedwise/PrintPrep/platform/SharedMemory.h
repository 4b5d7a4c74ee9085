#pragma once

#include "PrintPrep/platform/FileDescriptor.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

namespace Bleedwise {

/// Memory of several processes.
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

    /// What another process made and gave this one with its size. Nothing when it is smaller.
    static std::optional<SharedMemory> received(FileDescriptor memory, std::size_t size);

    int descriptor() const noexcept { return file_.get(); }
    std::size_t size() const noexcept { return size_; }

    /// Has the system get the memory for all bytes at once, in half the time that it takes page by
    /// page as they are written. Without so much of it, that is tried again then.
    void populate() const noexcept;

    /// Makes the bytes final. False when a process holds on to a way of changing them: it then has
    /// a writable mapping.
    bool finish();

    /// The bytes, which every process sees change, until the result's last owner goes; for reading
    /// only. A null pointer when there is no address space left.
    std::shared_ptr<std::uint8_t> map() const;

    /// The same of finished memory, of which older kernels, such as Linux 5.15, give no shared
    /// mapping at all.
    std::shared_ptr<const std::uint8_t> mapFinished() const;

private:
    std::shared_ptr<std::uint8_t> map(int flags) const;

    SharedMemory(FileDescriptor file, std::size_t size) : file_(std::move(file)), size_(size) {}

    FileDescriptor file_;
    std::size_t size_ = 0;
};

} // namespace Bleedwise
