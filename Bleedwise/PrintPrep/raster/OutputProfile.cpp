#include "PrintPrep/raster/OutputProfile.h"

#include "PrintPrep/raster/ColorConverter.h"

#include <utility>

namespace Bleedwise {

OutputProfile::OutputProfile(std::string bytes, Profile profile)
    : bytes_(std::make_shared<const std::string>(std::move(bytes))), profile_(std::move(profile)) {}

std::optional<OutputProfile> OutputProfile::fromBytes(std::string bytes) {
    auto profile = Profile::fromBytes(bytes);
    if (!profile || profile->space() != Profile::Space::cmyk)
        return std::nullopt;
    // A profile may have an intact header and no tables to separate with.
    if (!ColorConverter::create(Profile::sRGB(), *profile, Intent::relativeColorimetric))
        return std::nullopt;
    return OutputProfile(std::move(bytes), std::move(*profile));
}

} // namespace Bleedwise
