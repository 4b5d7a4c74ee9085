#pragma once

#include <optional>

#include <QString>

/// Sizes in mm as the texts that a person sees and types.
namespace Bleedwise::DimensionText {

/// The number that a whole text says, as `NumberReader` reads it. An infinite one and NaN are no
/// numbers here.
std::optional<double> number(const QString& text);

/// Whether the size can stand in a file name: neither infinite nor NaN nor beyond 64 bits.
bool canBeNamed(double millimetres);

/// A size as a file name says it. Nothing for one that cannot be named.
std::optional<QString> fromNumber(double millimetres);

/// Whether two texts say the same size, to a ten-thousandth of a millimetre. Texts that are not
/// both numbers match when they are the same but for white space around them.
bool dimensionValuesMatch(const QString& first, const QString& second);

} // namespace Bleedwise::DimensionText
