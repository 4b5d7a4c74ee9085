#pragma once

#include "PrintPrep/raster/Profile.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace Bleedwise {

/// The colour space that bitmaps are made for: a CMYK output profile and its bytes. A cheap,
/// shared, immutable handle; any thread.
class OutputProfile {
public:
    /// Nothing when `bytes` are not an ICC profile that separates into CMYK.
    static std::optional<OutputProfile> fromBytes(std::string bytes);

    /// The same without trying whether they do.
    static std::optional<OutputProfile> fromTrustedBytes(std::string bytes);

    /// The same without a copy of `bytes`, which `owner` keeps.
    static std::optional<OutputProfile> fromTrustedBytes(std::string_view bytes,
                                                         std::shared_ptr<const void> owner);

    /// Whether it does separate: it may have an intact header and no tables. To try that takes as
    /// long as drawing a small page.
    bool separates() const;

    const Profile& profile() const noexcept { return profile_; }
    /// The profile exactly as it was given.
    std::string_view bytes() const noexcept { return bytes_; }

    /// Whether both are copies of one object.
    bool isCopyOf(const OutputProfile& other) const noexcept {
        return profile_.handle() == other.profile_.handle();
    }

private:
    OutputProfile(std::string_view bytes, std::shared_ptr<const void> owner, Profile profile);

    std::string_view bytes_;
    std::shared_ptr<const void> owner_;
    Profile profile_;
};

} // namespace Bleedwise
