#pragma once

#include "PrintPrep/raster/CalculatorCode.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <numbers>

namespace Bleedwise {

/// What an operator makes of operands that fit it: `a` when it has one, `a` below `b` when two.
/// Truth is 1 or 0. The result may be beyond its type, and is no number where there is none.
inline double calculated(CalculatorOperator operation, double a, double b) {
    constexpr double degrees = 180 / std::numbers::pi;
    const auto bits = [](double number) {
        return static_cast<std::uint32_t>(static_cast<std::int32_t>(number));
    };
    const auto fromBits = [](std::uint32_t number) {
        return static_cast<double>(static_cast<std::int32_t>(number));
    };
    constexpr double none = std::numeric_limits<double>::quiet_NaN();

    switch (operation) {
        using enum CalculatorOperator;
    case abs:
        return std::abs(a);
    case add:
        return a + b;
    case andBits:
        return fromBits(bits(a) & bits(b));
    case atan: {
        const double angle = std::atan2(a, b) * degrees;
        return angle < 0 ? angle + 360 : angle;
    }
    case bitshift: {
        const double distance = std::abs(b);
        return distance > 31 ? 0
               : b < 0       ? fromBits(bits(a) >> static_cast<unsigned>(distance))
                             : fromBits(bits(a) << static_cast<unsigned>(distance));
    }
    case ceiling:
        return std::ceil(a);
    case cos:
        return std::cos(a / degrees);
    case cvi:
    case truncate:
        return std::trunc(a);
    case cvr:
        return a;
    case div:
        return a / b;
    case eq:
        return a == b ? 1 : 0;
    case exp:
        return std::pow(a, b);
    case floor:
        return std::floor(a);
    case ge:
        return a >= b ? 1 : 0;
    case gt:
        return a > b ? 1 : 0;
    case idiv: {
        if (b == 0)
            return none;
        const std::int64_t quotient = static_cast<std::int64_t>(a) / static_cast<std::int64_t>(b);
        return static_cast<double>(quotient);
    }
    case le:
        return a <= b ? 1 : 0;
    case ln:
        return std::log(a);
    case log:
        return std::log10(a);
    case lt:
        return a < b ? 1 : 0;
    case mod:
        return b == 0 ? none
                      : static_cast<double>(static_cast<std::int64_t>(a) %
                                            static_cast<std::int64_t>(b));
    case mul:
        return a * b;
    case ne:
        return a != b ? 1 : 0;
    case neg:
        return -a;
    case notBits:
        return -1 - a;
    case notTruth:
        return 1 - a;
    case orBits:
        return fromBits(bits(a) | bits(b));
    case round:
        return std::floor(a + 0.5);
    case sin:
        return std::sin(a / degrees);
    case sqrt:
        return std::sqrt(a);
    case sub:
        return a - b;
    case xorBits:
        return fromBits(bits(a) ^ bits(b));
    case copy:
    case dup:
    case exch:
    case index:
    case pop:
    case roll:
    case push:
    case jump:
    case jumpIfFalse:
        break; // nothing is calculated
    }
    return none;
}

} // namespace Bleedwise
