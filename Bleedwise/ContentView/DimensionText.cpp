#include "ContentView/DimensionText.h"

#include "PrintPrep/Format.h"
#include "PrintPrep/NumberReader.h"

#include <cmath>

namespace Bleedwise::DimensionText {
namespace {

/// Smaller differences than this, in mm, are nobody's edit.
constexpr double tolerance = 0.0001;

} // namespace

std::optional<double> number(const QString& text) {
    const std::optional<double> value = NumberReader::number(text.toStdString());
    return value && std::isfinite(*value) ? value : std::nullopt;
}

bool canBeNamed(double millimetres) {
    // The integral ones are formatted as 64-bit integers; larger doubles are all integral.
    return std::abs(millimetres) < 0x1p63;
}

std::optional<QString> fromNumber(double millimetres) {
    if (!canBeNamed(millimetres))
        return std::nullopt;
    return QString::fromStdString(Format::mm(millimetres));
}

bool dimensionValuesMatch(const QString& first, const QString& second) {
    const std::optional<double> firstNumber = number(first);
    const std::optional<double> secondNumber = number(second);
    if (firstNumber && secondNumber)
        return std::abs(*firstNumber - *secondNumber) < tolerance;
    return first.trimmed() == second.trimmed();
}

} // namespace Bleedwise::DimensionText
