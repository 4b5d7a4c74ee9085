#pragma once

#include "PrintPrep/raster/ColorConverter.h"
#include "PrintPrep/raster/Profile.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace Bleedwise {

/// The way from RGB with three curves and a matrix, as sRGB is, to a profile with a table of 16
/// bits from CIE L*a*b* (ICC.1, lut16Type), with black point compensation (ISO 18619): what Little
/// CMS calculates without its own shortcuts, some six times as fast. Immutable; any thread.
class MatrixToTable {
public:
    /// Nothing for other profiles or intents, and where the results are not those of `littleCMS`,
    /// which leads the same way.
    static std::unique_ptr<const MatrixToTable> of(const Profile& source,
                                                   const Profile& destination, Intent intent,
                                                   const ColorConverter& littleCMS);

    /// Converts RGB bytes, written as 16 bits from 0 to 65535, to the destination's channels of 16
    /// bits. Off by at most 32 of 65535, an eighth of a byte's step.
    void convert(const std::uint16_t* colors, std::uint16_t* results, std::size_t count) const;

private:
    using Vector = std::array<float, 3>;
    using Node = std::array<std::uint16_t, 4>;

    MatrixToTable() = default;

    bool readSource(const Profile& source);
    bool readBlackPoints(const Profile& source, const Profile& destination, Intent intent);
    bool readDestination(const Profile& destination, Intent intent);
    bool agreesWith(const ColorConverter& littleCMS) const;
    void convert(const std::uint16_t* color, std::uint16_t* result) const;

    /// What each byte of each channel adds to XYZ, of which the white is 1, and what black has.
    std::array<std::array<Vector, 256>, 3> lights_{};
    Vector black_{};
    /// Samples of the curves before and after the table.
    std::array<std::vector<std::uint16_t>, 3> inputCurves_;
    std::vector<std::vector<std::uint16_t>> outputCurves_;
    std::array<std::size_t, 3> steps_{};
    std::vector<Node> table_;
};

} // namespace Bleedwise
