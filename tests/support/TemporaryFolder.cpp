#include "support/TemporaryFolder.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include <gtest/gtest.h>

namespace Bleedwise::Testing {

TemporaryFolder::TemporaryFolder(const std::filesystem::path& parent) {
    std::string name = (parent / "bleedwise-test-XXXXXX").native();
    if (!::mkdtemp(name.data()))
        throw std::runtime_error("no temporary folder in " + parent.native());
    path_ = name;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::filesystem::path TemporaryFolder::file(const std::filesystem::path& name,
                                            std::string_view bytes) const {
    std::ofstream stream(path_ / name, std::ios::binary);
    stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!stream.flush())
        throw std::runtime_error("could not write " + (path_ / name).native());
    return path_ / name;
}

std::filesystem::path TemporaryFolder::program(const std::filesystem::path& name,
                                               std::string_view text) const {
    const std::filesystem::path url = file(name, text);
    std::filesystem::permissions(url, std::filesystem::perms::owner_all);
    return url;
}

std::string contents(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    EXPECT_TRUE(stream) << file;
    return {std::istreambuf_iterator<char>(stream), {}};
}

std::size_t entryCount(const std::filesystem::path& folder) {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

} // namespace Bleedwise::Testing
