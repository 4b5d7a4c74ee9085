#pragma once

#include <string>
#include <string_view>

namespace Bleedwise::Testing {

/// A valid PDF with a classic cross-reference table: one page of 100 × 100 points whose content
/// stream is `content`.
std::string smallPDF(std::string_view content = "1 0 0 rg 10 10 50 50 re f");

} // namespace Bleedwise::Testing
