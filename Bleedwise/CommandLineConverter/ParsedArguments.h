#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Bleedwise {

/// The command line of a `--convert` run. Reads the texts only: whether the input exists and the
/// sizes make sense is for the conversion to find out.
struct ParsedArguments {
    /// Absolute path of the PDF to prepare.
    std::filesystem::path inputURL;
    /// Absolute path of the result, when the user named one.
    std::optional<std::filesystem::path> outputURL;
    /// Trim width in mm.
    double widthMM = 0;
    /// Trim height in mm.
    double heightMM = 0;
    /// Bleed in mm.
    double bleedMM = 0;
    bool sourceIncludesBleed = true;
    bool useGhostscript = true;

    /// `arguments` are those of the process, its own path first. Flags may come in any order, the
    /// first of a repeated flag counts, and unknown elements are ignored. An unreadable bleed
    /// counts as none given, which is 3 mm.
    ///
    /// Throws `ArgumentError` for a missing input, width or height, and `FileSystemError` when a
    /// relative path is given and the current folder is gone.
    explicit ParsedArguments(const std::vector<std::string>& arguments);

    /// The element behind the first one that equals `flag`, whatever it is.
    static std::optional<std::string> value(std::string_view flag,
                                            const std::vector<std::string>& arguments);
};

} // namespace Bleedwise
