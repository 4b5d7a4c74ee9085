#pragma once

#include "PrintPrep/raster/Profile.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace Bleedwise {

/// Turns the greys of a grey profile into black ink alone, so that they print as light as the
/// profile says they are: separating them like colours would make them of four inks.
///
/// White is no ink and the profile's black is full black ink, which is lighter; what lies between
/// is scaled in luminance, as black point compensation does it. Immutable; any thread.
class BlackCurve {
public:
    /// Nothing when a profile lacks what the measuring needs.
    static std::shared_ptr<const BlackCurve> create(const Profile& gray, const Profile& output);

    /// Black ink from 0 to 65535 for a grey from 0, black, to 1, white.
    std::uint16_t ink(double gray) const;

private:
    explicit BlackCurve(std::vector<double> inks) : inks_(std::move(inks)) {}

    std::vector<double> inks_; // at equal steps from black to white, 0 to 1
};

} // namespace Bleedwise
