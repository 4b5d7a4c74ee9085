#pragma once

#include "PrintPrep/raster/Profile.h"

#include <optional>
#include <string>
#include <string_view>

namespace Bleedwise {

/// The colour space that bitmaps are made for: a CMYK output profile and its bytes.
class OutputProfile {
public:
    /// Nothing when `bytes` are not an ICC profile that separates into CMYK.
    static std::optional<OutputProfile> fromBytes(std::string bytes);

    const Profile& profile() const noexcept { return profile_; }
    /// The profile exactly as it was given.
    const std::string& bytes() const noexcept { return bytes_; }

private:
    OutputProfile(std::string bytes, Profile profile)
        : bytes_(std::move(bytes)), profile_(std::move(profile)) {}

    std::string bytes_;
    Profile profile_;
};

} // namespace Bleedwise
