#pragma once

#include "PrintPrep/platform/LocalizedError.h"

#include <filesystem>
#include <string_view>

namespace Bleedwise {

/// A failed operating system call on a file, told as a person would: what could not be done, to
/// which path, and why.
class FileSystemError : public LocalizedError {
public:
    /// `action` completes "Could not …", such as "read"; `code` is an `errno` value.
    FileSystemError(std::string_view action, const std::filesystem::path& path, int code);

    /// The same for a failure without an `errno` value; `code()` is then EINVAL.
    FileSystemError(std::string_view action, const std::filesystem::path& path,
                    std::string_view reason);

    int code() const noexcept { return code_; }

private:
    int code_;
};

} // namespace Bleedwise
