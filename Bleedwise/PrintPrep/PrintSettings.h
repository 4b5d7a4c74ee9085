#pragma once

#include <string>

namespace Bleedwise {

/// PDF user space units per millimetre: 72 to the inch (ISO 32000-1, 8.3.2.3), 25.4 mm to the inch.
inline constexpr double pointsPerMillimetre = 72 / 25.4;

/// What one conversion is to produce. A plain value without checks of its own; sizes that make no
/// page are refused when the boxes are written (`PDFBoxPatcher::applyPrintBoxes`).
struct PrintSettings {
    /// Finished page width in mm.
    double trimWidthMM = 0;
    /// Finished page height in mm.
    double trimHeightMM = 0;
    /// Bleed in mm, added on each side of the trim.
    double bleedMM = 0;
    /// The page of the input PDF already measures trim plus bleed.
    bool sourceIncludesBleed = true;
    /// True: vector conversion through Ghostscript; false: rendered to a bitmap.
    bool useGhostscript = true;

    /// What the name of the result has behind the input's base name.
    std::string fileNameSuffix() const;

    bool operator==(const PrintSettings&) const = default;
};

} // namespace Bleedwise
