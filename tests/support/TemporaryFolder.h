#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace Bleedwise::Testing {

/// A fresh folder of its own, removed with all that is in it at the end of the scope.
class TemporaryFolder {
public:
    /// Created in `parent`, by default the system's temporary directory.
    explicit TemporaryFolder(
        const std::filesystem::path& parent = std::filesystem::temp_directory_path());
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder();

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(const std::filesystem::path& name) const {
        return path_ / name;
    }

    /// Writes a file in the folder and gives its path.
    std::filesystem::path file(const std::filesystem::path& name, std::string_view bytes) const;
    /// The same, executable: a script that begins with "#!".
    std::filesystem::path program(const std::filesystem::path& name, std::string_view text) const;

private:
    std::filesystem::path path_;
};

/// A whole file's bytes; fails the test when it cannot be read.
std::string contents(const std::filesystem::path& file);

/// The number of entries directly in a folder, hidden ones included.
std::size_t entryCount(const std::filesystem::path& folder);

} // namespace Bleedwise::Testing
