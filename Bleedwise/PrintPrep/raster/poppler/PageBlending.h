#pragma once

#include "PrintPrep/raster/poppler/ColorManager.h"
#include "PrintPrep/raster/poppler/GraphicsStateScan.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string>

#include <Object.h>
#include <Page.h>

/// Pages that are composited as RGB.
///
/// A part of `PopplerRenderer.cpp`, which alone includes it: no other file sees Poppler. Nothing
/// here may be used outside `PopplerRenderer`'s lock.
namespace Bleedwise::Poppler {

inline std::optional<Profile::XYZ> numbers(const Object& array) {
    if (!array.isArray() || array.arrayGetLength() < 3)
        return std::nullopt;
    Profile::XYZ result{};
    for (int i = 0; i < 3; ++i) {
        const Object number = array.arrayGet(i);
        if (!number.isNum())
            return std::nullopt;
        result[static_cast<std::size_t>(i)] = number.getNum();
    }
    return result;
}

/// CalRGB from its dictionary (ISO 32000-1, table 64).
inline std::optional<Profile> calibratedRGB(const Object& dictionary) {
    const auto white =
        dictionary.isDict() ? numbers(dictionary.dictLookup("WhitePoint")) : std::nullopt;
    if (!white)
        return std::nullopt;
    const auto gamma = numbers(dictionary.dictLookup("Gamma"));
    std::array<Profile::XYZ, 3> primaries = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
    const Object matrix = dictionary.dictLookup("Matrix");
    for (int i = 0; matrix.isArray() && matrix.arrayGetLength() == 9 && i < 9; ++i) {
        const Object number = matrix.arrayGet(i);
        primaries[static_cast<std::size_t>(i / 3)][static_cast<std::size_t>(i % 3)] =
            number.isNum() ? number.getNum() : 0;
    }
    return Profile::calibratedRGB(*white, gamma.value_or(Profile::XYZ{1, 1, 1}), primaries);
}

/// The RGB space that the page asks to be composited in, when that makes a difference to how it
/// looks: its transparency group names the space (ISO 32000-2, 11.4.7 and 11.6.6) and something on
/// it blends by another mode than Normal.
inline std::optional<Target> blendingTarget(Page& page, EmbeddedProfiles& profiles) {
    Dict* group = page.getGroup();
    if (!group || !group->lookup("S").isName("Transparency"))
        return std::nullopt;
    Object space = group->lookup("CS");
    Object family =
        space.isArray() && space.arrayGetLength() > 0 ? space.arrayGet(0) : space.copy();
    std::optional<Target> target;
    if (family.isName("DeviceRGB")) {
        target = Target{Profile::sRGB(), true, sRGBName};
    } else if (family.isName("ICCBased") && space.isArray() && space.arrayGetLength() > 1 &&
               space.arrayGetNF(1).isRef()) {
        const EmbeddedProfiles::Entry& entry = profiles.at(space.arrayGetNF(1).getRef());
        if (entry.profile && entry.profile->space() == Profile::Space::rgb)
            target = Target{*entry.profile, true, entry.name};
    } else if (family.isName("CalRGB") && space.isArray() && space.arrayGetLength() > 1) {
        if (const auto profile = calibratedRGB(space.arrayGet(1)))
            target = Target{*profile, true, "CalRGB of page " + std::to_string(page.getNum())};
    }
    if (!target || !GraphicsStateScan(blends).finds(page.getResourceDict()))
        return std::nullopt;
    return target;
}

} // namespace Bleedwise::Poppler
