#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include <GfxState.h>
#include <Object.h>
#include <Stream.h>

/// Images that come already mixed with a matte colour.
///
/// A part of `PopplerRenderer.cpp`, which alone includes it: no other file sees Poppler. Nothing
/// here may be used outside `PopplerRenderer`'s lock.
namespace Bleedwise::Poppler {

/// An image without its matte, and its mask, both of a byte per component. Poppler takes the matte
/// out after colours have been converted, which is right in the image's own space only
/// (ISO 32000-1, 11.6.5.3).
class UnmattedImage {
public:
    /// Reads both streams to their end. Nothing when there is no matte, when the mask has another
    /// size than the image, which is not allowed, or when the two are too large to keep.
    static std::optional<UnmattedImage> of(Stream& image, int width, int height,
                                           GfxImageColorMap& map, Stream& mask, int maskWidth,
                                           int maskHeight, GfxImageColorMap& maskMap) {
        constexpr double mostBytes = 1U << 28U;
        const GfxColor* matte = maskMap.getMatteColor();
        const int channels = map.getNumPixelComps();
        if (!matte || width != maskWidth || height != maskHeight || width < 1 || height < 1 ||
            map.getColorSpace()->getMode() == csIndexed ||
            (channels + 1.0) * width * height > mostBytes)
            return std::nullopt;
        UnmattedImage result;
        result.readMask(mask, width, height, maskMap);
        result.readColors(image, width, height, map, *matte);
        return result;
    }

    std::unique_ptr<Stream> colors() const { return streamOf(colors_); }
    std::unique_ptr<Stream> mask() const { return streamOf(mask_); }

private:
    static std::unique_ptr<Stream> streamOf(const std::vector<unsigned char>& bytes) {
        return std::make_unique<MemStream>(reinterpret_cast<const char*>(bytes.data()), 0,
                                           static_cast<Goffset>(bytes.size()), Object(objNull));
    }

    void readMask(Stream& stream, int width, int height, GfxImageColorMap& map) {
        const auto channels = static_cast<std::size_t>(map.getNumPixelComps());
        const auto count = static_cast<std::size_t>(width);
        mask_.reserve(count * static_cast<std::size_t>(height));
        ImageStream reader(&stream, width, map.getNumPixelComps(), map.getBits());
        reader.reset();
        for (int y = 0; y < height; ++y) {
            const unsigned char* row = reader.getLine();
            for (std::size_t x = 0; row && x < count; ++x) {
                GfxGray alpha = 0;
                map.getGray(row + channels * x, &alpha);
                mask_.push_back(colToByte(alpha));
            }
        }
        reader.close();
        mask_.resize(count * static_cast<std::size_t>(height));
    }

    /// ISO 32000-1, 11.6.5.3: c = m + (c' - m) / alpha, here on samples, which are linear in c.
    void readColors(Stream& stream, int width, int height, GfxImageColorMap& map,
                    const GfxColor& matte) {
        const auto channels = static_cast<std::size_t>(map.getNumPixelComps());
        const auto count = channels * static_cast<std::size_t>(width);
        std::array<double, gfxColorMaxComps> matteSample{};
        for (std::size_t i = 0; i < channels; ++i) {
            const double low = map.getDecodeLow(static_cast<int>(i));
            const double range = map.getDecodeHigh(static_cast<int>(i)) - low;
            matteSample[i] = range != 0 ? (colToDbl(matte.c[i]) - low) / range * 255 : 0;
        }
        const int largest = map.getBits() >= 8 ? 255 : (1 << map.getBits()) - 1;
        colors_.resize(count * static_cast<std::size_t>(height));
        ImageStream reader(&stream, width, map.getNumPixelComps(), map.getBits());
        reader.reset();
        for (std::size_t y = 0; y < static_cast<std::size_t>(height); ++y) {
            const unsigned char* row = reader.getLine();
            for (std::size_t i = 0; row && i < count; ++i) {
                const double alpha = mask_[(y * count + i) / channels] / 255.0;
                const double m = matteSample[i % channels];
                const double mixed = row[i] * 255.0 / largest;
                const double sample = alpha > 0 ? m + (mixed - m) / alpha : mixed;
                colors_[y * count + i] =
                    static_cast<unsigned char>(std::lround(std::clamp(sample, 0.0, 255.0)));
            }
        }
        reader.close();
    }

    std::vector<unsigned char> colors_;
    std::vector<unsigned char> mask_;
};

} // namespace Bleedwise::Poppler
