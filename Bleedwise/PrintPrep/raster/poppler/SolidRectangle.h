#pragma once

#include "PrintPrep/raster/poppler/OpaquePaint.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <utility>
#include <vector>

#include <GfxState.h>
#include <splash/Splash.h>
#include <splash/SplashBitmap.h>
#include <splash/SplashClip.h>
#include <splash/SplashPath.h>

/// Large rectangles of one opaque colour, as backgrounds are.
///
/// Poppler takes every pixel of an area through its compositing. Where nothing shines through and
/// no edge is near, the result is the colour itself: that part is written straight into the bitmap,
/// and Poppler gets the frame around it. The pixels are the same.
///
/// A part of `PopplerRenderer.cpp`, which alone includes it: no other file sees Poppler. Nothing
/// here may be used outside `PopplerRenderer`'s lock.
namespace Bleedwise::Poppler {

/// The sides of an upright rectangle along one axis, the lesser in device space first.
struct Sides {
    double user0 = 0;
    double user1 = 0;
    double scale = 1;
    double offset = 0;

    static Sides between(double a, double b, double scale, double offset) {
        return a * scale <= b * scale ? Sides{a, b, scale, offset} : Sides{b, a, scale, offset};
    }
    double device0() const { return user0 * scale + offset; }
    double device1() const { return user1 * scale + offset; }
    double toUser(int device) const { return (device - offset) / scale; }
};

/// Pixels of the bitmap, the last ones not included.
struct PixelRange {
    int first = 0;
    int last = 0;

    std::int64_t count() const { return std::max(0, last - first); }
};

/// A position as a pixel's number, at most `size`.
inline int pixelAt(double position, int size) {
    return position > 0 ? static_cast<int>(std::min(position, static_cast<double>(size))) : 0;
}

/// Between the sides of a clip without paths, pixels that they do not touch. Where they let all of
/// the bitmap's `size` pixels through there are no sides to be kept from.
inline PixelRange insideClip(double clip0, double clip1, int size) {
    constexpr int margin = 2;
    // Of the four samples along a pixel's side, Poppler's own clip for the bitmap, which ends a
    // little before it, misses none.
    constexpr double sample = 0.25;
    return {clip0 <= 0 ? 0 : pixelAt(std::ceil(clip0), size) + margin,
            clip1 > size - sample ? size : pixelAt(std::floor(clip1), size) - margin};
}

/// The pixels between the sides that neither the sides nor the clip's touch. Poppler moves sides to
/// pixels' edges, at most half a pixel away.
inline PixelRange interior(const Sides& sides, double clip0, double clip1, int size) {
    const PixelRange clipped = insideClip(clip0, clip1, size);
    const PixelRange range = insideClip(sides.device0() + 1, sides.device1() - 1, size);
    return {std::max(clipped.first, range.first), std::min(clipped.last, range.last)};
}

/// The sides of the path if it is one upright rectangle, across and down.
inline std::optional<std::pair<Sides, Sides>> rectangle(const GfxState& state) {
    const GfxPath& path = *state.getPath();
    const double* ctm = state.getCTM();
    if (path.getNumSubpaths() != 1 || ctm[1] != 0 || ctm[2] != 0 || !std::isnormal(ctm[0]) ||
        !std::isnormal(ctm[3]))
        return std::nullopt;
    const GfxSubpath& points = *path.getSubpath(0);
    const int count = points.getNumPoints();
    if (count != 4 &&
        !(count == 5 && points.getX(4) == points.getX(0) && points.getY(4) == points.getY(0)))
        return std::nullopt;
    for (int i = 0; i < count; ++i) {
        if (points.getCurve(i))
            return std::nullopt;
    }
    const auto sameX = [&](int a, int b) { return points.getX(a) == points.getX(b); };
    const auto sameY = [&](int a, int b) { return points.getY(a) == points.getY(b); };
    if (!(sameY(0, 1) && sameX(1, 2) && sameY(2, 3) && sameX(3, 0)) &&
        !(sameX(0, 1) && sameY(1, 2) && sameX(2, 3) && sameY(3, 0)))
        return std::nullopt;
    return std::pair(Sides::between(points.getX(0), points.getX(2), ctm[0], ctm[4]),
                     Sides::between(points.getY(0), points.getY(2), ctm[3], ctm[5]));
}

inline void fillRectangle(Splash& splash, double x0, double y0, double x1, double y1) {
    SplashPath path;
    path.moveTo(x0, y0);
    path.lineTo(x1, y0);
    path.lineTo(x1, y1);
    path.lineTo(x0, y1);
    path.close();
    splash.fill(&path, false);
}

/// Writes opaque pixels into a row of the bitmap.
inline void copyPixels(SplashBitmap& bitmap, PixelRange across, int y, const unsigned char* row) {
    const std::size_t channels = bitmap.getMode() == splashModeRGB8 ? 3 : 4;
    const auto count = static_cast<std::size_t>(across.count());
    std::memcpy(bitmap.getDataPtr() + static_cast<std::ptrdiff_t>(y) * bitmap.getRowSize() +
                    static_cast<std::ptrdiff_t>(channels) * across.first,
                row, channels * count);
    if (unsigned char* alpha = bitmap.getAlphaPtr())
        std::fill_n(alpha + static_cast<std::ptrdiff_t>(y) * bitmap.getAlphaRowSize() +
                        across.first,
                    count, 255);
}

inline void fillPixels(Splash& splash, PixelRange across, PixelRange down) {
    SplashBitmap& bitmap = *splash.getBitmap();
    const std::size_t channels = bitmap.getMode() == splashModeRGB8 ? 3 : 4;
    SplashColor color = {};
    splash.getFillPattern()->getColor(across.first, down.first, color);
    std::vector<unsigned char> row(channels * static_cast<std::size_t>(across.count()));
    for (std::size_t pixel = 0; pixel < row.size(); pixel += channels)
        std::copy_n(color, channels, row.data() + pixel);
    for (int y = down.first; y < down.last; ++y)
        copyPixels(bitmap, across, y, row.data());
}

/// Fills the current path; false when that is Poppler's own business.
inline bool fillSolidRectangle(GfxState& state, Splash& splash, bool isRGB) {
    if (!paintsOpaque(state, splash, isRGB) || splash.getClip()->getNumPaths() != 0 ||
        !splash.getStrokeAdjust() || !splash.getVectorAntialias())
        return false;
    const auto sides = rectangle(state);
    if (!sides)
        return false;
    const auto& [x, y] = *sides;
    SplashClip& clip = *splash.getClip();
    const SplashBitmap& bitmap = *splash.getBitmap();
    const PixelRange across = interior(x, clip.getXMin(), clip.getXMax(), bitmap.getWidth());
    const PixelRange down = interior(y, clip.getYMin(), clip.getYMax(), bitmap.getHeight());
    constexpr std::int64_t worthwhile = 2'500; // pixels
    if (across.count() * down.count() < worthwhile)
        return false;

    constexpr unsigned allInks = 0xffffffff;
    splash.setOverprintMask(allInks, false); // not that of what was painted before
    const double left = x.toUser(across.first);
    const double right = x.toUser(across.last);
    const double top = y.toUser(down.first);
    const double bottom = y.toUser(down.last);
    if (down.first > 0)
        fillRectangle(splash, x.user0, y.user0, x.user1, top);
    if (down.last < bitmap.getHeight())
        fillRectangle(splash, x.user0, bottom, x.user1, y.user1);
    if (across.first > 0)
        fillRectangle(splash, x.user0, top, left, bottom);
    if (across.last < bitmap.getWidth())
        fillRectangle(splash, right, top, x.user1, bottom);
    fillPixels(splash, across, down);
    return true;
}

} // namespace Bleedwise::Poppler
