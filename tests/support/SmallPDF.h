#pragma once

#include <string>
#include <string_view>

namespace Bleedwise::Testing {

/// A valid PDF with a classic cross-reference table: one page of 100 × 100 points whose content
/// stream is `content`: without one, black all over, so that it looks as it should wherever and
/// however large it is placed.
std::string smallPDF(std::string_view content = "0 0 0 1 k -9999 -9999 19999 19999 re f");

} // namespace Bleedwise::Testing
