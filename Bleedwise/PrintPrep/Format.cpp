#include "PrintPrep/Format.h"

#include "PrintPrep/platform/FatalError.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>

namespace Bleedwise::Format {
namespace {

/// C's "%.*f" in the C locale.
std::string fixed(double value, int decimals) {
    // Sign, the digits of the largest double, point and decimals.
    std::array<char, std::numeric_limits<double>::max_exponent10 + 16> buffer = {};
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                      std::chars_format::fixed, decimals);
    return {buffer.data(), result.ptr};
}

/// `text` without trailing zeros and then without a trailing point.
std::string trimmed(std::string text) {
    text.erase(text.find_last_not_of('0') + 1);
    if (text.ends_with('.'))
        text.pop_back();
    return text;
}

} // namespace

std::string mm(double value) {
    if (std::round(value) != value) // also true of NaN
        return trimmed(fixed(value, 2));
    constexpr double limit = 0x1p63;
    if (!(value >= -limit && value < limit))
        fatalError("Bleedwise cannot write " + fixed(value, 0) + " mm as a whole number.");
    return std::to_string(static_cast<std::int64_t>(value));
}

std::string points(double value) {
    return trimmed(fixed(value, 6));
}

} // namespace Bleedwise::Format
