#pragma once

#include "PrintPrep/raster/Calculator.h"
#include "PrintPrep/raster/poppler/Definitions.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <span>
#include <tuple>
#include <utility>
#include <vector>

#include <Function.h>
#include <GfxState.h>
#include <goo/gmem.h>
#include <splash/SplashPattern.h>

/// Shadings with managed colours.
///
/// A part of `PopplerRenderer.cpp`, which alone includes it: no other file sees Poppler. Nothing
/// here may be used outside `PopplerRenderer`'s lock.
namespace Bleedwise::Poppler {

/// Gives a shading another colour space for as long as it lives.
class ShadingSpace {
public:
    ShadingSpace(GfxShading& shading, std::unique_ptr<GfxColorSpace> space)
        : shading_(shading), original_(shading.*Access::member()), space_(std::move(space)) {
        shading.*Access::member() = space_.get();
    }
    ShadingSpace(const ShadingSpace&) = delete;
    ShadingSpace& operator=(const ShadingSpace&) = delete;
    ~ShadingSpace() { shading_.*Access::member() = original_; }

    /// The member, which only a derived class may name.
    struct Access : GfxShading {
        static GfxColorSpace* GfxShading::*member() { return &Access::colorSpace; }
    };

private:
    GfxShading& shading_;
    GfxColorSpace* original_;
    std::unique_ptr<GfxColorSpace> space_;
};

/// Cuts the triangles of a mesh so finely that it makes no difference whether colours are
/// interpolated before they are converted, as they should be, or afterwards, as Splash does it.
class TriangleCutter {
public:
    /// The mesh in pieces, with `space` for its colour space; nothing when it is fine enough. The
    /// mesh must not have functions.
    static std::unique_ptr<GfxGouraudTriangleShading> cut(GfxGouraudTriangleShading& mesh,
                                                          const GfxColorSpace& space) {
        TriangleCutter cutter(static_cast<std::size_t>(space.getNComps()));
        std::vector<Triangle> triangles(static_cast<std::size_t>(mesh.getNTriangles()));
        GfxColorComp range = 0;
        for (std::size_t i = 0; i < triangles.size(); ++i) {
            auto& [a, b, c] = triangles[i];
            mesh.getTriangle(static_cast<int>(i), &a.x, &a.y, &a.color, &b.x, &b.y, &b.color, &c.x,
                             &c.y, &c.color);
            range = std::max(
                {range, cutter.distance(a, b), cutter.distance(b, c), cutter.distance(c, a)});
        }
        // The same depth everywhere: neighbours keep their corners in common.
        int depth = 0;
        for (std::size_t count = triangles.size();
             (range >> depth) > fineRange && count * 4 <= mostTriangles; count *= 4)
            ++depth;
        if (depth == 0)
            return nullptr;
        for (const Triangle& triangle : triangles)
            cutter.add(triangle, depth);
        return cutter.shading(mesh.getType(), space);
    }

private:
    using Triangle = std::array<GfxGouraudVertex, 3>;

    /// Largest difference between corners in a channel. Within it the error of interpolating inks
    /// is below one in 255.
    static constexpr GfxColorComp fineRange = gfxColorComp1 / 16;
    static constexpr std::size_t mostTriangles = 1U << 19U;

    explicit TriangleCutter(std::size_t channels) : channels_(channels) {}

    GfxColorComp distance(const GfxGouraudVertex& a, const GfxGouraudVertex& b) const {
        GfxColorComp largest = 0;
        for (std::size_t i = 0; i < channels_; ++i)
            largest = std::max(largest, std::abs(a.color.c[i] - b.color.c[i]));
        return largest;
    }

    GfxGouraudVertex between(const GfxGouraudVertex& a, const GfxGouraudVertex& b) const {
        GfxGouraudVertex middle{};
        middle.x = (a.x + b.x) / 2;
        middle.y = (a.y + b.y) / 2;
        for (std::size_t i = 0; i < channels_; ++i)
            middle.color.c[i] = a.color.c[i] + (b.color.c[i] - a.color.c[i]) / 2;
        return middle;
    }

    void add(const Triangle& triangle, int depth) {
        if (depth == 0) {
            corners_.insert(corners_.end(), triangle.begin(), triangle.end());
            return;
        }
        const auto& [a, b, c] = triangle;
        const GfxGouraudVertex ab = between(a, b);
        const GfxGouraudVertex bc = between(b, c);
        const GfxGouraudVertex ca = between(c, a);
        for (const Triangle& part :
             {Triangle{a, ab, ca}, Triangle{ab, b, bc}, Triangle{ca, bc, c}, Triangle{ab, bc, ca}})
            add(part, depth - 1);
    }

    std::unique_ptr<GfxGouraudTriangleShading> shading(int type, const GfxColorSpace& space) const {
        // Poppler releases both arrays with its own allocator.
        const auto count = static_cast<int>(corners_.size());
        auto* vertices = static_cast<GfxGouraudVertex*>(gmallocn(count, sizeof(GfxGouraudVertex)));
        std::copy(corners_.begin(), corners_.end(), vertices);
        auto* triangles = static_cast<int(*)[3]>(gmallocn(count / 3, sizeof(int[3])));
        for (int i = 0; i < count; ++i)
            triangles[i / 3][i % 3] = i;
        auto result = std::make_unique<GfxGouraudTriangleShading>(
            type, vertices, count, triangles, count / 3, std::vector<std::unique_ptr<Function>>());
        (*result).*ShadingSpace::Access::member() = space.copy();
        return result;
    }

    std::size_t channels_;
    std::vector<GfxGouraudVertex> corners_;
};

/// Device space to user space, or any other way back.
class UserSpace {
public:
    /// Nothing when the current transformation cannot be undone.
    static std::optional<UserSpace> of(const GfxState& state) {
        std::array<double, 6> matrix{};
        std::copy_n(state.getCTM(), matrix.size(), matrix.begin());
        // The origin is rounded to far less than a pixel, but more than by what parts of a page
        // differ in it beside whole rows: differences from it are then the same in all of them.
        constexpr double unit = 0x1p-32;
        for (double* origin : {&matrix[4], &matrix[5]})
            *origin = std::round(*origin / unit) * unit;
        return of(matrix.data());
    }

    static std::optional<UserSpace> of(const double* m) {
        const double determinant = m[0] * m[3] - m[1] * m[2];
        if (!std::isnormal(determinant))
            return std::nullopt;
        UserSpace space;
        space.xx_ = m[3] / determinant;
        space.yx_ = -m[1] / determinant;
        space.xy_ = -m[2] / determinant;
        space.yy_ = m[0] / determinant;
        space.x0_ = m[4];
        space.y0_ = m[5];
        return space;
    }

    std::pair<double, double> at(double x, double y) const {
        return {xx_ * (x - x0_) + xy_ * (y - y0_), yx_ * (x - x0_) + yy_ * (y - y0_)};
    }

private:
    double xx_ = 0;
    double yx_ = 0;
    double xy_ = 0;
    double yy_ = 0;
    double x0_ = 0;
    double y0_ = 0;
};

/// How far along an axial shading a point lies (ISO 32000-1, 8.7.4.5.3), from 0 to 1 between its
/// ends.
class AxialPosition {
public:
    explicit AxialPosition(const GfxAxialShading& shading) {
        double x1 = 0;
        double y1 = 0;
        shading.getCoords(&x0_, &y0_, &x1, &y1);
        const double dx = x1 - x0_;
        const double dy = y1 - y0_;
        const double length = dx * dx + dy * dy;
        isUsable_ = std::isnormal(length);
        dx_ = dx / length;
        dy_ = dy / length;
    }

    bool isUsable() const { return isUsable_; }

    template <typename IsPainted>
    std::optional<double> at(double x, double y, const IsPainted& isPainted) const {
        const double position = (x - x0_) * dx_ + (y - y0_) * dy_;
        return isPainted(position) ? std::optional(position) : std::nullopt;
    }

private:
    double x0_ = 0;
    double y0_ = 0;
    double dx_ = 0;
    double dy_ = 0;
    bool isUsable_ = false;
};

/// The same for a radial shading (8.7.4.5.4): the last painted of the circles through the point.
class RadialPosition {
public:
    explicit RadialPosition(const GfxRadialShading& shading) {
        double x1 = 0;
        double y1 = 0;
        double r1 = 0;
        shading.getCoords(&x0_, &y0_, &r0_, &x1, &y1, &r1);
        dx_ = x1 - x0_;
        dy_ = y1 - y0_;
        dr_ = r1 - r0_;
        const double apart = dx_ * dx_ + dy_ * dy_;
        a_ = apart - dr_ * dr_;
        if (std::abs(a_) <= rounding * (apart + dr_ * dr_))
            a_ = 0;
    }

    bool isUsable() const { return std::isfinite(a_); }

    template <typename IsPainted>
    std::optional<double> at(double x, double y, const IsPainted& isPainted) const {
        const double px = x - x0_;
        const double py = y - y0_;
        // Of the positions s whose circles go through the point, a s² - 2 b s + c = 0.
        const double b = px * dx_ + py * dy_ + r0_ * dr_;
        const double c = px * px + py * py - r0_ * r0_;
        const auto counts = [&](double position) {
            return r0_ + position * dr_ >= 0 && isPainted(position);
        };
        if (a_ == 0) { // circles that touch from within
            const double only = c / (2 * b);
            return std::isfinite(only) && counts(only) ? std::optional(only) : std::nullopt;
        }
        const double discriminant = b * b - a_ * c;
        if (!(discriminant >= 0))
            return std::nullopt;
        // The sum of what has one sign: their difference would lose its digits where a is small.
        const double sum = b + std::copysign(std::sqrt(discriminant), b);
        const double one = sum / a_;
        const double other = sum == 0 ? one : c / sum;
        for (const double position : {std::max(one, other), std::min(one, other)}) {
            if (counts(position))
                return position;
        }
        return std::nullopt;
    }

private:
    /// Largest share of its terms that a difference which should be zero has from rounding.
    static constexpr double rounding = 1e-10;

    double x0_ = 0;
    double y0_ = 0;
    double r0_ = 0;
    double dx_ = 0;
    double dy_ = 0;
    double dr_ = 0;
    double a_ = 0;
};

/// Bytes of a pixel in a bitmap of the kinds that the device draws.
inline std::size_t pixelBytes(SplashColorMode mode) {
    return mode == splashModeMono8 ? 1 : mode == splashModeRGB8 ? 3 : 4;
}

/// How all of a shading's patterns come by a colour's bytes, as a bitmap of this kind has them.
inline void colorBytes(GfxShading& shading, const GfxColor& color, SplashColorMode mode,
                       unsigned char* bytes) {
    if (mode == splashModeMono8) {
        GfxGray gray = 0;
        shading.getColorSpace()->getGray(&color, &gray);
        *bytes = colToByte(gray);
        return;
    }
    std::array<std::uint16_t, 4> numbers{};
    convertThrough(*shading.getColorSpace(), mode == splashModeRGB8, color, numbers.data());
    for (std::size_t i = 0; i < pixelBytes(mode); ++i)
        bytes[i] = static_cast<unsigned char>((numbers[i] + 128) / 257);
}

/// A number of each point in one channel.
using ChannelRow = std::array<GfxColorComp, Calculator::mostPoints>;

/// A function of a place by PostScript code, which Poppler interprets anew for each pixel.
class CalculatedFunction {
public:
    /// Nothing for other functions.
    static std::optional<CalculatedFunction> of(const Function& function) {
        constexpr int postScript = 4; // ISO 32000-1, table 38
        if (function.getType() != postScript || function.getInputSize() != 2 ||
            function.getOutputSize() > gfxColorMaxComps || !areRanges(function))
            return std::nullopt;
        const auto& code = static_cast<const PostScriptFunction&>(function);
        auto calculator = Calculator::of(code.getCodeString()->toStr(),
                                         static_cast<std::size_t>(function.getInputSize()),
                                         static_cast<std::size_t>(function.getOutputSize()));
        if (!calculator)
            return std::nullopt;
        return CalculatedFunction(function, std::move(*calculator));
    }

    std::size_t outputs() const { return ranges_.size(); }

    /// From the first `count` places to as many numbers in each of the function's channels. Returns
    /// where it fails.
    Calculator::Points evaluate(std::size_t count, const std::array<Calculator::Row, 2>& places,
                                ChannelRow* channels) const {
        std::array<Calculator::Row, 2> input;
        for (std::size_t i = 0; i < count; ++i) {
            input[0][i] = std::clamp(places[0][i], left_, right_);
            input[1][i] = std::clamp(places[1][i], bottom_, top_);
        }
        std::array<Calculator::Row, gfxColorMaxComps> numbers;
        const auto failed =
            calculator_.evaluate(count, input, std::span(numbers).first(ranges_.size()));
        for (std::size_t channel = 0; channel < ranges_.size(); ++channel) {
            const auto [low, high] = ranges_[channel];
            for (std::size_t i = 0; i < count; ++i)
                channels[channel][i] =
                    failed[i] ? 0 : dblToCol(std::clamp(numbers[channel][i], low, high));
        }
        return failed;
    }

    /// Whether it is quick for several points at a time.
    bool isFastForRows() const { return calculator_.isFastForRows(); }

private:
    /// Whether its bounds are in order.
    static bool areRanges(const Function& function) {
        for (int i = 0; i < function.getInputSize(); ++i) {
            if (!(function.getDomainMin(i) <= function.getDomainMax(i)))
                return false;
        }
        for (int i = 0; i < function.getOutputSize(); ++i) {
            if (!(function.getRangeMin(i) <= function.getRangeMax(i)))
                return false;
        }
        return true;
    }

    CalculatedFunction(const Function& function, Calculator calculator)
        : calculator_(std::move(calculator)), left_(function.getDomainMin(0)),
          right_(function.getDomainMax(0)), bottom_(function.getDomainMin(1)),
          top_(function.getDomainMax(1)) {
        for (int i = 0; i < function.getOutputSize(); ++i)
            ranges_.emplace_back(function.getRangeMin(i), function.getRangeMax(i));
    }

    Calculator calculator_;
    double left_;
    double right_;
    double bottom_;
    double top_;
    std::vector<std::pair<double, double>> ranges_;
};

/// A shading by a function of the place (ISO 32000-1, 8.7.4.5.2).
class FunctionPattern final : public SplashPattern {
public:
    /// `toDomain` leads from user space to the function's.
    FunctionPattern(GfxFunctionShading& shading, const UserSpace& toUser, const UserSpace& toDomain,
                    SplashColorMode mode)
        : shading_(shading), toUser_(toUser), toDomain_(toDomain), mode_(mode) {
        shading.getDomain(&left_, &bottom_, &right_, &top_);
        for (int i = 0; i < shading.getNFuncs(); ++i) {
            auto function = CalculatedFunction::of(*shading.getFunc(i));
            if (!function) {
                functions_.clear();
                break;
            }
            isFastForRows_ = isFastForRows_ && function->isFastForRows();
            functions_.push_back(std::move(*function));
        }
    }

    SplashPattern* copy() const override {
        return new FunctionPattern(shading_, toUser_, toDomain_, mode_);
    }

    bool getColor(int x, int y, SplashColorPtr color) override {
        if (y != row_ || x < first_ || x >= first_ + static_cast<int>(count_))
            calculate(x, y);
        const auto point = static_cast<std::size_t>(x - first_);
        if (!isPainted_[point])
            return false;
        std::copy_n(colors_[point].data(), pixelBytes(mode_), color);
        return true;
    }

    bool testPosition(int x, int y) override {
        const auto [domainX, domainY] = place(x, y);
        return isPainted(domainX, domainY);
    }
    bool isStatic() override { return false; }
    bool isCMYK() override { return mode_ == splashModeCMYK8; }

private:
    std::pair<double, double> place(int x, int y) const {
        const auto [userX, userY] = toUser_.at(x, y);
        return toDomain_.at(userX, userY);
    }
    bool isPainted(double x, double y) const {
        return x >= left_ && x <= right_ && y >= bottom_ && y <= top_;
    }

    /// The pixels from this one on: more and more as long as they are asked for one after the
    /// other.
    void calculate(int x, int y) {
        constexpr std::size_t fewest = 8;
        const bool goesOn = y == row_ && x == first_ + static_cast<int>(count_);
        count_ = functions_.empty() || !isFastForRows_ ? 1
                 : goesOn ? std::clamp(2 * count_, fewest, Calculator::mostPoints)
                          : fewest;
        row_ = y;
        first_ = x;
        isPainted_.reset();

        std::array<Calculator::Row, 2> places;
        for (std::size_t i = 0; i < count_; ++i) {
            std::tie(places[0][i], places[1][i]) = place(x + static_cast<int>(i), y);
            isPainted_[i] = isPainted(places[0][i], places[1][i]);
        }
        if (isPainted_.any())
            calculateColors(places);
    }

    void calculateColors(const std::array<Calculator::Row, 2>& places) {
        std::array<ChannelRow, gfxColorMaxComps> channels;
        Calculator::Points failed;
        std::size_t channel = 0;
        for (const CalculatedFunction& function : functions_) {
            failed |= function.evaluate(count_, places, &channels[channel]);
            channel += function.outputs();
        }
        GfxColor exact{};
        std::array<std::uint8_t, 4> bytes{};
        bool hasBytes = false;
        for (std::size_t i = 0; i < count_; ++i) {
            if (!isPainted_[i])
                continue;
            if (functions_.empty() || failed[i]) {
                shading_.getColor(places[0][i], places[1][i], &exact);
                hasBytes = false;
            }
            for (std::size_t j = 0; j < channel && !failed[i]; ++j) {
                hasBytes = hasBytes && exact.c[j] == channels[j][i];
                exact.c[j] = channels[j][i];
            }
            if (!hasBytes)
                colorBytes(shading_, exact, mode_, bytes.data());
            hasBytes = true; // neighbours are often of one colour
            colors_[i] = bytes;
        }
    }

    GfxFunctionShading& shading_;
    std::vector<CalculatedFunction> functions_; // none: they are Poppler's business
    bool isFastForRows_ = true;
    UserSpace toUser_;
    UserSpace toDomain_;
    SplashColorMode mode_;
    double left_ = 0;
    double bottom_ = 0;
    double right_ = 0;
    double top_ = 0;

    // Pixels that are known, from `first_` on.
    int row_ = 0;
    int first_ = 0;
    std::size_t count_ = 0;
    Calculator::Points isPainted_;
    std::array<std::array<std::uint8_t, 4>, Calculator::mostPoints> colors_{};
};

/// A shading along one parameter whose colours are kept at equal steps, so that a pixel costs
/// little more than finding its place. Poppler's own pattern evaluates the shading's function and
/// converts its colour for every pixel.
template <typename Position>
class RampPattern final : public SplashPattern {
public:
    RampPattern(const Position& position, GfxUnivariateShading& shading, const UserSpace& toUser,
                SplashColorMode mode)
        : position_(position), shading_(shading), toUser_(toUser), mode_(mode),
          extendsBefore_(shading.getExtend0()), extendsBehind_(shading.getExtend1()) {}

    SplashPattern* copy() const override {
        return new RampPattern(position_, shading_, toUser_, mode_);
    }

    bool getColor(int x, int y, SplashColorPtr color) override {
        const auto [userX, userY] = toUser_.at(x, y);
        const auto position = position_.at(userX, userY, [&](double value) {
            return (value >= 0 || extendsBefore_) && (value <= 1 || extendsBehind_);
        });
        if (!position)
            return false;
        const auto step =
            static_cast<std::size_t>(std::lround(std::clamp(*position, 0.0, 1.0) * steps));
        if (!known_[step])
            remember(step);
        std::copy_n(colors_[step].data(), pixelBytes(mode_), color);
        return true;
    }

    bool testPosition(int x, int y) override {
        SplashColor color;
        return getColor(x, y, color);
    }
    bool isStatic() override { return false; }
    bool isCMYK() override { return mode_ == splashModeCMYK8; }

private:
    /// Finer than the pixels of most pages.
    static constexpr std::size_t steps = 8192;

    void remember(std::size_t step) {
        const double t0 = shading_.getDomain0();
        const double t1 = shading_.getDomain1();
        GfxColor color{};
        shading_.getColor(t0 + (t1 - t0) * static_cast<double>(step) / steps, &color);
        colorBytes(shading_, color, mode_, colors_[step].data());
        known_[step] = true;
    }

    Position position_;
    GfxUnivariateShading& shading_;
    UserSpace toUser_;
    SplashColorMode mode_;
    bool extendsBefore_;
    bool extendsBehind_;
    std::vector<std::array<std::uint8_t, 4>> colors_ =
        std::vector<std::array<std::uint8_t, 4>>(steps + 1);
    std::vector<bool> known_ = std::vector<bool>(steps + 1);
};

} // namespace Bleedwise::Poppler
