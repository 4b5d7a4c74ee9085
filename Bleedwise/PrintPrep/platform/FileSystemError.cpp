#include "PrintPrep/platform/FileSystemError.h"

#include <cstring>
#include <string>

namespace Bleedwise {
namespace {

/// The system's English text for an `errno` value, whatever the process locale is.
std::string reason(int code) {
    const char* text = strerrordesc_np(code);
    return text ? text : "Error " + std::to_string(code);
}

} // namespace

FileSystemError::FileSystemError(std::string_view action, const std::filesystem::path& path,
                                 int code)
    : LocalizedError("Could not " + std::string(action) + " \"" + path.native() +
                     "\": " + reason(code)),
      code_(code) {}

} // namespace Bleedwise
