#pragma once

#include <utility>

namespace Bleedwise {

/// Sole owner of an open file descriptor; −1 means none. Closing cannot fail here: a caller that
/// must know whether the last bytes were stored calls `close()` itself.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
    FileDescriptor(FileDescriptor&& other) noexcept
        : descriptor_(std::exchange(other.descriptor_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    ~FileDescriptor() { close(); }

    int get() const noexcept { return descriptor_; }
    explicit operator bool() const noexcept { return descriptor_ >= 0; }

    /// Closes the descriptor now. Returns 0, or the `errno` value with which closing failed; the
    /// descriptor is gone in either case.
    int close() noexcept;

private:
    int descriptor_ = -1;
};

} // namespace Bleedwise
