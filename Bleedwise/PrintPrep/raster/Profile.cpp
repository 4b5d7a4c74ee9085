#include "PrintPrep/raster/Profile.h"

#include "PrintPrep/raster/ProfileReader.h"

#include <cmath>
#include <string>
#include <utility>

#include <lcms2.h>

namespace Bleedwise {
namespace {

Profile::Space spaceOf(cmsHPROFILE profile) {
    switch (cmsGetColorSpace(profile)) {
    case cmsSigGrayData:
        return Profile::Space::gray;
    case cmsSigRgbData:
        return Profile::Space::rgb;
    case cmsSigCmykData:
        return Profile::Space::cmyk;
    case cmsSigLabData:
        return Profile::Space::lab;
    default:
        return Profile::Space::other;
    }
}

/// Chromaticity of a tristimulus value; nothing for black, which has none.
std::optional<cmsCIExyY> chromaticity(const Profile::XYZ& value) {
    const double sum = value[0] + value[1] + value[2];
    if (!std::isfinite(sum) || sum <= 0)
        return std::nullopt;
    return cmsCIExyY{value[0] / sum, value[1] / sum, value[1]};
}

struct CurveDeleter {
    void operator()(cmsToneCurve* curve) const { cmsFreeToneCurve(curve); }
};
using Curve = std::unique_ptr<cmsToneCurve, CurveDeleter>;

Curve gammaCurve(double gamma) {
    const bool usable = std::isfinite(gamma) && gamma > 0;
    return Curve(usable ? cmsBuildGamma(nullptr, gamma) : nullptr);
}

} // namespace

Profile::Profile(void* handle) : handle_(handle, cmsCloseProfile), space_(spaceOf(handle)) {}

std::optional<Profile> Profile::adopt(void* handle) {
    if (!handle)
        return std::nullopt;
    return Profile(handle);
}

std::optional<Profile> Profile::fromBytes(std::string_view bytes) {
    const auto copy = std::make_shared<const std::string>(bytes);
    return fromBytes(*copy, copy);
}

std::optional<Profile> Profile::fromBytes(std::string_view bytes,
                                          std::shared_ptr<const void> owner) {
    return adopt(ProfileReader::open(bytes, std::move(owner)));
}

Profile Profile::sRGB() {
    return Profile(cmsCreate_sRGBProfile());
}

std::optional<Profile> Profile::calibratedRGB(const XYZ& white, const XYZ& gamma,
                                              const std::array<XYZ, 3>& primaries) {
    const auto whitePoint = chromaticity(white);
    const auto red = chromaticity(primaries[0]);
    const auto green = chromaticity(primaries[1]);
    const auto blue = chromaticity(primaries[2]);
    const Curve curves[] = {gammaCurve(gamma[0]), gammaCurve(gamma[1]), gammaCurve(gamma[2])};
    if (!whitePoint || !red || !green || !blue || !curves[0] || !curves[1] || !curves[2])
        return std::nullopt;
    const cmsCIExyYTRIPLE triple = {*red, *green, *blue};
    cmsToneCurve* transfer[] = {curves[0].get(), curves[1].get(), curves[2].get()};
    return adopt(cmsCreateRGBProfile(&*whitePoint, &triple, transfer));
}

std::optional<Profile> Profile::calibratedGray(const XYZ& white, double gamma) {
    const auto whitePoint = chromaticity(white);
    const Curve curve = gammaCurve(gamma);
    if (!whitePoint || !curve)
        return std::nullopt;
    return adopt(cmsCreateGrayProfile(&*whitePoint, curve.get()));
}

Profile Profile::lab() {
    return Profile(cmsCreateLab4Profile(nullptr));
}

int Profile::channels() const noexcept {
    switch (space_) {
    case Space::gray:
        return 1;
    case Space::rgb:
    case Space::lab:
        return 3;
    case Space::cmyk:
        return 4;
    case Space::other:
        return 0;
    }
    return 0;
}

} // namespace Bleedwise
