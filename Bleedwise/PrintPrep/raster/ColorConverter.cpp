#include "PrintPrep/raster/ColorConverter.h"

#include "PrintPrep/raster/MatrixToTable.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include <lcms2.h>

namespace Bleedwise {
namespace {

/// Steps per axis of Little CMS's own table for four channels: 2 MB, which caches still hold.
constexpr unsigned fourChannelSteps = 23;

constexpr double largest16 = 65535;

unsigned layout(const Profile& profile, unsigned bytes) {
    switch (profile.space()) {
    case Profile::Space::gray:
        return COLORSPACE_SH(PT_GRAY) | CHANNELS_SH(1) | BYTES_SH(bytes);
    case Profile::Space::rgb:
        return COLORSPACE_SH(PT_RGB) | CHANNELS_SH(3) | BYTES_SH(bytes);
    case Profile::Space::cmyk:
        return COLORSPACE_SH(PT_CMYK) | CHANNELS_SH(4) | BYTES_SH(bytes);
    case Profile::Space::lab:
        return TYPE_Lab_DBL;
    case Profile::Space::other:
        return 0;
    }
    return 0;
}

/// Whether white has the largest numbers, so that a bitmap's white can be known by them.
bool isAdditive(const Profile& profile) {
    return profile.space() == Profile::Space::rgb || profile.space() == Profile::Space::gray;
}

/// What no ink, or full light, is written as.
std::uint8_t blank(const Profile& destination) {
    return destination.space() == Profile::Space::cmyk ? 0 : 255;
}

} // namespace

Intent intentNamed(std::string_view name) {
    if (name == "Perceptual")
        return Intent::perceptual;
    if (name == "Saturation")
        return Intent::saturation;
    if (name == "AbsoluteColorimetric")
        return Intent::absoluteColorimetric;
    return Intent::relativeColorimetric;
}

void ColorConverter::TransformDeleter::operator()(void* transform) const {
    cmsDeleteTransform(transform);
}

std::shared_ptr<const ColorConverter>
ColorConverter::create(const Profile& source, const Profile& destination, Intent intent) {
    if (source.channels() == 0 || destination.channels() == 0)
        return nullptr;
    std::shared_ptr<const ColorConverter> converter(
        new ColorConverter(source, destination, intent));
    return converter->precise_ ? converter : nullptr;
}

bool ColorConverter::connects(const Profile& source, const Profile& destination, Intent intent) {
    if (source.channels() == 0 || destination.channels() == 0)
        return false;
    return Transform(cmsCreateTransform(
               source.handle(), layout(source, 2), destination.handle(), layout(destination, 2),
               static_cast<cmsUInt32Number>(intent), cmsFLAGS_NOOPTIMIZE)) != nullptr;
}

ColorConverter::ColorConverter(const Profile& source, const Profile& destination, Intent intent)
    : source_(source), destination_(destination), intent_(intent),
      sourceChannels_(source.channels()), destinationChannels_(destination.channels()),
      precise_(transform(layout(source, 2), layout(destination, 2), cmsFLAGS_NOOPTIMIZE)) {}

ColorConverter::~ColorConverter() = default;

ColorConverter::Transform
ColorConverter::transform(unsigned sourceFormat, unsigned destinationFormat, unsigned flags) const {
    return Transform(cmsCreateTransform(source_.handle(), sourceFormat, destination_.handle(),
                                        destinationFormat, static_cast<cmsUInt32Number>(intent_),
                                        flags | cmsFLAGS_BLACKPOINTCOMPENSATION));
}

void ColorConverter::convert(const double* source, std::uint16_t* destination) const {
    if (source_.space() == Profile::Space::lab) {
        cmsDoTransform(precise_.get(), source, destination, 1);
        return;
    }
    std::array<std::uint16_t, 4> numbers{};
    bool white = isAdditive(source_);
    for (std::size_t channel = 0; channel < static_cast<std::size_t>(sourceChannels_); ++channel) {
        numbers[channel] = static_cast<std::uint16_t>(
            std::lround(std::clamp(source[channel], 0.0, 1.0) * largest16));
        white = white && numbers[channel] == 0xffff;
    }
    if (white)
        std::fill_n(destination, destinationChannels_, blank(destination_) * 0x101);
    else
        cmsDoTransform(precise_.get(), numbers.data(), destination, 1);
}

bool ColorConverter::keepsWhite(const Transform& pixels) const {
    if (!isAdditive(source_))
        return true;
    const std::array<std::uint8_t, 4> white = {255, 255, 255, 255};
    std::array<std::uint8_t, 4> result{};
    cmsDoTransform(pixels.get(), white.data(), result.data(), 1);
    return std::all_of(result.begin(), result.begin() + destinationChannels_,
                       [&](std::uint8_t number) { return number == blank(destination_); });
}

void ColorConverter::makeTable() const {
    if (sourceChannels_ == 3) {
        shortcut_ = MatrixToTable::of(source_, destination_, intent_, *this);
        table_ = std::make_unique<ColorTable>(
            static_cast<std::size_t>(destinationChannels_),
            [this](const std::uint16_t* colors, std::uint16_t* results, std::size_t count) {
                convertNumbers(colors, results, count);
            });
    } else {
        tableTransform_ = transform(layout(source_, 1), layout(destination_, 1),
                                    cmsFLAGS_GRIDPOINTS(fourChannelSteps));
    }
}

/// What the table for three source channels is made of.
void ColorConverter::convertNumbers(const std::uint16_t* colors, std::uint16_t* results,
                                    std::size_t count) const {
    if (shortcut_)
        shortcut_->convert(colors, results, count);
    else
        cmsDoTransform(precise_.get(), colors, results, static_cast<cmsUInt32Number>(count));
    if (!isAdditive(source_))
        return;
    const auto channels = static_cast<std::size_t>(destinationChannels_);
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint16_t* color = colors + 3 * i;
        if ((color[0] & color[1] & color[2]) == 0xffff) // white
            std::fill_n(results + i * channels, channels, blank(destination_) * 0x101);
    }
}

void ColorConverter::convertPixelsByTable(const std::uint8_t* source, std::uint8_t* destination,
                                          std::size_t count) const {
    if (sourceChannels_ == 1) { // 256 colours are soon converted
        convertPixels(source, destination, count);
        return;
    }
    std::call_once(tableOnce_, [&] { makeTable(); });
    if (table_)
        table_->convert(source, destination, count);
    else
        cmsDoTransform(tableTransform_.get(), source, destination,
                       static_cast<cmsUInt32Number>(count));
}

void ColorConverter::convertPixels(const std::uint8_t* source, std::uint8_t* destination,
                                   std::size_t count) const {
    std::call_once(pixelsOnce_, [&] {
        pixels_ = transform(layout(source_, 1), layout(destination_, 1), cmsFLAGS_NOOPTIMIZE);
        pixelsKeepWhite_ = keepsWhite(pixels_);
    });
    cmsDoTransform(pixels_.get(), source, destination, static_cast<cmsUInt32Number>(count));
    if (pixelsKeepWhite_)
        return;
    const auto channels = static_cast<std::size_t>(sourceChannels_);
    for (std::size_t pixel = 0; pixel < count; ++pixel) {
        const std::uint8_t* number = source + pixel * channels;
        if (std::all_of(number, number + channels, [](std::uint8_t n) { return n == 255; }))
            std::fill_n(destination + pixel * static_cast<std::size_t>(destinationChannels_),
                        destinationChannels_, blank(destination_));
    }
}

} // namespace Bleedwise
