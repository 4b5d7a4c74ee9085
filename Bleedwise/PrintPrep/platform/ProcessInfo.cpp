#include "PrintPrep/platform/ProcessInfo.h"

#include "PrintPrep/platform/FileSystemError.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace Bleedwise::ProcessInfo {

std::vector<std::string> arguments() {
    constexpr const char* source = "/proc/self/cmdline"; // every argument ends in a NUL byte
    std::ifstream file(source, std::ios::binary);
    if (!file)
        throw FileSystemError("read", source, errno);
    std::vector<std::string> arguments;
    for (std::string argument; std::getline(file, argument, '\0');)
        arguments.push_back(argument);
    return arguments;
}

std::filesystem::path applicationFolder() {
    std::error_code error;
    const std::filesystem::path executable = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error)
        throw FileSystemError("read", "/proc/self/exe", error.value());
    return executable.parent_path();
}

std::filesystem::path absoluteURL(const std::filesystem::path& path) {
    std::filesystem::path url;
    if (!path.is_absolute()) {
        std::error_code error;
        url = std::filesystem::current_path(error);
        if (error)
            throw FileSystemError("find the current folder for", path, error.value());
    }
    for (const std::filesystem::path& component : path) {
        if (component != ".")
            url /= component;
    }
    return url;
}

bool canExecute(const std::filesystem::path& url) {
    std::error_code ignored;
    return std::filesystem::is_regular_file(url, ignored) && ::access(url.c_str(), X_OK) == 0;
}

void openMissingStandardStreams() noexcept {
    // open() takes the lowest free number, so this fills the gaps from below.
    for (;;) {
        const int descriptor = ::open("/dev/null", O_RDWR);
        if (descriptor < 0)
            return;
        if (descriptor > STDERR_FILENO) {
            ::close(descriptor);
            return;
        }
    }
}

} // namespace Bleedwise::ProcessInfo
