#pragma once

#include "PrintPrep/raster/poppler/SolidRectangle.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include <GfxState.h>
#include <Stream.h>

/// Images in the size of their place on the bitmap, row by row and only as far as they are wanted.
/// The numbers are Poppler's, down to its rounding.
///
/// A part of `PopplerRenderer.cpp`, which alone includes it: no other file sees Poppler. Nothing
/// here may be used outside `PopplerRenderer`'s lock.
namespace Bleedwise::Poppler {

using Bytes = std::vector<unsigned char>;

/// An image's rows, from the first one on, in the bytes of the bitmap.
class ImageRows {
public:
    ImageRows(Stream& stream, int width, GfxImageColorMap& map, bool isRGB)
        : reader_(&stream, width, map.getNumPixelComps(), map.getBits()), map_(map),
          width_(static_cast<std::size_t>(width)), isRGB_(isRGB) {
        reader_.reset();
        if (map.getNumPixelComps() == 1)
            makePalette();
    }
    ImageRows(const ImageRows&) = delete;
    ImageRows& operator=(const ImageRows&) = delete;
    ~ImageRows() { reader_.close(); }

    std::size_t width() const { return width_; }
    std::size_t channels() const { return isRGB_ ? 3 : 4; }

    void skip() { reader_.skipLine(); }

    /// Rows that the image lacks are zeros.
    void read(unsigned char* row) {
        unsigned char* samples = reader_.getLine();
        if (!samples)
            std::fill_n(row, channels() * width_, 0);
        else if (!palette_.empty())
            lookUp(samples, row);
        else
            convert(samples, row);
    }

private:
    using Pixel = std::array<unsigned char, 4>;

    Pixel pixelOf(const unsigned char* samples) {
        if (isRGB_) {
            GfxRGB rgb;
            map_.getRGB(samples, &rgb);
            return {colToByte(rgb.r), colToByte(rgb.g), colToByte(rgb.b)};
        }
        GfxCMYK cmyk;
        map_.getCMYK(samples, &cmyk);
        return {colToByte(cmyk.c), colToByte(cmyk.m), colToByte(cmyk.y), colToByte(cmyk.k)};
    }

    void makePalette() {
        const unsigned levels = 1U << std::min(map_.getBits(), 8);
        for (unsigned level = 0; level < levels; ++level) {
            const auto sample = static_cast<unsigned char>(level);
            palette_.push_back(pixelOf(&sample));
        }
    }

    void lookUp(const unsigned char* samples, unsigned char* row) const {
        for (std::size_t x = 0; x < width_; ++x)
            std::copy_n(palette_[samples[x]].data(), channels(), row + channels() * x);
    }

    void convert(unsigned char* samples, unsigned char* row) {
        const auto count = static_cast<int>(width_);
        if (isRGB_ ? map_.useRGBLine() : map_.useCMYKLine()) {
            if (isRGB_)
                map_.getRGBLine(samples, row, count);
            else
                map_.getCMYKLine(samples, row, count);
            return;
        }
        const auto components = static_cast<std::size_t>(map_.getNumPixelComps());
        for (std::size_t x = 0; x < width_; ++x)
            std::copy_n(pixelOf(samples + components * x).data(), channels(), row + channels() * x);
    }

    ImageStream reader_;
    GfxImageColorMap& map_;
    std::size_t width_;
    bool isRGB_;
    std::vector<Pixel> palette_; // of images with one component
};

/// How samples are shared out over pixels along an axis, all as evenly as whole numbers allow:
/// the larger count over the smaller.
class EvenShares {
public:
    EvenShares(int larger, int smaller)
        : each_(larger / smaller), more_(larger % smaller), count_(smaller) {}

    /// The size of the next share.
    int next() {
        rest_ += more_;
        if (rest_ < count_)
            return each_;
        rest_ -= count_;
        return each_ + 1;
    }

private:
    int each_;
    int more_;
    int count_;
    int rest_ = 0;
};

/// An image in the size of its place on the bitmap, of which some columns are wanted.
class ScaledRows {
public:
    virtual ~ScaledRows() = default;
    ScaledRows(const ScaledRows&) = delete;
    ScaledRows& operator=(const ScaledRows&) = delete;

    /// The wanted columns of a row, until the next call. Rows are asked for in their order; some
    /// may be left out.
    virtual const unsigned char* row(int y) = 0;

protected:
    ScaledRows(ImageRows& rows, PixelRange columns)
        : rows_(rows), columns_(columns),
          scaled_(rows.channels() * static_cast<std::size_t>(columns.count())) {}

    ImageRows& rows() { return rows_; }
    std::size_t channels() const { return rows_.channels(); }
    PixelRange columns() const { return columns_; }
    Bytes& scaled() { return scaled_; }

private:
    ImageRows& rows_;
    PixelRange columns_;
    Bytes scaled_;
};

/// Fewer pixels than samples: means.
class MeanRows final : public ScaledRows {
public:
    MeanRows(ImageRows& rows, int sourceHeight, int width, int height, PixelRange columns)
        : ScaledRows(rows, columns), down_(sourceHeight, height),
          samples_(rows.channels() * rows.width()), sums_(samples_.size()) {
        EvenShares across(static_cast<int>(rows.width()), width);
        int first = 0;
        for (int x = 0; x < columns.last; ++x) {
            const int count = across.next();
            if (x >= columns.first)
                shares_.push_back({static_cast<std::size_t>(first), count});
            first += count;
        }
    }

    const unsigned char* row(int y) override {
        for (; next_ < y; ++next_) {
            for (int count = down_.next(); count > 0; --count)
                rows().skip();
        }
        ++next_;
        const int count = down_.next();
        std::fill(sums_.begin(), sums_.end(), 0);
        for (int i = 0; i < count; ++i) {
            rows().read(samples_.data());
            for (std::size_t j = 0; j < sums_.size(); ++j)
                sums_[j] += samples_[j];
        }
        if (channels() == 4)
            takeMeans<4>(count);
        else
            takeMeans<3>(count);
        return scaled().data();
    }

private:
    struct Share {
        std::size_t first;
        int count;
    };

    template <std::size_t channels>
    void takeMeans(int rowCount) {
        unsigned char* pixel = scaled().data();
        for (const Share& share : shares_) {
            std::array<unsigned, channels> sum{};
            const unsigned* sums = sums_.data() + channels * share.first;
            for (int i = 0; i < share.count; ++i, sums += channels) {
                for (std::size_t channel = 0; channel < channels; ++channel)
                    sum[channel] += sums[channel];
            }
            constexpr unsigned fractionBits = 23;
            const unsigned factor =
                (1U << fractionBits) / static_cast<unsigned>(rowCount * share.count);
            for (const unsigned value : sum)
                *pixel++ = static_cast<unsigned char>(value * factor >> fractionBits);
        }
    }

    EvenShares down_;
    int next_ = 0;
    Bytes samples_;
    std::vector<unsigned> sums_;
    std::vector<Share> shares_;
};

/// More pixels than samples, and not many times as many: linear interpolation, first across, then
/// down, with the fractions cut off each time.
class InterpolatedRows final : public ScaledRows {
public:
    InterpolatedRows(ImageRows& rows, int sourceHeight, int width, int height, PixelRange columns)
        : ScaledRows(rows, columns), sourceHeight_(sourceHeight),
          step_(static_cast<double>(sourceHeight) / height),
          samples_(rows.channels() * (rows.width() + padding)), upper_(scaled().size()),
          lower_(scaled().size()) {
        const double step = static_cast<double>(rows.width()) / width;
        double position = 0;
        for (int x = 0; x < columns.last; ++x, position += step) {
            const double whole = std::floor(position);
            if (x >= columns.first)
                places_.push_back({static_cast<std::size_t>(whole), position - whole});
        }
    }

    const unsigned char* row(int y) override {
        for (;; ++next_, position_ += step_) {
            const double whole = std::floor(position_);
            if (whole > upperRow_)
                ++upperRow_;
            if (next_ < y)
                continue;
            require(upperRow_);
            const double part = position_ - whole;
            ++next_;
            position_ += step_;
            return between(part);
        }
    }

private:
    struct Place {
        std::size_t sample;
        double part;
    };

    /// The last sample goes on, for what rounding makes of the last pixel's place.
    static constexpr std::size_t padding = 2;

    /// Sees to it that `upper_` is this row and `lower_` the next one; the last one goes on.
    void require(int number) {
        const int last = sourceHeight_ - 1;
        const int upper = std::min(number, last);
        const int lower = std::min(number + 1, last);
        if (upper != upperIs_) {
            if (upper == lowerIs_)
                std::swap(upper_, lower_);
            else
                load(upper, upper_);
            upperIs_ = upper;
            lowerIs_ = -1;
        }
        if (lower == upper)
            lower_ = upper_;
        else if (lower != lowerIs_)
            load(lower, lower_);
        lowerIs_ = lower;
    }

    void load(int number, Bytes& row) {
        for (; nextSource_ < number; ++nextSource_)
            rows().skip();
        rows().read(samples_.data());
        ++nextSource_;
        const std::size_t end = channels() * rows().width();
        for (std::size_t i = 0; i < padding * channels(); ++i)
            samples_[end + i] = samples_[end + i - channels()];
        if (channels() == 4)
            expand<4>(row.data());
        else
            expand<3>(row.data());
    }

    template <std::size_t channels>
    void expand(unsigned char* pixel) const {
        for (const Place& place : places_) {
            const unsigned char* sample = samples_.data() + channels * place.sample;
            for (std::size_t i = 0; i < channels; ++i)
                pixel[i] = interpolated(sample[i], sample[channels + i], place.part);
            pixel += channels;
        }
    }

    const unsigned char* between(double part) {
        if (part == 0)
            return upper_.data();
        unsigned char* pixel = scaled().data();
        for (std::size_t i = 0; i < upper_.size(); ++i)
            pixel[i] = interpolated(upper_[i], lower_[i], part);
        return pixel;
    }

    static unsigned char interpolated(unsigned char a, unsigned char b, double part) {
        return static_cast<unsigned char>(static_cast<int>(a * (1 - part) + b * part));
    }

    int sourceHeight_;
    double step_;
    Bytes samples_;
    Bytes upper_;
    Bytes lower_;
    std::vector<Place> places_;
    int next_ = 0;        // row of the bitmap
    double position_ = 0; // of that row in the image
    int upperRow_ = -1;   // of the image, at that position
    int nextSource_ = 0;
    int upperIs_ = -1;
    int lowerIs_ = -1;
};

/// Many times as many pixels as samples: each becomes a rectangle.
class RepeatedRows final : public ScaledRows {
public:
    RepeatedRows(ImageRows& rows, int sourceHeight, int width, int height, PixelRange columns)
        : ScaledRows(rows, columns), down_(height, sourceHeight),
          samples_(rows.channels() * rows.width()) {
        EvenShares across(width, static_cast<int>(rows.width()));
        int first = 0;
        for (std::size_t sample = 0; first < columns.last; ++sample) {
            const int end = first + across.next();
            for (int x = std::max(first, columns.first); x < std::min(end, columns.last); ++x)
                sampleAt_.push_back(sample);
            first = end;
        }
    }

    const unsigned char* row(int y) override {
        bool isNew = false;
        for (; y >= end_; isNew = true) {
            if (isNew)
                rows().skip();
            end_ += down_.next();
        }
        if (isNew) {
            rows().read(samples_.data());
            unsigned char* pixel = scaled().data();
            for (const std::size_t sample : sampleAt_) {
                std::copy_n(samples_.data() + channels() * sample, channels(), pixel);
                pixel += channels();
            }
        }
        return scaled().data();
    }

private:
    EvenShares down_;
    int end_ = 0; // of the pixels that repeat the sample
    Bytes samples_;
    std::vector<std::size_t> sampleAt_;
};

/// `rows`, of which there are `height`, as `wide` × `high` pixels. `rows` has to outlive them.
/// There must not be fewer pixels than samples along one axis alone.
inline std::unique_ptr<ScaledRows> scaledRows(ImageRows& rows, int height, int wide, int high,
                                              PixelRange columns, bool interpolate) {
    const auto width = static_cast<int>(rows.width());
    if (wide < width)
        return std::make_unique<MeanRows>(rows, height, wide, high, columns);
    constexpr int manyTimes = 4;
    if (!interpolate && (wide / width >= manyTimes || high / height >= manyTimes))
        return std::make_unique<RepeatedRows>(rows, height, wide, high, columns);
    return std::make_unique<InterpolatedRows>(rows, height, wide, high, columns);
}

} // namespace Bleedwise::Poppler
