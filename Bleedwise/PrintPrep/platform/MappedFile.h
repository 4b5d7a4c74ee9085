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

    /// The file's permission bits, as `chmod` takes them.
    unsigned permissions() const noexcept { return permissions_; }

private:
    const char* data_ = nullptr;
    std::size_t size_ = 0;
    unsigned permissions_ = 0;
};

} // namespace Bleedwise
