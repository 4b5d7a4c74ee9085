#include "PrintPrep/platform/FileSystemError.h"

#include <cerrno>
#include <cstring>
#include <string>

namespace Bleedwise {
namespace {

/// The system's English text for an `errno` value, whatever the process locale is.
std::string reason(int code) {
    const char* text = strerrordesc_np(code);
    return text ? text : "Error " + std::to_string(code);
}

std::string description(std::string_view action, const std::filesystem::path& path,
                        std::string_view reason) {
    return "Could not " + std::string(action) + " \"" + path.native() +
           "\": " + std::string(reason);
}

} // namespace

FileSystemError::FileSystemError(std::string_view action, const std::filesystem::path& path,
                                 int code)
    : LocalizedError(description(action, path, reason(code))), code_(code) {}

FileSystemError::FileSystemError(std::string_view action, const std::filesystem::path& path,
                                 std::string_view reason)
    : LocalizedError(description(action, path, reason)), code_(EINVAL) {}

} // namespace Bleedwise
