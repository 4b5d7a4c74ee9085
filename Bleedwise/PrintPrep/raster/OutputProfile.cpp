#include "PrintPrep/raster/OutputProfile.h"

#include "PrintPrep/raster/ColorConverter.h"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

namespace Bleedwise {
namespace {

/// Whether a profile is as long as its header says (ICC.1:2010, 7.2.2): of one that was cut off,
/// what is left may do to separate with, but not to embed.
bool isWhole(std::string_view bytes) {
    constexpr std::size_t sizeField = 4;
    if (bytes.size() < sizeField)
        return false;
    std::uint32_t size = 0;
    for (const char byte : bytes.substr(0, sizeField))
        size = size << 8U | static_cast<unsigned char>(byte);
    return size == bytes.size();
}

} // namespace

OutputProfile::OutputProfile(std::string_view bytes, std::shared_ptr<const void> owner,
                             Profile profile)
    : bytes_(bytes), owner_(std::move(owner)), profile_(std::move(profile)) {}

std::optional<OutputProfile> OutputProfile::fromBytes(std::string bytes) {
    auto result = fromTrustedBytes(std::move(bytes));
    return result && result->separates() ? result : std::nullopt;
}

bool OutputProfile::separates() const {
    return ColorConverter::connects(Profile::sRGB(), profile_, Intent::relativeColorimetric);
}

std::optional<OutputProfile> OutputProfile::fromTrustedBytes(std::string bytes) {
    const auto kept = std::make_shared<const std::string>(std::move(bytes));
    return fromTrustedBytes(*kept, kept);
}

std::optional<OutputProfile> OutputProfile::fromTrustedBytes(std::string_view bytes,
                                                             std::shared_ptr<const void> owner) {
    auto profile = isWhole(bytes) ? Profile::fromBytes(bytes, owner) : std::nullopt;
    if (!profile || profile->space() != Profile::Space::cmyk)
        return std::nullopt;
    return OutputProfile(bytes, std::move(owner), std::move(*profile));
}

} // namespace Bleedwise
