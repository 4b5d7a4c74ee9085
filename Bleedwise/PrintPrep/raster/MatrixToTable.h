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
/// CMS calculates without its own shortcuts, some fifteen times as fast. Immutable; any thread.
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
    /// What is calculated at once: X, Y and Z, or four channels.
    using Four [[gnu::vector_size(16)]] = float;

    static constexpr float largest = 65535;
    static constexpr std::size_t rootSteps = 4096;

    /// Up to four curves, one for each of four numbers. Those that are the same are kept once.
    class Curves {
    public:
        /// Numbers lie between 0 and `most`.
        explicit Curves(float most) : most_(Four{} + most) {}

        /// Samples at equal steps from 0 on; false after four curves, or where two are missing.
        bool add(const std::vector<float>& samples, float stepsPerUnit);
        /// The same with the last sample at `most`.
        bool add(const std::vector<float>& samples);
        std::size_t size() const noexcept { return size_; }

        /// Of the first `count` numbers, 3 or 4.
        template <std::size_t count>
        Four at(Four numbers) const;

    private:
        using Places [[gnu::vector_size(16)]] = std::int32_t;

        std::size_t size_ = 0;
        std::vector<float> samples_ = {0, 0}; // of all curves, and of those that are missing
        Places first_{};
        Four most_;
        Four steps_{}; // per unit
        Four lastStep_{};
    };

    MatrixToTable() = default;

    bool readSource(const Profile& source);
    bool readBlackPoints(const Profile& source, const Profile& destination, Intent intent);
    bool readDestination(const Profile& destination, Intent intent);
    bool agreesWith(const ColorConverter& littleCMS) const;
    template <std::size_t channels>
    void convertTo(const std::uint16_t* colors, std::uint16_t* results, std::size_t count) const;
    Four interpolated(Four numbers) const;

    /// What each byte of each channel adds to XYZ, of which the white is 1, and what black has.
    std::array<std::array<Four, 256>, 3> lights_{};
    Four black_{};
    /// Cube roots of X, Y and Z, and of a little more than white, which rounding may add.
    Curves roots_{1 + 1.0F / rootSteps};
    Curves inputCurves_{largest}; // before the table
    Curves outputCurves_{largest};
    std::vector<Four> table_;
    Four nodesPerUnit_{}; // of the table, per axis
    Four lastCell_{};
    std::ptrdiff_t row_ = 0; // from one to the next, in nodes
    std::ptrdiff_t plane_ = 0;
};

} // namespace Bleedwise
