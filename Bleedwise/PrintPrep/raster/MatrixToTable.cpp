#include "PrintPrep/raster/MatrixToTable.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <string_view>

#include <lcms2.h>
#include <lcms2_plugin.h>

namespace Bleedwise {
namespace {

constexpr float largest = 65535;

/// The tag whose table leads to the profile; nothing where more than the table is to be done.
std::optional<cmsTagSignature> tableFor(Intent intent) {
    switch (intent) {
    case Intent::perceptual:
        return cmsSigBToA0Tag;
    case Intent::relativeColorimetric:
        return cmsSigBToA1Tag;
    case Intent::saturation:
        return cmsSigBToA2Tag;
    case Intent::absoluteColorimetric:
        break;
    }
    return std::nullopt;
}

/// Whether the tag holds a lut16Type.
bool isLut16(cmsHPROFILE profile, cmsTagSignature tag) {
    std::array<char, 4> type{};
    return cmsReadRawTag(profile, tag, type.data(), type.size()) == type.size() &&
           std::string_view(type.data(), type.size()) == "mft2";
}

std::vector<std::uint16_t> samplesOf(const cmsToneCurve& curve) {
    const auto* samples = cmsGetToneCurveEstimatedTable(&curve);
    return {samples, samples + cmsGetToneCurveEstimatedTableEntries(&curve)};
}

/// A number from 0 to 65535 by the samples of a curve, of which there are two at least.
float curved(const std::vector<std::uint16_t>& samples, float number) {
    const float place =
        std::clamp(number, 0.0F, largest) * (static_cast<float>(samples.size() - 1) / largest);
    const std::size_t step = std::min(static_cast<std::size_t>(place), samples.size() - 2);
    const auto first = static_cast<float>(samples[step]);
    const auto second = static_cast<float>(samples[step + 1]);
    return first + (place - static_cast<float>(step)) * (second - first);
}

/// Cube roots from 0 to 1 at equal steps, and a little more for what rounding adds to white.
constexpr std::size_t rootSteps = 4096;
using Roots = std::array<float, rootSteps + 3>;

Roots makeRoots() {
    Roots roots{};
    for (std::size_t i = 0; i < roots.size(); ++i)
        roots[i] = static_cast<float>(std::cbrt(static_cast<double>(i) / rootSteps));
    return roots;
}

/// CIE 15, 8.2.1.1: of a tristimulus value relative to white. Above the linear part, interpolated
/// roots are off by 4 millionths at most.
float lightness(float value) {
    static const Roots roots = makeRoots();
    constexpr float linearBelow = 24.0F / 116 * (24.0F / 116) * (24.0F / 116);
    if (value <= linearBelow)
        return 841.0F / 108 * value + 16.0F / 116;
    const float place = std::min(value, 1 + 1.0F / rootSteps) * rootSteps;
    const auto step = static_cast<std::size_t>(place);
    return roots[step] + (place - static_cast<float>(step)) * (roots[step + 1] - roots[step]);
}

} // namespace

std::unique_ptr<const MatrixToTable> MatrixToTable::of(const Profile& source,
                                                       const Profile& destination, Intent intent,
                                                       const ColorConverter& littleCMS) {
    std::unique_ptr<MatrixToTable> result(new MatrixToTable());
    if (!result->readSource(source) || !result->readBlackPoints(source, destination, intent) ||
        !result->readDestination(destination, intent) || !result->agreesWith(littleCMS))
        return nullptr;
    return result;
}

bool MatrixToTable::readSource(const Profile& source) {
    if (source.space() != Profile::Space::rgb || !cmsIsMatrixShaper(source.handle()) ||
        cmsGetPCS(source.handle()) != cmsSigXYZData)
        return false;
    constexpr std::array colorants = {cmsSigRedColorantTag, cmsSigGreenColorantTag,
                                      cmsSigBlueColorantTag};
    constexpr std::array curves = {cmsSigRedTRCTag, cmsSigGreenTRCTag, cmsSigBlueTRCTag};
    const cmsCIEXYZ& white = *cmsD50_XYZ();
    for (std::size_t channel = 0; channel < 3; ++channel) {
        const auto* colorant =
            static_cast<const cmsCIEXYZ*>(cmsReadTag(source.handle(), colorants[channel]));
        const auto* curve =
            static_cast<const cmsToneCurve*>(cmsReadTag(source.handle(), curves[channel]));
        if (!colorant || !curve)
            return false;
        for (std::size_t byte = 0; byte < 256; ++byte) {
            const double light = cmsEvalToneCurveFloat(curve, static_cast<float>(byte) / 255);
            lights_[channel][byte] = {static_cast<float>(colorant->X / white.X * light),
                                      static_cast<float>(colorant->Y / white.Y * light),
                                      static_cast<float>(colorant->Z / white.Z * light)};
        }
    }
    return true;
}

/// Black point compensation moves black to black along a straight line through white, in XYZ.
bool MatrixToTable::readBlackPoints(const Profile& source, const Profile& destination,
                                    Intent intent) {
    cmsCIEXYZ from = {};
    cmsCIEXYZ to = {};
    const auto number = static_cast<cmsUInt32Number>(intent);
    if (!cmsDetectBlackPoint(&from, source.handle(), number, 0) ||
        !cmsDetectDestinationBlackPoint(&to, destination.handle(), number, 0))
        return false;
    const cmsCIEXYZ& white = *cmsD50_XYZ();
    const std::array<std::array<double, 3>, 3> blacks = {
        {{from.X, to.X, white.X}, {from.Y, to.Y, white.Y}, {from.Z, to.Z, white.Z}}};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const auto [darkest, wanted, brightest] = blacks[axis];
        const double scale = (wanted - brightest) / (darkest - brightest);
        black_[axis] = static_cast<float>(1 - scale);
        for (auto& channel : lights_) {
            for (Vector& light : channel)
                light[axis] *= static_cast<float>(scale);
        }
    }
    return true;
}

bool MatrixToTable::readDestination(const Profile& destination, Intent intent) {
    const auto tag = tableFor(intent);
    if (!tag || cmsGetPCS(destination.handle()) != cmsSigLabData ||
        !isLut16(destination.handle(), *tag))
        return false;
    const auto* pipeline = static_cast<const cmsPipeline*>(cmsReadTag(destination.handle(), *tag));
    if (!pipeline || cmsPipelineStageCount(pipeline) != 3)
        return false;
    const cmsStage* before = cmsPipelineGetPtrToFirstStage(pipeline);
    const cmsStage* table = cmsStageNext(before);
    const cmsStage* after = cmsStageNext(table);
    if (cmsStageType(before) != cmsSigCurveSetElemType ||
        cmsStageType(table) != cmsSigCLutElemType ||
        cmsStageType(after) != cmsSigCurveSetElemType || cmsStageInputChannels(table) != 3 ||
        cmsStageOutputChannels(table) != static_cast<cmsUInt32Number>(destination.channels()))
        return false;

    const auto& inputs = *static_cast<const _cmsStageToneCurvesData*>(cmsStageData(before));
    const auto& outputs = *static_cast<const _cmsStageToneCurvesData*>(cmsStageData(after));
    const auto& grid = *static_cast<const _cmsStageCLutData*>(cmsStageData(table));
    if (grid.HasFloatValues)
        return false;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        inputCurves_[axis] = samplesOf(*inputs.TheCurves[axis]);
        steps_[axis] = grid.Params->nSamples[axis];
        if (steps_[axis] < 2 || inputCurves_[axis].size() < 2)
            return false;
    }
    for (std::size_t channel = 0; channel < outputs.nCurves; ++channel)
        outputCurves_.push_back(samplesOf(*outputs.TheCurves[channel]));
    if (std::any_of(outputCurves_.begin(), outputCurves_.end(),
                    [](const auto& samples) { return samples.size() < 2; }))
        return false;
    const std::size_t channels = outputCurves_.size();
    for (std::size_t entry = 0; entry + channels <= grid.nEntries; entry += channels)
        std::copy_n(grid.Tab.T + entry, channels, table_.emplace_back().data());
    return table_.size() == steps_[0] * steps_[1] * steps_[2];
}

bool MatrixToTable::agreesWith(const ColorConverter& littleCMS) const {
    constexpr int tolerance = 32;
    constexpr std::array<std::uint16_t, 5> bytes = {0, 37, 113, 190, 255};
    for (const std::uint16_t red : bytes) {
        for (const std::uint16_t green : bytes) {
            for (const std::uint16_t blue : bytes) {
                const std::array<double, 3> color = {red / 255.0, green / 255.0, blue / 255.0};
                const std::array<std::uint16_t, 3> numbers = {
                    static_cast<std::uint16_t>(red * 257), static_cast<std::uint16_t>(green * 257),
                    static_cast<std::uint16_t>(blue * 257)};
                std::array<std::uint16_t, 4> expected{};
                std::array<std::uint16_t, 4> actual{};
                littleCMS.convert(color.data(), expected.data());
                convert(numbers.data(), actual.data());
                const bool isWhite = red + green + blue == 3 * 255; // which the converter sees to
                for (std::size_t channel = 0; channel < outputCurves_.size(); ++channel) {
                    if (!isWhite && std::abs(expected[channel] - actual[channel]) > tolerance)
                        return false;
                }
            }
        }
    }
    return true;
}

void MatrixToTable::convert(const std::uint16_t* colors, std::uint16_t* results,
                            std::size_t count) const {
    for (std::size_t i = 0; i < count; ++i)
        convert(colors + 3 * i, results + outputCurves_.size() * i);
}

void MatrixToTable::convert(const std::uint16_t* color, std::uint16_t* result) const {
    std::array<float, 3> light{};
    for (std::size_t axis = 0; axis < 3; ++axis)
        light[axis] =
            lightness(lights_[0][color[0] >> 8U][axis] + lights_[1][color[1] >> 8U][axis] +
                      lights_[2][color[2] >> 8U][axis] + black_[axis]);
    // L*, a* and b* as lut16Type has them (ICC.1:2010, 10.10): 0xff00 is 100, and 127 on from
    // 0x8000.
    const std::array<float, 3> lab = {(116 * light[1] - 16) * (65280.0F / 100),
                                      (500 * (light[0] - light[1]) + 128) * 256,
                                      (200 * (light[1] - light[2]) + 128) * 256};

    // Trilinear, as Little CMS reads tables that L*a*b* leads into.
    std::array<float, 4> sums{};
    std::array<std::size_t, 3> cell{};
    std::array<float, 3> part{};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const auto last = static_cast<float>(steps_[axis] - 1);
        const float place = curved(inputCurves_[axis], lab[axis]) * (last / largest);
        cell[axis] = std::min(static_cast<std::size_t>(place), steps_[axis] - 2);
        part[axis] = place - static_cast<float>(cell[axis]);
    }
    const std::size_t row = steps_[2];
    const std::size_t plane = steps_[1] * row;
    const Node* first = table_.data() + cell[0] * plane + cell[1] * row + cell[2];
    for (std::size_t corner = 0; corner < 8; ++corner) {
        const bool l = (corner & 4U) != 0;
        const bool a = (corner & 2U) != 0;
        const bool b = (corner & 1U) != 0;
        const float weight =
            (l ? part[0] : 1 - part[0]) * (a ? part[1] : 1 - part[1]) * (b ? part[2] : 1 - part[2]);
        const Node& node = first[(l ? plane : 0) + (a ? row : 0) + (b ? 1 : 0)];
        for (std::size_t channel = 0; channel < node.size(); ++channel)
            sums[channel] += weight * static_cast<float>(node[channel]);
    }
    for (std::size_t channel = 0; channel < outputCurves_.size(); ++channel)
        result[channel] =
            static_cast<std::uint16_t>(std::lround(curved(outputCurves_[channel], sums[channel])));
}

} // namespace Bleedwise
