#pragma once

#include "PrintPrep/raster/poppler/OpaquePaint.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <list>
#include <memory>
#include <unordered_map>
#include <vector>

#include <GfxFont.h>
#include <GfxState.h>
#include <splash/Splash.h>
#include <splash/SplashBitmap.h>
#include <splash/SplashClip.h>
#include <splash/SplashFont.h>
#include <splash/SplashGlyphBitmap.h>
#include <splash/SplashMath.h>

/// Letters in one opaque colour.
///
/// At a printer's resolution Poppler remembers eight glyphs of a font, draws the others anew each
/// time, and takes each of their pixels through its compositing. Here all glyphs are remembered,
/// and the pixels are those that Poppler gives.
///
/// A part of `PopplerRenderer.cpp`, which alone includes it: no other file sees Poppler. Nothing
/// here may be used outside `PopplerRenderer`'s lock.
namespace Bleedwise::Poppler {

/// What of the graphics state decides about a font's shapes and sizes.
class TextState {
public:
    TextState() = default;
    explicit TextState(const GfxState& state)
        : font_(state.getFont()), size_(state.getFontSize()), scaling_(state.getHorizScaling()) {
        std::copy_n(state.getTextMat(), 4, text_.begin());
        std::copy_n(state.getCTM(), 4, page_.begin());
    }

    bool operator==(const TextState&) const = default;

private:
    std::shared_ptr<GfxFont> font_; // kept, so that no other comes to lie in its place
    double size_ = 0;
    double scaling_ = 0;
    std::array<double, 4> text_{};
    std::array<double, 4> page_{};
};

/// How much of each pixel a glyph covers, from 0 to 255.
struct Glyph {
    int x = 0; // of the origin, from the upper left corner
    int y = 0;
    int width = 0;
    int height = 0;
    std::vector<unsigned char> shape;
};

/// The glyphs of a font in one size and direction. A font is known by the number of its object, or
/// by what Poppler makes up for one without.
struct FontGlyphs {
    Ref font;
    std::array<SplashCoord, 4> matrix;
    std::unordered_map<std::uint64_t, Glyph> glyphs = {};
};

/// Blends `color` with one pixel below as Poppler does for what is neither clipped nor transparent:
/// the union of both alphas, and the colours by their part in it (ISO 32000-1, 11.3.6), rounded in
/// its way. `shape` is not 0.
template <std::size_t channels>
void blendPixel(unsigned char* pixel, unsigned char& alpha, unsigned shape,
                const unsigned char* color) {
    if (shape == 255 || alpha == 0) {
        std::memcpy(pixel, color, channels);
        alpha = static_cast<unsigned char>(shape);
    } else if (alpha == 255) {
        for (std::size_t i = 0; i < channels; ++i)
            pixel[i] =
                static_cast<unsigned char>(((255 - shape) * pixel[i] + shape * color[i]) / 255);
    } else {
        const unsigned both = shape + alpha - dividedBy255(shape * alpha);
        for (std::size_t i = 0; i < channels; ++i)
            pixel[i] =
                static_cast<unsigned char>(((both - shape) * pixel[i] + shape * color[i]) / both);
        alpha = static_cast<unsigned char>(both);
    }
}

template <std::size_t channels>
void paintGlyph(SplashBitmap& bitmap, const Glyph& glyph, int left, int top,
                const unsigned char* color) {
    for (int row = 0; row < glyph.height; ++row) {
        const unsigned char* shape =
            glyph.shape.data() + static_cast<std::ptrdiff_t>(row) * glyph.width;
        unsigned char* pixels = bitmap.getDataPtr() +
                                static_cast<std::ptrdiff_t>(top + row) * bitmap.getRowSize() +
                                static_cast<std::ptrdiff_t>(channels) * left;
        unsigned char* alphas = bitmap.getAlphaPtr() +
                                static_cast<std::ptrdiff_t>(top + row) * bitmap.getAlphaRowSize() +
                                left;
        for (std::size_t x = 0; x < static_cast<std::size_t>(glyph.width); ++x) {
            if (shape[x] != 0)
                blendPixel<channels>(pixels + channels * x, alphas[x], shape[x], color);
        }
    }
}

class GlyphPainter {
public:
    /// Poppler's device has just drawn text in this state, with the font that it calls its current
    /// one.
    void noteFont(const GfxState& state) { fontState_ = TextState(state); }

    /// Fills a glyph of the current font at a place in user space; false when that is Poppler's own
    /// business. Not within transparency groups, some of which blend in other ways.
    bool paint(GfxState& state, Splash& splash, SplashFont* font, double x, double y, CharCode code,
               bool isRGB) {
        if (state.getRender() != 0 || !paintsOpaque(state, splash, isRGB) || !font ||
            !state.getFont() || fontState_ != TextState(state) ||
            !splash.getBitmap()->getAlphaPtr())
            return false;
        const SplashCoord* matrix = splash.getMatrix();
        const double deviceX = x * matrix[0] + y * matrix[2] + matrix[4];
        const double deviceY = x * matrix[1] + y * matrix[3] + matrix[5];
        constexpr double farAway = 1e6; // pixels
        if (!(std::abs(deviceX) < farAway) || !(std::abs(deviceY) < farAway))
            return false;
        const int left = splashFloor(deviceX);
        const int top = splashFloor(deviceY);
        const int fraction = splashFloor((deviceX - left) * splashFontFraction); // not negative
        const Glyph* glyph = glyphOf(state, *font, splash, code, fraction);
        if (!glyph)
            return false;
        const int x0 = left - glyph->x;
        const int y0 = top - glyph->y;
        if (isOutside(*splash.getBitmap(), x0, y0, *glyph))
            return true;
        if (!isInside(splash, x0, y0, *glyph))
            return false;
        SplashColor color = {};
        splash.getFillPattern()->getColor(x0, y0, color);
        if (isRGB)
            paintGlyph<3>(*splash.getBitmap(), *glyph, x0, y0, color);
        else
            paintGlyph<4>(*splash.getBitmap(), *glyph, x0, y0, color);
        return true;
    }

private:
    static bool isOutside(const SplashBitmap& bitmap, int x0, int y0, const Glyph& glyph) {
        return x0 >= bitmap.getWidth() || y0 >= bitmap.getHeight() || x0 + glyph.width <= 0 ||
               y0 + glyph.height <= 0;
    }

    static bool isInside(Splash& splash, int x0, int y0, const Glyph& glyph) {
        const SplashBitmap& bitmap = *splash.getBitmap();
        SplashClip& clip = *splash.getClip();
        const int x1 = x0 + glyph.width;
        const int y1 = y0 + glyph.height;
        return glyph.width > 0 && glyph.height > 0 && x0 >= 0 && y0 >= 0 &&
               x1 <= bitmap.getWidth() && y1 <= bitmap.getHeight() && clip.getNumPaths() == 0 &&
               clip.getXMin() <= x0 && clip.getYMin() <= y0 && x1 <= clip.getXMax() &&
               y1 <= clip.getYMax();
    }

    /// The glyph as Poppler makes it; nothing when there is none, or when it cannot be remembered.
    const Glyph* glyphOf(const GfxState& state, SplashFont& font, Splash& splash, CharCode code,
                         int fraction) {
        auto& glyphs = glyphsOf(state, font);
        const std::uint64_t key =
            std::uint64_t{code} << splashFontFractionBits | static_cast<std::uint64_t>(fraction);
        if (const auto known = glyphs.find(key); known != glyphs.end())
            return &known->second;
        SplashGlyphBitmap made = {};
        SplashClipResult clipped = splashClipAllOutside;
        // Fonts are placed by fractions of a pixel across, but not down. Whatever the glyph's own
        // place is: Poppler does not make those that lie outside of the clip.
        SplashClip& clip = *splash.getClip();
        const int middleX = splashFloor((clip.getXMin() + clip.getXMax()) / 2);
        const int middleY = splashFloor((clip.getYMin() + clip.getYMax()) / 2);
        if (!font.getGlyph(static_cast<int>(code), fraction, 0, &made, middleX, middleY, &clip,
                           &clipped))
            return nullptr;
        const std::unique_ptr<unsigned char, decltype(&std::free)> owned(
            made.freeData ? made.data : nullptr, std::free);
        if (clipped == splashClipAllOutside || !made.aa || !made.data || made.w <= 0 || made.h <= 0)
            return nullptr;
        const std::size_t size =
            static_cast<std::size_t>(made.w) * static_cast<std::size_t>(made.h);
        size_ += size;
        return &glyphs
                    .emplace(key, Glyph{made.x, made.y, made.w, made.h,
                                        std::vector(made.data, made.data + size)})
                    .first->second;
    }

    std::unordered_map<std::uint64_t, Glyph>& glyphsOf(const GfxState& state, SplashFont& font) {
        constexpr std::size_t mostBytes = 16U << 20U;
        constexpr std::size_t mostFonts = 64;
        if (size_ > mostBytes || fonts_.size() > mostFonts) {
            fonts_.clear();
            size_ = 0;
        }
        const Ref wanted = *state.getFont()->getID();
        const SplashCoord* matrix = font.getMatrix();
        const auto found = std::find_if(fonts_.begin(), fonts_.end(), [&](const FontGlyphs& known) {
            return known.font == wanted &&
                   std::equal(known.matrix.begin(), known.matrix.end(), matrix);
        });
        if (found == fonts_.end())
            fonts_.push_front({wanted, {matrix[0], matrix[1], matrix[2], matrix[3]}});
        else
            fonts_.splice(fonts_.begin(), fonts_, found);
        return fonts_.front().glyphs;
    }

    TextState fontState_;
    std::list<FontGlyphs> fonts_; // the last used first
    std::size_t size_ = 0;        // of all glyphs, in bytes
};

} // namespace Bleedwise::Poppler
