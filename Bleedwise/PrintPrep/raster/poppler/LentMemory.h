#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <utility>

#include <SplashOutputDev.h>
#include <goo/gmem.h>
#include <splash/SplashBitmap.h>

/// Memory of others for Poppler's bitmaps.
///
/// A part of `PopplerRenderer.cpp`, which alone includes it: no other file sees Poppler.
namespace Bleedwise::Poppler {

/// Poppler allocates its bitmaps itself and has no way of being given another's memory. A private
/// member may be named where a template is instantiated explicitly ([temp.spec.general] of C++20),
/// and that makes it known here.
template <typename Name, typename Name::Member member>
struct Disclosure {
    friend typename Name::Member memberOf(Name /*name*/) { return member; }
};

struct PixelsOfBitmap {
    using Member = SplashColorPtr SplashBitmap::*;
    friend Member memberOf(PixelsOfBitmap name);
};
struct AlphaOfBitmap {
    using Member = unsigned char* SplashBitmap::*;
    friend Member memberOf(AlphaOfBitmap name);
};
struct BitmapOfDevice {
    using Member = SplashBitmap* SplashOutputDev::*;
    friend Member memberOf(BitmapOfDevice name);
};
template struct Disclosure<PixelsOfBitmap, &SplashBitmap::data>;
template struct Disclosure<AlphaOfBitmap, &SplashBitmap::alpha>;
template struct Disclosure<BitmapOfDevice, &SplashOutputDev::bitmap>;

/// The memory that a device's bitmap has for one page.
class LentMemory {
public:
    /// The next page is drawn into `pixels`, if it turns out to have this size.
    void lend(std::uint8_t* pixels, int width, int height) {
        pixels_ = pixels;
        width_ = width;
        height_ = height;
    }

    /// To be called before `device` makes its bitmap for a page, unless it has a fitting one. The
    /// result must live until it has: the drawing of the page before still refers to it.
    std::unique_ptr<SplashBitmap> handOver(SplashOutputDev& device, int width, int height,
                                           SplashColorMode mode) {
        SplashBitmap* current = device.getBitmap();
        const bool isLending = pixels_ && width == width_ && height == height_;
        const bool isFitting = current->getWidth() == width && current->getHeight() == height;
        std::unique_ptr<SplashBitmap> previous;
        if (isLending ? !isFitting : !current->getDataPtr()) {
            // Memory that nothing is written to costs nothing.
            auto fresh = std::make_unique<SplashBitmap>(isLending ? width : 1,
                                                        isLending ? height : 1, 1, mode, true);
            if (isLending)
                reuseAlpha(*current, *fresh);
            previous.reset(current);
            device.*memberOf(BitmapOfDevice()) = current = fresh.release();
        }
        if (!isLending) {
            alphaSize_ = 0; // whose bitmap Poppler then makes
        } else {
            gfree(current->takeData());
            current->*memberOf(PixelsOfBitmap()) = pixels_;
        }
        return previous;
    }

    /// The bitmap keeps its size and has no pixels.
    void takeBack(SplashOutputDev& device) {
        SplashBitmap* bitmap = device.getBitmap(); // none when Poppler's memory is at an end
        if (pixels_ && bitmap && bitmap->getDataPtr() == pixels_)
            bitmap->takeData();
        pixels_ = nullptr;
    }

private:
    /// Parts of pages differ a little in size, and new memory for each takes time.
    void reuseAlpha(SplashBitmap& from, SplashBitmap& to) {
        const auto size = [](const SplashBitmap& bitmap) {
            return static_cast<std::int64_t>(bitmap.getWidth()) * bitmap.getHeight();
        };
        alphaSize_ = std::max(alphaSize_, size(from));
        if (size(to) <= alphaSize_)
            std::swap(from.*memberOf(AlphaOfBitmap()), to.*memberOf(AlphaOfBitmap()));
        else
            alphaSize_ = size(to);
    }

    /// What the alpha values of the bitmap have room for, if it is more than the bitmap's size.
    std::int64_t alphaSize_ = 0;
    std::uint8_t* pixels_ = nullptr;
    int width_ = 0;
    int height_ = 0;
};

} // namespace Bleedwise::Poppler
