#pragma once

#include "PrintPrep/platform/SharedMemory.h"
#include "PrintPrep/raster/Profile.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

namespace Bleedwise {

/// The colour space that bitmaps are made for: a CMYK output profile and its bytes, in memory that
/// other processes can share. A cheap, shared, immutable handle; any thread.
class OutputProfile {
public:
    /// From a copy of `bytes`. Nothing when they are not an ICC profile that separates into CMYK.
    /// Throws `PrintPrepError::couldNotCreateCMYKOutput` when there is no memory for them.
    static std::optional<OutputProfile> fromBytes(std::string_view bytes);

    /// The same without trying whether they do.
    static std::optional<OutputProfile> fromTrustedBytes(std::string_view bytes);

    /// The same from the finished memory of such a profile, or nothing.
    static std::optional<OutputProfile> fromMemory(SharedMemory memory);

    /// Whether it does separate: it may have an intact header and no tables. To try that takes as
    /// long as drawing a small page.
    bool separates() const;

    const Profile& profile() const noexcept { return profile_; }
    /// The profile exactly as it was given.
    std::string_view bytes() const noexcept {
        return {reinterpret_cast<const char*>(bytes_.get()), memory_->size()};
    }
    const SharedMemory& memory() const noexcept { return *memory_; }

    /// Whether both are copies of one object.
    bool isCopyOf(const OutputProfile& other) const noexcept {
        return profile_.handle() == other.profile_.handle();
    }

private:
    OutputProfile(SharedMemory memory, std::shared_ptr<const std::uint8_t> bytes, Profile profile);

    std::shared_ptr<const SharedMemory> memory_;
    std::shared_ptr<const std::uint8_t> bytes_;
    Profile profile_;
};

} // namespace Bleedwise
