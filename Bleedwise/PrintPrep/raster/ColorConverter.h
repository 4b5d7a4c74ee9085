#pragma once

#include "PrintPrep/raster/ColorTable.h"
#include "PrintPrep/raster/Profile.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string_view>

namespace Bleedwise {

class MatrixToTable;

/// ICC rendering intents in the order of their numbers (ISO 15076-1, table 23).
enum class Intent { perceptual, relativeColorimetric, saturation, absoluteColorimetric };

/// The intent that a PDF names; relative colorimetric for an unknown name (ISO 32000-1, 8.6.5.8).
Intent intentNamed(std::string_view name);

/// Converts colours from one profile to another with one intent and black point compensation.
///
/// White of an RGB or grey source is no ink at all, whatever the tables say. Any thread.
class ColorConverter {
public:
    /// Nothing when the profiles cannot be connected: one lacks tables for it, or has neither grey,
    /// RGB, CMYK nor Lab colours.
    static std::shared_ptr<const ColorConverter> create(const Profile& source,
                                                        const Profile& destination, Intent intent);

    /// Whether `create` gives one, in a small part of its time: that goes into what black point
    /// compensation needs, which does not decide it.
    static bool connects(const Profile& source, const Profile& destination, Intent intent);

    ~ColorConverter();

    int sourceChannels() const noexcept { return sourceChannels_; }
    int destinationChannels() const noexcept { return destinationChannels_; }

    /// One colour as precisely as the profiles tell. `source` has numbers from 0 to 1, except for
    /// Lab: L* from 0 to 100, a* and b*. `destination` has numbers from 0 to 65535.
    void convert(const double* source, std::uint16_t* destination) const;

    /// Whether the source's numbers can be bytes: those of Lab, also of an ICC profile for Lab, are
    /// not.
    bool convertsPixels() const noexcept { return source_.space() != Profile::Space::lab; }

    /// Pixels of a byte per channel, where `convertsPixels()`. Each is rounded from what `convert`
    /// gives.
    void convertPixels(const std::uint8_t* source, std::uint8_t* destination,
                       std::size_t count) const;

    /// The same through a table that stands in for the profiles, which is several times as fast:
    /// for three source channels always (see `ColorTable` for how far off it is), for four from
    /// `tableWorthwhile` pixels on, since the first use makes the table.
    void convertPixelsByTable(const std::uint8_t* source, std::uint8_t* destination,
                              std::size_t count) const;

    static constexpr std::int64_t tableWorthwhile = 300'000;

private:
    struct TransformDeleter {
        void operator()(void* transform) const;
    };
    using Transform = std::unique_ptr<void, TransformDeleter>;

    ColorConverter(const Profile& source, const Profile& destination, Intent intent);

    Transform transform(unsigned sourceFormat, unsigned destinationFormat, unsigned flags) const;
    bool keepsWhite(const Transform& pixels) const;
    void makeTable() const;
    void convertNumbers(const std::uint16_t* colors, std::uint16_t* results,
                        std::size_t count) const;

    Profile source_;
    Profile destination_;
    Intent intent_;
    int sourceChannels_;
    int destinationChannels_;
    Transform precise_;

    mutable std::once_flag pixelsOnce_;
    mutable Transform pixels_;
    mutable bool pixelsKeepWhite_ = true;
    mutable std::once_flag tableOnce_;
    mutable std::unique_ptr<const MatrixToTable> shortcut_; // to what the table is made of
    mutable std::unique_ptr<ColorTable> table_;             // for three source channels
    mutable Transform tableTransform_;                      // for others
};

} // namespace Bleedwise
