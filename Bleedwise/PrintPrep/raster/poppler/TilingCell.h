#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <vector>

#include <GfxState.h>
#include <splash/Splash.h>
#include <splash/SplashBitmap.h>
#include <splash/SplashPattern.h>

/// Tiling patterns at their exact pitch.
///
/// Poppler draws a cell once, rounds it to whole pixels and lays it side by side: over a large area
/// the rounding adds up to millimetres. Cells drawn one by one are where they belong, but the edges
/// between them show as fine lines, since half-covered pixels let what is below shine through
/// twice. Here the cell is drawn once, several times larger than it appears and so that its sides
/// fall between samples, and each pixel of the page takes the mean of the samples that it covers.
///
/// A part of `PopplerRenderer.cpp`, which alone includes it: no other file sees Poppler. Nothing
/// here may be used outside `PopplerRenderer`'s lock.
namespace Bleedwise::Poppler {

/// From the bitmap's pixels to the cells of a pattern: cell i has the coordinates from i to i + 1,
/// across and, as rows of a bitmap are, down.
struct CellGrid {
    double xx = 0;
    double xy = 0;
    double yx = 0;
    double yy = 0;
    double x0 = 0;
    double y0 = 0;
    /// A cell's sides in pixels of the bitmap.
    double width = 0;
    double height = 0;

    double across(double x, double y) const { return x * xx + y * yx + x0; }
    double down(double x, double y) const { return x * xy + y * yy + y0; }

    /// Nothing where the cell has no area. `matrix` takes the pattern to user space.
    static std::optional<CellGrid> of(const GfxState& state, const GfxTilingPattern& pattern,
                                      const double* matrix, double xStep, double yStep) {
        const double* m = matrix;
        const double* ctm = state.getCTM();
        const double a = xStep * (m[0] * ctm[0] + m[1] * ctm[2]);
        const double b = xStep * (m[0] * ctm[1] + m[1] * ctm[3]);
        const double c = -yStep * (m[2] * ctm[0] + m[3] * ctm[2]);
        const double d = -yStep * (m[2] * ctm[1] + m[3] * ctm[3]);
        const double e = m[4] * ctm[0] + m[5] * ctm[2] + ctm[4];
        const double f = m[4] * ctm[1] + m[5] * ctm[3] + ctm[5];
        const double determinant = a * d - b * c;
        if (!std::isnormal(determinant) || !std::isfinite(e + f))
            return std::nullopt;
        CellGrid grid;
        grid.xx = d / determinant;
        grid.xy = -b / determinant;
        grid.yx = -c / determinant;
        grid.yy = a / determinant;
        const double* box = pattern.getBBox();
        grid.x0 = -(e * grid.xx + f * grid.yx) - box[0] / xStep;
        grid.y0 = -(e * grid.xy + f * grid.yy) + box[1] / yStep;
        grid.width = std::hypot(a, b);
        grid.height = std::hypot(c, d);
        const double sum = grid.xx + grid.xy + grid.yx + grid.yy + grid.x0 + grid.y0;
        if (!std::isfinite(sum) || !std::isfinite(grid.width + grid.height))
            return std::nullopt;
        return grid;
    }
};

/// How finely a cell is drawn: how many samples one pixel of the page takes the mean of, and how
/// many the cell has, along each side.
struct CellSamples {
    int perPixelAcross = 1;
    int perPixelDown = 1;
    int across = 1;
    int down = 1;

    /// Nothing for a cell so large that fewer than two samples per pixel would have to do.
    static std::optional<CellSamples> of(const CellGrid& grid) {
        int acrossWanted = wanted(grid.width);
        int downWanted = wanted(grid.height);
        for (;;) {
            const double across = std::max(leastPerCell, std::round(grid.width * acrossWanted));
            const double down = std::max(leastPerCell, std::round(grid.height * downWanted));
            if (across * down <= mostSamples && std::max(across, down) <= longestSide)
                return CellSamples{acrossWanted, downWanted, static_cast<int>(across),
                                   static_cast<int>(down)};
            int& larger = acrossWanted > downWanted ? acrossWanted : downWanted;
            if (larger <= 2)
                return std::nullopt;
            --larger;
        }
    }

    bool operator==(const CellSamples&) const = default;

private:
    static constexpr double leastPerCell = 16;
    static constexpr double mostSamples = 4'000'000;
    static constexpr double longestSide = 16'000;

    /// Small cells get more, so that what is left of rounding their sides to samples is little.
    static int wanted(double side) {
        constexpr double leastPerSide = 64;
        return static_cast<int>(std::clamp(std::ceil(leastPerSide / side), 4.0, 64.0));
    }
};

/// What a pixel of the page shows, by the sample of the cell that its upper left corner lies on.
class CellTexture {
public:
    /// Of a drawn cell with as many pixels as `samples` says and with alpha.
    CellTexture(SplashBitmap& cell, const CellSamples& samples)
        : samples_(samples), channels_(cell.getMode() == splashModeRGB8 ? 3 : 4),
          pixels_((channels_ + 1) * static_cast<std::size_t>(samples.across) *
                  static_cast<std::size_t>(samples.down)) {
        std::vector<std::uint32_t> sums((channels_ + 1) * static_cast<std::size_t>(samples.across));
        std::vector<std::uint32_t> row(sums.size());
        for (int y = 0; y < samples.perPixelDown; ++y) {
            addAcross(cell, y % samples.down, row);
            std::transform(sums.begin(), sums.end(), row.begin(), sums.begin(), std::plus<>());
        }
        for (int y = 0; y < samples.down; ++y) {
            writeMeans(sums, y);
            addAcross(cell, y, row);
            std::transform(sums.begin(), sums.end(), row.begin(), sums.begin(), std::minus<>());
            addAcross(cell, (y + samples.perPixelDown) % samples.down, row);
            std::transform(sums.begin(), sums.end(), row.begin(), sums.begin(), std::plus<>());
        }
    }

    const CellSamples& samples() const { return samples_; }

    /// Writes a row of pixels from (x, y) on: colours, unless `colors` is null, and alpha.
    void copyRow(const CellGrid& grid, int x, int y, int count, unsigned char* colors,
                 unsigned char* alpha) const {
        constexpr double middle = 0.5;
        for (int i = 0; i < count; ++i) {
            const double pixelX = x + i + middle;
            const double pixelY = y + middle;
            const std::size_t column =
                sample(grid.across(pixelX, pixelY), samples_.across, samples_.perPixelAcross);
            const std::size_t row =
                sample(grid.down(pixelX, pixelY), samples_.down, samples_.perPixelDown);
            const unsigned char* pixel =
                pixels_.data() +
                (channels_ + 1) * (row * static_cast<std::size_t>(samples_.across) + column);
            if (colors)
                colors = std::copy_n(pixel, channels_, colors);
            *alpha++ = pixel[channels_];
        }
    }

private:
    /// The first of the samples around a place in the pattern.
    static std::size_t sample(double position, int count, int window) {
        const double inCell = (position - std::floor(position)) * count;
        int index = static_cast<int>(std::floor(inCell - window * 0.5 + 0.5)) % count;
        return static_cast<std::size_t>(index < 0 ? index + count : index);
    }

    /// For each sample of a row, the sum of those from it on that one pixel covers: colours by
    /// alpha, then alpha. The cell goes on at its other side.
    void addAcross(SplashBitmap& cell, int y, std::vector<std::uint32_t>& sums) const {
        const unsigned char* colors =
            cell.getDataPtr() + static_cast<std::ptrdiff_t>(y) * cell.getRowSize();
        const unsigned char* alphas =
            cell.getAlphaPtr() + static_cast<std::ptrdiff_t>(y) * cell.getAlphaRowSize();
        std::array<std::uint32_t, 5> sum{};
        const auto count = static_cast<std::size_t>(samples_.across);
        const auto add = [&](std::size_t x, std::uint32_t sign) {
            const std::uint32_t alpha = sign * alphas[x];
            for (std::size_t i = 0; i < channels_; ++i)
                sum[i] += alpha * colors[channels_ * x + i];
            sum[channels_] += alpha;
        };
        const auto window = static_cast<std::size_t>(samples_.perPixelAcross);
        for (std::size_t x = 0; x < window; ++x)
            add(x % count, 1);
        for (std::size_t x = 0; x < count; ++x) {
            std::copy_n(sum.data(), channels_ + 1, sums.data() + (channels_ + 1) * x);
            add(x, ~std::uint32_t{0}); // modulo 2^32: subtracts
            add((x + window) % count, 1);
        }
    }

    void writeMeans(const std::vector<std::uint32_t>& sums, int y) {
        const auto window =
            static_cast<std::uint32_t>(samples_.perPixelAcross * samples_.perPixelDown);
        const auto count = static_cast<std::size_t>(samples_.across);
        unsigned char* out = pixels_.data() + (channels_ + 1) * count * static_cast<std::size_t>(y);
        for (std::size_t x = 0; x < count; ++x) {
            const std::uint32_t* sum = sums.data() + (channels_ + 1) * x;
            const std::uint32_t alpha = sum[channels_];
            for (std::size_t i = 0; i < channels_; ++i)
                *out++ = static_cast<unsigned char>(alpha ? (sum[i] + alpha / 2) / alpha : 0);
            *out++ = static_cast<unsigned char>((alpha + window / 2) / window);
        }
    }

    CellSamples samples_;
    std::size_t channels_;
    std::vector<unsigned char> pixels_;
};

/// Cells of a pattern, the last ones not included.
struct CellRange {
    int x0 = 0;
    int y0 = 0;
    int x1 = 0;
    int y1 = 0;
};

/// The pixels of the bitmap that the clip lets through, as two corners.
struct ClippedPixels {
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;

    bool isEmpty() const { return left >= right || top >= bottom; }

    static ClippedPixels of(const GfxState& state, const SplashBitmap& bitmap) {
        double left = 0;
        double top = 0;
        double right = 0;
        double bottom = 0;
        state.getClipBBox(&left, &top, &right, &bottom);
        const auto bounded = [](double position, int size) {
            return static_cast<int>(std::clamp(position, 0.0, static_cast<double>(size)));
        };
        return {bounded(std::floor(left), bitmap.getWidth()),
                bounded(std::floor(top), bitmap.getHeight()),
                bounded(std::ceil(right), bitmap.getWidth()),
                bounded(std::ceil(bottom), bitmap.getHeight())};
    }
};

/// Whether the pixels show but one cell of the grid.
inline bool showOneCell(const ClippedPixels& pixels, const CellGrid& grid) {
    const auto isOne = [&](auto position, double side) {
        double least = position(pixels.left, pixels.top);
        double most = least;
        for (const double corner :
             {position(pixels.right, pixels.top), position(pixels.left, pixels.bottom),
              position(pixels.right, pixels.bottom)}) {
            least = std::min(least, corner);
            most = std::max(most, corner);
        }
        const double pixel = 1 / side; // the region is rounded outwards
        return std::floor(least + pixel) >= std::floor(most - pixel);
    };
    return isOne([&](double x, double y) { return grid.across(x, y); }, grid.width) &&
           isOne([&](double x, double y) { return grid.down(x, y); }, grid.height);
}

/// Covers the pixels with cells, in their own colours or in the current one.
inline void coverWithCells(Splash& splash, const ClippedPixels& pixels, const CellGrid& grid,
                           const CellTexture& texture, bool hasColors) {
    constexpr int bandRows = 64;
    const int width = pixels.right - pixels.left;
    std::unique_ptr<SplashBitmap> band;
    for (int top = pixels.top; top < pixels.bottom; top += bandRows) {
        const int rows = std::min(bandRows, pixels.bottom - top);
        if (!band || band->getHeight() != rows) {
            band =
                std::make_unique<SplashBitmap>(width, rows, 1, splash.getBitmap()->getMode(), true);
            if (!band->getDataPtr() || !band->getAlphaPtr())
                throw std::bad_alloc();
            if (!hasColors) {
                SplashColor color = {};
                splash.getFillPattern()->getColor(pixels.left, top, color);
                const auto bytes = static_cast<std::size_t>(band->getRowSize());
                const std::size_t channels = bytes / static_cast<std::size_t>(width);
                for (std::size_t i = 0; i < bytes * static_cast<std::size_t>(rows); ++i)
                    band->getDataPtr()[i] = color[i % channels];
            }
        }
        for (int row = 0; row < rows; ++row)
            texture.copyRow(grid, pixels.left, top + row, width,
                            hasColors ? band->getDataPtr() +
                                            static_cast<std::ptrdiff_t>(row) * band->getRowSize()
                                      : nullptr,
                            band->getAlphaPtr() + static_cast<std::ptrdiff_t>(row) * width);
        splash.blitImage(band.get(), true, pixels.left, top);
    }
}

} // namespace Bleedwise::Poppler
