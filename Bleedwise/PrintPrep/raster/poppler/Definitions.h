#pragma once

#include "PrintPrep/raster/BlackCurve.h"
#include "PrintPrep/raster/poppler/ManagedColorSpace.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <Function.h>
#include <GfxState.h>

/// How the numbers of each kind of colour space become the target's.
///
/// A part of `PopplerRenderer.cpp`, which alone includes it: no other file sees Poppler. Nothing
/// here may be used outside `PopplerRenderer`'s lock.
namespace Bleedwise::Poppler {

/// Colours that have a profile: RGB, CMYK, CalRGB, Lab, ICCBased.
class ProfiledDefinition final : public Definition {
public:
    ProfiledDefinition(const GfxColorSpace& original,
                       std::shared_ptr<const ColorConverter> converter, Effort effort)
        : Definition(original), converter_(std::move(converter)), effort_(effort),
          hasBytes_(converter_->convertsPixels()) {
        if (effort == Effort::remembered && hasBytes_)
            remembered_ = std::make_unique<RememberedColors>();
    }

    void convert(const GfxColor& color, std::uint16_t* numbers) const override {
        std::array<double, 4> source{};
        for (std::size_t i = 0; i < static_cast<std::size_t>(converter_->sourceChannels()); ++i)
            source[i] = colToDbl(color.c[i]);
        if (remembered_)
            remembered_->convert(*converter_, source.data(), numbers);
        else
            converter_->convert(source.data(), numbers);
    }
    bool convertsRows() const override { return hasBytes_; }
    void convertRow(const unsigned char* in, unsigned char* out, int length) const override {
        if (effort_ == Effort::table || converter_->sourceChannels() == 3)
            converter_->convertPixelsByTable(in, out, static_cast<std::size_t>(length));
        else
            converter_->convertPixels(in, out, static_cast<std::size_t>(length));
    }

private:
    std::shared_ptr<const ColorConverter> converter_;
    Effort effort_;
    bool hasBytes_;
    std::unique_ptr<RememberedColors> remembered_;
};

/// Colours of the target itself.
class TargetDefinition final : public Definition {
public:
    using Definition::Definition;

    void convert(const GfxColor& color, std::uint16_t* numbers) const override {
        for (std::size_t i = 0; i < static_cast<std::size_t>(original().getNComps()); ++i)
            numbers[i] = static_cast<std::uint16_t>(
                std::lround(std::clamp(colToDbl(color.c[i]), 0.0, 1.0) * 65535));
    }
    bool convertsRows() const override { return true; }
    void convertRow(const unsigned char* in, unsigned char* out, int length) const override {
        std::copy_n(in, length * original().getNComps(), out);
    }
};

/// Tagged greys: black alone.
class GrayDefinition final : public Definition {
public:
    GrayDefinition(const GfxColorSpace& original, std::shared_ptr<const BlackCurve> curve)
        : Definition(original), curve_(std::move(curve)) {}

    void convert(const GfxColor& color, std::uint16_t* numbers) const override {
        std::fill_n(numbers, 3, 0);
        numbers[3] = curve_->ink(colToDbl(color.c[0]));
    }

private:
    std::shared_ptr<const BlackCurve> curve_;
};

inline void convertThrough(const GfxColorSpace& space, bool targetIsRGB, const GfxColor& color,
                           std::uint16_t* numbers) {
    const auto number = [](GfxColorComp value) {
        return static_cast<std::uint16_t>(std::clamp(value, 0, 0xffff));
    };
    if (targetIsRGB) {
        GfxRGB rgb;
        space.getRGB(&color, &rgb);
        numbers[0] = number(rgb.r);
        numbers[1] = number(rgb.g);
        numbers[2] = number(rgb.b);
    } else {
        GfxCMYK cmyk;
        space.getCMYK(&color, &cmyk);
        numbers[0] = number(cmyk.c);
        numbers[1] = number(cmyk.m);
        numbers[2] = number(cmyk.y);
        numbers[3] = number(cmyk.k);
    }
}

/// A palette over a managed space (ISO 32000-1, 8.6.6.3).
class IndexedDefinition final : public Definition {
public:
    IndexedDefinition(GfxIndexedColorSpace& original, std::unique_ptr<GfxColorSpace> base,
                      bool targetIsRGB)
        : Definition(original) {
        if (const auto* managed = dynamic_cast<const ManagedColorSpace*>(base.get()))
            overprint_ = managed->overprint();
        const auto channels = static_cast<std::size_t>(base->getNComps());
        std::array<double, gfxColorMaxComps> low{};
        std::array<double, gfxColorMaxComps> range{};
        base->getDefaultRanges(low.data(), range.data(), original.getIndexHigh());
        const auto count = static_cast<std::size_t>(std::max(0, original.getIndexHigh())) + 1;
        for (std::size_t entry = 0; entry < count; ++entry) {
            GfxColor color{};
            for (std::size_t i = 0; i < channels; ++i)
                color.c[i] = dblToCol(low[i] + original.getLookup()[entry * channels + i] / 255.0 *
                                                   range[i]);
            convertThrough(*base, targetIsRGB, color, palette_.emplace_back().data());
        }
    }

    void convert(const GfxColor& color, std::uint16_t* numbers) const override {
        const double index =
            std::clamp(colToDbl(color.c[0]) + 0.5, 0.0, static_cast<double>(palette_.size() - 1));
        std::copy_n(palette_[static_cast<std::size_t>(index)].data(), 4, numbers);
    }

    Overprint overprint() const override { return overprint_; }

private:
    Overprint overprint_ = Overprint::replacing;
    std::vector<std::array<std::uint16_t, 4>> palette_;
};

/// Spot colours whose alternate is a managed space (ISO 32000-1, 8.6.6.4 and 8.6.6.5).
class TintDefinition final : public Definition {
public:
    TintDefinition(const GfxColorSpace& original, const Function& tint,
                   std::unique_ptr<GfxColorSpace> alternate, bool targetIsRGB, Overprint overprint)
        : Definition(original), tint_(tint.copy()), alternate_(std::move(alternate)),
          targetIsRGB_(targetIsRGB), overprint_(overprint) {}

    void convert(const GfxColor& color, std::uint16_t* numbers) const override {
        std::array<double, gfxColorMaxComps> in{};
        std::array<double, gfxColorMaxComps> out{};
        for (std::size_t i = 0; i < static_cast<std::size_t>(original().getNComps()); ++i)
            in[i] = colToDbl(color.c[i]);
        tint_->transform(in.data(), out.data());
        GfxColor alternateColor{};
        for (std::size_t i = 0; i < static_cast<std::size_t>(alternate_->getNComps()); ++i)
            alternateColor.c[i] = dblToCol(out[i]);
        convertThrough(*alternate_, targetIsRGB_, alternateColor, numbers);
    }
    Overprint overprint() const override { return overprint_; }

private:
    std::unique_ptr<Function> tint_;
    std::unique_ptr<GfxColorSpace> alternate_;
    bool targetIsRGB_;
    Overprint overprint_;
};

/// Colorants that are the device's own inks: their tints are the numbers, and the alternate is not
/// asked (ISO 32000-1, 8.6.6.4).
class ProcessInkDefinition final : public Definition {
public:
    /// The bits of `inks` say which of the four inks a component of the colour drives.
    ProcessInkDefinition(const GfxColorSpace& original, std::vector<unsigned> inks)
        : Definition(original), inks_(std::move(inks)) {}

    void convert(const GfxColor& color, std::uint16_t* numbers) const override {
        std::fill_n(numbers, 4, 0);
        for (std::size_t i = 0; i < inks_.size(); ++i) {
            const double tint = std::clamp(colToDbl(color.c[i]), 0.0, 1.0);
            for (unsigned ink = 0; ink < 4; ++ink) {
                if (inks_[i] & (1U << ink))
                    numbers[ink] = static_cast<std::uint16_t>(std::lround(tint * 65535));
            }
        }
    }

private:
    std::vector<unsigned> inks_;
};

/// Which inks a colorant name drives, as bits; nothing for a spot colour.
inline std::optional<unsigned> processInks(const std::string& colorant) {
    static const std::map<std::string, unsigned> inks = {
        {"Cyan", 1}, {"Magenta", 2}, {"Yellow", 4}, {"Black", 8}, {"All", 15}, {"None", 0}};
    const auto found = inks.find(colorant);
    if (found == inks.end())
        return std::nullopt;
    return found->second;
}

} // namespace Bleedwise::Poppler
