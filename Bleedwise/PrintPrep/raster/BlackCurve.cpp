#include "PrintPrep/raster/BlackCurve.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

#include <lcms2.h>

namespace Bleedwise {
namespace {

/// Steps of a measured curve: those of an 8-bit channel and between them.
constexpr std::size_t steps = 1021; // 255 × 4 + 1

/// Relative luminance, from 0 to 1, of `steps` colours that `colors` holds as `channels` floats.
/// Empty when the profile has no colorimetric side.
std::vector<double> luminances(const Profile& profile, unsigned format, std::size_t channels,
                               const std::vector<float>& colors) {
    const Profile lab = Profile::lab();
    cmsHTRANSFORM transform =
        cmsCreateTransform(profile.handle(), format, lab.handle(), TYPE_Lab_DBL,
                           INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_NOOPTIMIZE);
    if (!transform)
        return {};
    std::vector<double> result;
    for (std::size_t color = 0; color < colors.size() / channels; ++color) {
        cmsCIELab measured;
        cmsDoTransform(transform, &colors[color * channels], &measured, 1);
        cmsCIEXYZ tristimulus;
        cmsLab2XYZ(nullptr, &tristimulus, &measured);
        result.push_back(tristimulus.Y);
    }
    cmsDeleteTransform(transform);
    return result;
}

double position(std::size_t step) {
    return static_cast<double>(step) / (steps - 1);
}

/// The luminances of rising amounts of black ink.
std::vector<double> blackRamp(const Profile& output) {
    constexpr float percent = 100; // Little CMS counts ink in percent
    std::vector<float> colors;
    for (std::size_t step = 0; step < steps; ++step)
        colors.insert(colors.end(), {0, 0, 0, static_cast<float>(position(step)) * percent});
    return luminances(output, TYPE_CMYK_FLT, 4, colors);
}

std::vector<double> grayRamp(const Profile& gray) {
    std::vector<float> colors;
    for (std::size_t step = 0; step < steps; ++step)
        colors.push_back(static_cast<float>(position(step)));
    return luminances(gray, TYPE_GRAY_FLT, 1, colors);
}

/// `luminance` moved from the range of `source` into that of `black`, by its ends.
double scaled(double luminance, const std::vector<double>& source,
              const std::vector<double>& black) {
    const double part = (luminance - source.front()) / (source.back() - source.front());
    return black.back() + part * (black.front() - black.back());
}

/// How much ink, from 0 to 1, has this luminance on a ramp that falls.
double inkOf(double luminance, const std::vector<double>& black) {
    const auto darker = std::lower_bound(black.begin(), black.end(), luminance, std::greater<>());
    if (darker == black.begin())
        return 0;
    if (darker == black.end())
        return 1;
    const double lighter = *(darker - 1);
    const double part = (lighter - luminance) / (lighter - *darker);
    return (static_cast<double>(darker - black.begin()) - 1 + part) / (steps - 1);
}

} // namespace

std::shared_ptr<const BlackCurve> BlackCurve::create(const Profile& gray, const Profile& output) {
    std::vector<double> black = blackRamp(output);
    const std::vector<double> source = grayRamp(gray);
    if (black.empty() || source.empty() || !(source.back() > source.front()) ||
        !(black.front() > black.back()))
        return nullptr;
    // A table that rises in places would give no single answer.
    for (std::size_t step = 1; step < black.size(); ++step)
        black[step] = std::min(black[step], black[step - 1]);

    std::vector<double> inks;
    for (const double luminance : source)
        inks.push_back(inkOf(scaled(luminance, source, black), black));
    inks.back() = 0; // white, exactly
    return std::shared_ptr<const BlackCurve>(new BlackCurve(std::move(inks)));
}

std::uint16_t BlackCurve::ink(double gray) const {
    const double place = std::clamp(gray, 0.0, 1.0) * (steps - 1);
    const auto below = std::min(static_cast<std::size_t>(place), steps - 2);
    const double part = place - static_cast<double>(below);
    const double ink = inks_[below] + part * (inks_[below + 1] - inks_[below]);
    return static_cast<std::uint16_t>(std::lround(ink * 65535));
}

} // namespace Bleedwise
