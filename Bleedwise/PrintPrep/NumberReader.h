#pragma once

#include <optional>
#include <string>

/// Numbers as people type them.
namespace Bleedwise::NumberReader {

/// Reads the whole text as one number: a comma counts as a point, Unicode white space around it is
/// ignored, and the rest is read as C's `strtod` does in the C locale (signs, exponents,
/// hexadecimal, infinity and NaN forms), whatever the process locale is. Nothing when any of the
/// text is left over, or when there is none.
std::optional<double> number(std::string text);

} // namespace Bleedwise::NumberReader
