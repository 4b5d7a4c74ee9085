#pragma once

#include <optional>
#include <string_view>

namespace Bleedwise {

/// A size read from a name, in millimetres, as it is written there: zero and absurd sizes too.
struct DetectedSize {
    double width = 0;
    double height = 0;
    std::optional<double> bleed;

    bool operator==(const DetectedSize&) const = default;
};

/// Sizes that people write into file names, such as "Poster 210x297mm+3". Any thread.
namespace SizeDetector {

/// The first size in `text`, a file name in UTF-8 without its folder and extension. Bytes that are
/// not UTF-8 count as characters that no size has.
std::optional<DetectedSize> detect(std::string_view text);

} // namespace SizeDetector
} // namespace Bleedwise
