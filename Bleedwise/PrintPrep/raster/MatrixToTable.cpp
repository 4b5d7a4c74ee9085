#include "PrintPrep/raster/MatrixToTable.h"

#include "PrintPrep/raster/ProfileReader.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <span>

#include <lcms2.h>
#include <lcms2_plugin.h>

namespace Bleedwise {
namespace {

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

std::vector<float> samplesOf(const cmsToneCurve& curve) {
    const auto* samples = cmsGetToneCurveEstimatedTable(&curve);
    return {samples, samples + cmsGetToneCurveEstimatedTableEntries(&curve)};
}

using Four [[gnu::vector_size(16)]] = float;
using FourIntegers [[gnu::vector_size(16)]] = std::int32_t;

Four lower(Four a, Four b) {
    return a < b ? a : b;
}

Four higher(Four a, Four b) {
    return a > b ? a : b;
}

/// Towards zero.
FourIntegers wholes(Four numbers) {
    return __builtin_convertvector(numbers, FourIntegers);
}

Four floats(FourIntegers numbers) {
    return __builtin_convertvector(numbers, Four);
}

/// As std::lround, of numbers that are not negative.
FourIntegers nearest(Four numbers) {
    const FourIntegers whole = wholes(numbers);
    return whole - (numbers - floats(whole) >= 0.5F); // true is -1
}

/// Two numbers that follow each other.
using Pair [[gnu::vector_size(8)]] = float;

Four joined(Pair a, Pair b) {
    return __builtin_shufflevector(a, b, 0, 1, 2, 3);
}

/// From 0 to 1 at equal steps, and two beyond.
std::vector<float> cubeRoots(std::size_t steps) {
    std::vector<float> roots(steps + 3);
    for (std::size_t i = 0; i < roots.size(); ++i)
        roots[i] =
            static_cast<float>(std::cbrt(static_cast<double>(i) / static_cast<double>(steps)));
    return roots;
}

/// CIE 15, 8.2.1.1: of tristimulus values relative to white, and their cube roots, of which the
/// interpolated ones are off by 4 millionths at most.
Four lightness(Four values, Four roots) {
    constexpr float linearBelow = 24.0F / 116 * (24.0F / 116) * (24.0F / 116);
    return values <= linearBelow ? 841.0F / 108 * values + 16.0F / 116 : roots;
}

/// L*, a* and b* as lut16Type has them (ICC.1:2010, 10.10): 0xff00 is 100, and 127 on from 0x8000.
/// L* is of Y alone, a* of X - Y, b* of Y - Z.
Four lab(Four light) {
    constexpr Four subtracted = {0, 1, 1, 0};
    constexpr Four factors = {116, 500, 200, 0};
    constexpr Four zeros = {-16, 128, 128, 0};
    constexpr Four scales = {65280.0F / 100, 256, 256, 0};
    const Four minuends = __builtin_shufflevector(light, light, 1, 0, 1, 3);
    const Four subtrahends = __builtin_shufflevector(light, light, 1, 1, 2, 3) * subtracted;
    return (factors * (minuends - subtrahends) + zeros) * scales;
}

} // namespace

bool MatrixToTable::Curves::add(const std::vector<float>& samples, float stepsPerUnit) {
    if (size_ == 4 || samples.size() < 2)
        return false;
    const auto same = std::search(samples_.begin(), samples_.end(), samples.begin(), samples.end());
    first_[size_] = static_cast<std::int32_t>(same - samples_.begin());
    if (same == samples_.end())
        samples_.insert(samples_.end(), samples.begin(), samples.end());
    steps_[size_] = stepsPerUnit;
    lastStep_[size_] = static_cast<float>(samples.size() - 2);
    ++size_;
    return true;
}

bool MatrixToTable::Curves::add(const std::vector<float>& samples) {
    return add(samples, static_cast<float>(samples.size() - 1) / most_[0]);
}

template <std::size_t count>
MatrixToTable::Four MatrixToTable::Curves::at(Four numbers) const {
    static_assert(count == 3 || count == 4);
    const Four places = lower(higher(numbers, Four{}), most_) * steps_;
    const Places steps = wholes(lower(places, lastStep_));
    const Places at = first_ + steps;
    const auto pair = [&](std::size_t lane) {
        Pair samples;
        std::memcpy(&samples, samples_.data() + static_cast<std::uint32_t>(at[lane]),
                    sizeof samples);
        return samples;
    };
    const Four low = joined(pair(0), pair(1));
    const Four high = joined(pair(2), count == 4 ? pair(3) : Pair{});
    const Four before = __builtin_shufflevector(low, high, 0, 2, 4, 6);
    const Four after = __builtin_shufflevector(low, high, 1, 3, 5, 7);
    return before + (places - floats(steps)) * (after - before);
}

std::unique_ptr<const MatrixToTable> MatrixToTable::of(const Profile& source,
                                                       const Profile& destination, Intent intent,
                                                       const ColorConverter& littleCMS) {
    std::unique_ptr<MatrixToTable> result(new MatrixToTable());
    const std::vector<float> roots = cubeRoots(rootSteps);
    for (std::size_t axis = 0; axis < 3; ++axis)
        result->roots_.add(roots, rootSteps);
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
            lights_[channel][byte] = Four{static_cast<float>(colorant->X / white.X * light),
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
            for (Four& light : channel)
                light[axis] *= static_cast<float>(scale);
        }
    }
    return true;
}

bool MatrixToTable::readDestination(const Profile& destination, Intent intent) {
    const auto tag = tableFor(intent);
    if (!tag || cmsGetPCS(destination.handle()) != cmsSigLabData ||
        ProfileReader::typeOf(destination.handle(), *tag) != cmsSigLut16Type)
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
    if (grid.HasFloatValues || outputs.nCurves < 3)
        return false;
    std::array<std::size_t, 3> steps{};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        steps[axis] = grid.Params->nSamples[axis];
        nodesPerUnit_[axis] = static_cast<float>(steps[axis] - 1) / largest;
        lastCell_[axis] = static_cast<float>(steps[axis]) - 2;
        if (steps[axis] < 2 || !inputCurves_.add(samplesOf(*inputs.TheCurves[axis])))
            return false;
    }
    for (std::size_t channel = 0; channel < outputs.nCurves; ++channel) {
        if (!outputCurves_.add(samplesOf(*outputs.TheCurves[channel])))
            return false;
    }
    const std::size_t channels = outputCurves_.size();
    for (std::size_t entry = 0; entry + channels <= grid.nEntries; entry += channels) {
        Four& node = table_.emplace_back();
        for (std::size_t channel = 0; channel < channels; ++channel)
            node[channel] = grid.Tab.T[entry + channel];
    }
    row_ = static_cast<std::ptrdiff_t>(steps[2]);
    plane_ = static_cast<std::ptrdiff_t>(steps[1]) * row_;
    return table_.size() == steps[0] * steps[1] * steps[2];
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
                convert(numbers.data(), actual.data(), 1);
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
    if (outputCurves_.size() == 4)
        convertTo<4>(colors, results, count);
    else
        convertTo<3>(colors, results, count);
}

/// Trilinear, as Little CMS reads tables that L*a*b* leads into.
inline MatrixToTable::Four MatrixToTable::interpolated(Four numbers) const {
    const Four place = numbers * nodesPerUnit_;
    const FourIntegers cell = wholes(lower(place, lastCell_));
    const Four after = place - floats(cell);
    const Four before = 1 - after;
    // The four edges of the cell along b*: first and last on the axis of L*, and of a*.
    const Four l = __builtin_shufflevector(before, after, 0, 0, 4, 4);
    const Four a = __builtin_shufflevector(before, after, 1, 5, 1, 5);
    const Four la = l * a;
    const Four nearer = la * before[2];
    const Four farther = la * after[2];

    const Four* first = table_.data() + static_cast<std::uint32_t>(cell[0]) * plane_ +
                        static_cast<std::uint32_t>(cell[1]) * row_ +
                        static_cast<std::uint32_t>(cell[2]);
    const std::array<const Four*, 4> edges = {first, first + row_, first + plane_,
                                              first + plane_ + row_};
    Four sum{};
    for (std::size_t edge = 0; edge < edges.size(); ++edge)
        sum = sum + nearer[edge] * edges[edge][0] + farther[edge] * edges[edge][1];
    return sum;
}

/// Step by step for a number of colours, since each step is a chain of calculations that wait for
/// each other, but not for those of the other colours.
template <std::size_t channels>
void MatrixToTable::convertTo(const std::uint16_t* colors, std::uint16_t* results,
                              std::size_t count) const {
    constexpr std::size_t mostAtOnce = 32;
    std::array<Four, mostAtOnce> numbers;
    while (count > 0) {
        const std::size_t now = std::min(count, mostAtOnce);
        const std::span some(numbers.data(), now);
        for (Four& number : some) {
            const Four light = lights_[0][colors[0] >> 8U] + lights_[1][colors[1] >> 8U] +
                               lights_[2][colors[2] >> 8U] + black_;
            number = lab(lightness(light, roots_.at<3>(light)));
            colors += 3;
        }
        for (Four& number : some)
            number = inputCurves_.at<3>(number);
        for (Four& number : some)
            number = interpolated(number);
        for (const Four& number : some) {
            const FourIntegers rounded = nearest(outputCurves_.at<4>(number));
            for (std::size_t channel = 0; channel < channels; ++channel)
                results[channel] = static_cast<std::uint16_t>(rounded[channel]);
            results += channels;
        }
        count -= now;
    }
}

} // namespace Bleedwise
