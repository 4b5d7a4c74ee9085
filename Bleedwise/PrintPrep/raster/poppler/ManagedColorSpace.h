#pragma once

#include "PrintPrep/raster/ColorConverter.h"
#include "PrintPrep/raster/Profile.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <GfxState.h>

/// What colours of a document are converted to, and the colour space that stands in for one of the
/// document's.
///
/// A part of `PopplerRenderer.cpp`, which alone includes it: no other file sees Poppler. Nothing
/// here may be used outside `PopplerRenderer`'s lock.
namespace Bleedwise::Poppler {

/// What the device composites in, and so what colours are converted to.
struct Target {
    /// The profile of the numbers in the bitmap.
    Profile profile;
    /// Whether the bitmap is RGB, as the page's transparency group asks, and not CMYK.
    bool isRGB = false;
    /// Tells this profile from every other.
    std::string name;
};

inline constexpr const char* sRGBName = "sRGB";

/// A number from 0 to 65535 as Poppler's, from 0 to 65536.
inline GfxColorComp component(std::uint16_t number) {
    return number + (number >> 15);
}

/// What becomes of the inks below where a colour overprints.
enum class Overprint {
    /// Process colours: Poppler knows.
    replacing,
    /// Spot colours together with process colours: inks that the colour does without stay.
    replacingItsInks,
    /// Spot colours: their inks are the proof of one that stands beside the others, and are added.
    adding,
};

/// What a colour space of Poppler's lacks: how its numbers become the target's. Immutable.
class Definition {
public:
    explicit Definition(const GfxColorSpace& original) : original_(original.copy()) {}
    virtual ~Definition() = default;
    Definition(const Definition&) = delete;
    Definition& operator=(const Definition&) = delete;

    /// One colour to numbers of the target from 0 to 65535.
    virtual void convert(const GfxColor& color, std::uint16_t* numbers) const = 0;

    /// Whether bytes of an image row can be converted without going through `GfxColor`.
    virtual bool convertsRows() const { return false; }
    virtual void convertRow(const unsigned char*, unsigned char*, int) const {}

    virtual Overprint overprint() const { return Overprint::replacing; }

    GfxColorSpace& original() const { return *original_; }

private:
    std::unique_ptr<GfxColorSpace> original_;
};

enum class Effort {
    /// Few colours: as the profiles tell.
    precise,
    /// An image large enough for a table of four channels.
    table,
    /// A shading, which asks for each pixel and gets similar colours again and again.
    remembered,
};

/// Conversions of colours that were asked for lately. A colour stands for all that agree with it in
/// ten bits per channel, whichever came first, so that the result does not depend on the order.
class RememberedColors {
public:
    void convert(const ColorConverter& converter, const double* source, std::uint16_t* numbers) {
        const auto channels = static_cast<std::size_t>(converter.sourceChannels());
        std::uint64_t key = 1; // no entry has the key 0
        for (std::size_t i = 0; i < channels; ++i) {
            const double level = std::clamp(source[i], 0.0, 1.0) * levels;
            // NOLINTNEXTLINE(bugprone-incorrect-roundings): right from 0 to 1023, and quicker
            key = key << 10U | static_cast<unsigned>(level + 0.5);
        }
        constexpr std::uint64_t spread = 0x9e3779b97f4a7c15; // 2^64 / golden ratio
        Entry& entry = entries_[key * spread >> (64 - indexBits)];
        if (entry.key != key) {
            std::array<double, 4> rounded{};
            for (std::size_t i = 0; i < channels; ++i)
                rounded[i] = static_cast<double>(key >> (10 * (channels - 1 - i)) & 1023U) / levels;
            converter.convert(rounded.data(), entry.numbers.data());
            entry.key = key;
        }
        std::copy(entry.numbers.begin(), entry.numbers.end(), numbers);
    }

private:
    static constexpr double levels = 1023;
    static constexpr unsigned indexBits = 14;

    struct Entry {
        std::uint64_t key = 0;
        std::array<std::uint16_t, 4> numbers{};
    };
    std::vector<Entry> entries_ = std::vector<Entry>(std::size_t{1} << indexBits);
};

/// The colour space that stands in for one of the document's in everything that is painted: the
/// same numbers, another way to ink. What it is not asked to manage, as in soft masks with a colour
/// space of their own, it leaves to the original.
class ManagedColorSpace final : public GfxColorSpace {
public:
    ManagedColorSpace(std::shared_ptr<const Definition> definition, bool targetIsRGB, Intent intent)
        : definition_(std::move(definition)), targetIsRGB_(targetIsRGB), intent_(intent) {
        overprintMask = original().getMode() == csIndexed
                            ? static_cast<GfxIndexedColorSpace&>(original()).getOverprintMask()
                            : original().getOverprintMask();
    }

    GfxColorSpace* copy() const override {
        auto* duplicate = new ManagedColorSpace(definition_, targetIsRGB_, intent_);
        duplicate->overprintMask = overprintMask;
        return duplicate;
    }

    /// Not the original's: Poppler takes some modes as leave to cast to its own class.
    GfxColorSpaceMode getMode() const override { return csCalRGB; }

    void getGray(const GfxColor* color, GfxGray* gray) const override {
        original().getGray(color, gray);
    }
    void getRGB(const GfxColor* color, GfxRGB* rgb) const override {
        if (!targetIsRGB_)
            return original().getRGB(color, rgb);
        std::array<std::uint16_t, 4> numbers{};
        definition_->convert(*color, numbers.data());
        *rgb = {component(numbers[0]), component(numbers[1]), component(numbers[2])};
    }
    void getCMYK(const GfxColor* color, GfxCMYK* cmyk) const override {
        if (targetIsRGB_)
            return original().getCMYK(color, cmyk);
        std::array<std::uint16_t, 4> numbers{};
        definition_->convert(*color, numbers.data());
        *cmyk = {component(numbers[0]), component(numbers[1]), component(numbers[2]),
                 component(numbers[3])};
    }
    void getDeviceN(const GfxColor* color, GfxColor* deviceN) const override {
        original().getDeviceN(color, deviceN);
    }

    bool useGetGrayLine() const override { return original().useGetGrayLine(); }
    bool useGetRGBLine() const override {
        return targetIsRGB_ ? definition_->convertsRows() : original().useGetRGBLine();
    }
    bool useGetCMYKLine() const override {
        return targetIsRGB_ ? original().useGetCMYKLine() : definition_->convertsRows();
    }
    void getGrayLine(unsigned char* in, unsigned char* out, int length) override {
        original().getGrayLine(in, out, length);
    }
    void getRGBLine(unsigned char* in, unsigned char* out, int length) override {
        if (targetIsRGB_)
            definition_->convertRow(in, out, length);
        else
            original().getRGBLine(in, out, length);
    }
    void getCMYKLine(unsigned char* in, unsigned char* out, int length) override {
        if (targetIsRGB_)
            original().getCMYKLine(in, out, length);
        else
            definition_->convertRow(in, out, length);
    }

    int getNComps() const override { return original().getNComps(); }
    void getDefaultColor(GfxColor* color) const override { original().getDefaultColor(color); }
    void getDefaultRanges(double* low, double* range, int largestPixel) const override {
        original().getDefaultRanges(low, range, largestPixel);
    }
    bool isNonMarking() const override { return original().isNonMarking(); }

    GfxColorSpace& original() const { return definition_->original(); }
    Intent intent() const { return intent_; }
    Overprint overprint() const { return definition_->overprint(); }
    void setOverprintMask(unsigned mask) { overprintMask = mask; }

private:
    std::shared_ptr<const Definition> definition_;
    bool targetIsRGB_;
    Intent intent_;
};

} // namespace Bleedwise::Poppler
