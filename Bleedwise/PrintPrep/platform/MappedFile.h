#pragma once

#include <cstddef>
#include <filesystem>
#include <string_view>

namespace Bleedwise {

/// A whole file mapped into memory for reading, so that its bytes are not copied.
///
/// The bytes stay valid while the object lives, provided that nobody shortens the file meanwhile.
class MappedFile {
public:
    /// Throws `FileSystemError` when `url` is not a readable file.
    explicit MappedFile(const std::filesystem::path& url);
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;
    ~MappedFile();

    std::string_view bytes() const noexcept { return {data_, size_}; }

    /// Gives back the memory that the first `size` bytes take up in this process, about. They stay
    /// readable; the kernel fetches them again when they are read.
    void release(std::size_t size) const noexcept;

    /// The file's permission bits, as `chmod` takes them.
    unsigned permissions() const noexcept { return permissions_; }

private:
    const char* data_ = nullptr;
    std::size_t size_ = 0;
    unsigned permissions_ = 0;
};

} // namespace Bleedwise
