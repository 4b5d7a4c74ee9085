#pragma once

#include <string>

/// Numbers as texts, the same under every locale.
namespace Bleedwise::Format {

/// A number of millimetres for a file name: an integral value as plain decimal digits, any other
/// rounded to two decimals without trailing zeros. NaN gives "nan".
///
/// An infinite value, or an integral one outside the signed 64-bit range, is a programming error:
/// it is named on standard error and the process aborts.
std::string mm(double value);

/// A number of points for Ghostscript arguments and PDF arrays: rounded to six decimals, without
/// trailing zeros. The sign of a negative zero stays; NaN and infinity give "nan" and "inf".
std::string points(double value);

} // namespace Bleedwise::Format
