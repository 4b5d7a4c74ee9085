#pragma once

#include "PrintPrep/raster/poppler/ImageScaling.h"
#include "PrintPrep/raster/poppler/OpaquePaint.h"
#include "PrintPrep/raster/poppler/SolidRectangle.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>

#include <GfxState.h>
#include <Stream.h>
#include <splash/Splash.h>
#include <splash/SplashBitmap.h>
#include <splash/SplashClip.h>

/// Large upright images without a mask, as photographs are.
///
/// Poppler converts and scales all of an image, whichever part of it is on the bitmap, and takes
/// every pixel through its compositing. Here the rows that count are scaled straight into the
/// bitmap, where nothing shines through and no edge is near; Poppler gets the frame around them,
/// in its final size. The pixels are the same.
///
/// A part of `PopplerRenderer.cpp`, which alone includes it: no other file sees Poppler. Nothing
/// here may be used outside `PopplerRenderer`'s lock.
namespace Bleedwise::Poppler {

/// Pixels of the frame that Poppler draws as they are.
class FramePiece {
public:
    FramePiece(PixelRange across, PixelRange down, std::size_t channels)
        : across_(across), down_(down), channels_(channels),
          rowBytes_(channels * static_cast<std::size_t>(across.count())) {}

    /// Takes its part of a row of pixels that begins at `left`.
    void add(int y, int left, const unsigned char* row) {
        if (y < down_.first || y >= down_.last)
            return;
        const unsigned char* first =
            row + channels_ * static_cast<std::size_t>(across_.first - left);
        bytes_.insert(bytes_.end(), first, first + rowBytes_);
    }

    /// After all of its rows have been added.
    void draw(Splash& splash) {
        if (bytes_.empty())
            return;
        const auto width = static_cast<int>(across_.count());
        const auto height = static_cast<int>(down_.count());
        // Poppler gives an image every pixel that it touches.
        std::array<SplashCoord, 6> place = {
            width - 0.5, 0, 0, height - 0.5, across_.first + 0.25, down_.first + 0.25};
        splash.drawImage(nextRow, nullptr, this, splash.getBitmap()->getMode(), false, width,
                         height, place.data(), false);
    }

private:
    static bool nextRow(void* pointer, SplashColorPtr row, unsigned char* /*alphas*/) {
        auto& piece = *static_cast<FramePiece*>(pointer);
        std::copy_n(piece.bytes_.data() + piece.drawn_, piece.rowBytes_, row);
        piece.drawn_ += piece.rowBytes_;
        return true;
    }

    PixelRange across_;
    PixelRange down_;
    std::size_t channels_;
    std::size_t rowBytes_;
    Bytes bytes_;
    std::size_t drawn_ = 0;
};

/// Where an upright image lies on the bitmap: every pixel that it touches.
struct ImagePlace {
    PixelRange across;
    PixelRange down;

    /// Nothing for others, and for those that lie upside down.
    static std::optional<ImagePlace> of(const GfxState& state) {
        constexpr double furthest = 1 << 24;
        const double* ctm = state.getCTM();
        const double left = ctm[2] + ctm[4];
        const double top = ctm[3] + ctm[5];
        if (ctm[1] != 0 || ctm[2] != 0 || !(ctm[0] > 0) || !(ctm[3] < 0) ||
            !(std::abs(left) < furthest) || !(std::abs(top) < furthest) || !(ctm[0] < furthest) ||
            !(-ctm[3] < furthest))
            return std::nullopt;
        const auto pixel = [](double position) { return static_cast<int>(std::floor(position)); };
        return ImagePlace{{pixel(left), pixel(ctm[0] + left) + 1},
                          {pixel(top), pixel(-ctm[3] + top) + 1}};
    }
};

/// What a clip without paths leaves of a range.
struct ClippedRange {
    /// Every pixel that the clip lets through, and some next to them.
    PixelRange all;
    /// Those that it does not touch.
    PixelRange inner;

    ClippedRange(PixelRange range, double clip0, double clip1, int size)
        : all{std::max(range.first, pixelAt(std::floor(clip0) - 1, size)),
              std::min(range.last, pixelAt(std::floor(clip1) + 2, size))} {
        const PixelRange inside = insideClip(clip0, clip1, size);
        inner.first = std::min(std::max(all.first, inside.first), all.last);
        inner.last = std::max(std::min(all.last, inside.last), inner.first);
    }
};

/// Whether an image of so many samples is worth the while, and Poppler would draw it. Nothing here
/// depends on which part of the page is drawn, so that all parts agree.
inline bool isOfFairSize(int width, int height, const ImagePlace& place, std::size_t channels) {
    constexpr std::int64_t leastPixels = 2'500;
    constexpr std::int64_t mostBytes = std::numeric_limits<int>::max();
    constexpr int mostColumns = 1 << 20;
    constexpr std::int64_t mostSamples = 1 << 30;
    const std::int64_t pixels = place.across.count() * place.down.count();
    return width >= 1 && height >= 1 && width <= mostColumns &&
           std::int64_t{width} * height <= mostSamples && pixels >= leastPixels &&
           pixels <= mostBytes / static_cast<std::int64_t>(channels);
}

/// Draws an image of `width` × `height` samples; false when that is Poppler's own business.
inline bool paintImage(GfxState& state, Splash& splash, bool isRGB, Stream& stream, int width,
                       int height, GfxImageColorMap& map, bool interpolate) {
    const auto place = ImagePlace::of(state);
    if (!place || !isOfFairSize(width, height, *place, isRGB ? 3 : 4) ||
        !paintsOpaque(state, splash, isRGB) || splash.getClip()->getNumPaths() != 0)
        return false;
    SplashClip& clip = *splash.getClip();
    SplashBitmap& bitmap = *splash.getBitmap();
    const ClippedRange across(place->across, clip.getXMin(), clip.getXMax(), bitmap.getWidth());
    const ClippedRange down(place->down, clip.getYMin(), clip.getYMax(), bitmap.getHeight());
    if (across.all.count() == 0 || down.all.count() == 0)
        return true;
    const auto wide = static_cast<int>(place->across.count());
    const auto high = static_cast<int>(place->down.count());
    if ((wide < width) != (high < height))
        return false;
    ImageRows rows(stream, width, map, isRGB);
    const PixelRange columns = {across.all.first - place->across.first,
                                across.all.last - place->across.first};
    const auto scaled = scaledRows(rows, height, wide, high, columns, interpolate);
    constexpr unsigned allInks = 0xffffffff;
    splash.setOverprintMask(allInks, false); // not that of what was painted before

    const std::size_t channels = rows.channels();
    std::array frame = {
        FramePiece(across.all, {down.all.first, down.inner.first}, channels),
        FramePiece({across.all.first, across.inner.first}, down.inner, channels),
        FramePiece({across.inner.last, across.all.last}, down.inner, channels),
        FramePiece(across.all, {down.inner.last, down.all.last}, channels),
    };
    for (int y = down.all.first; y < down.all.last; ++y) {
        const unsigned char* row = scaled->row(y - place->down.first);
        for (FramePiece& piece : frame)
            piece.add(y, across.all.first, row);
        if (y >= down.inner.first && y < down.inner.last)
            copyPixels(bitmap, across.inner, y,
                       row + channels *
                                 static_cast<std::size_t>(across.inner.first - across.all.first));
    }
    for (FramePiece& piece : frame)
        piece.draw(splash);
    return true;
}

} // namespace Bleedwise::Poppler
