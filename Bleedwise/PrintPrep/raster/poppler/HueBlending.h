#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include <splash/SplashTypes.h>

/// The blend modes Hue and Saturation (ISO 32000-1, 11.3.5.3), of which Poppler has the middle one
/// of the three components wrong.
///
/// A part of `PopplerRenderer.cpp`, which alone includes it: no other file sees Poppler. Nothing
/// here may be used outside `PopplerRenderer`'s lock.
namespace Bleedwise::Poppler {

/// Red, green and blue from 0 to 1, and the functions that the standard defines the modes by.
class BlendColor {
public:
    BlendColor(double red, double green, double blue) : values_{red, green, blue} {}

    double operator[](std::size_t component) const { return values_[component]; }

    double luminosity() const { return 0.3 * values_[0] + 0.59 * values_[1] + 0.11 * values_[2]; }
    double saturation() const { return largest() - smallest(); }

    BlendColor withLuminosity(double luminosity) const {
        const double darker = this->luminosity() - luminosity;
        return mapped([&](double value) { return value - darker; }).clipped();
    }

    BlendColor withSaturation(double saturation) const {
        const double range = this->saturation();
        return mapped([&](double value) {
            return range > 0 ? (value - smallest()) * saturation / range : 0;
        });
    }

private:
    double largest() const { return *std::max_element(values_.begin(), values_.end()); }
    double smallest() const { return *std::min_element(values_.begin(), values_.end()); }

    template <typename Map>
    BlendColor mapped(const Map& map) const {
        return {map(values_[0]), map(values_[1]), map(values_[2])};
    }

    BlendColor clipped() const {
        const double middle = luminosity();
        const double low = smallest();
        const double high = largest();
        double part = 1;
        if (low < 0)
            part = std::min(part, middle / (middle - low));
        if (high > 1)
            part = std::min(part, (1 - middle) / (high - middle));
        return mapped([&](double value) { return middle + (value - middle) * part; });
    }

    std::array<double, 3> values_;
};

/// Blends two colours of a bitmap by what `mode` makes of them in RGB: of inks, the complements of
/// cyan, magenta and yellow, while black remains the backdrop's. A bitmap of one channel, as soft
/// masks have it, remains as it is.
template <typename Mode>
void blendAsRGB(SplashColorPtr source, SplashColorPtr backdrop, SplashColorPtr result,
                SplashColorMode bitmap, const Mode& mode) {
    const bool areInks = bitmap == splashModeCMYK8;
    const bool isRGB = bitmap == splashModeRGB8;
    std::copy_n(backdrop, areInks ? 4 : isRGB ? 3 : 1, result);
    if (!areInks && !isRGB)
        return;
    const auto color = [&](SplashColorPtr bytes) {
        const auto light = [&](int i) { return (areInks ? 255 - bytes[i] : bytes[i]) / 255.0; };
        return BlendColor(light(0), light(1), light(2));
    };
    const BlendColor blended = mode(color(backdrop), color(source));
    for (std::size_t i = 0; i < 3; ++i) {
        const auto byte =
            static_cast<std::uint8_t>(std::lround(std::clamp(blended[i], 0.0, 1.0) * 255));
        result[i] = areInks ? static_cast<std::uint8_t>(255 - byte) : byte;
    }
}

inline void blendHue(SplashColorPtr source, SplashColorPtr backdrop, SplashColorPtr result,
                     SplashColorMode bitmap) {
    blendAsRGB(
        source, backdrop, result, bitmap, [](const BlendColor& below, const BlendColor& above) {
            return above.withSaturation(below.saturation()).withLuminosity(below.luminosity());
        });
}

inline void blendSaturation(SplashColorPtr source, SplashColorPtr backdrop, SplashColorPtr result,
                            SplashColorMode bitmap) {
    blendAsRGB(
        source, backdrop, result, bitmap, [](const BlendColor& below, const BlendColor& above) {
            return below.withSaturation(above.saturation()).withLuminosity(below.luminosity());
        });
}

} // namespace Bleedwise::Poppler
