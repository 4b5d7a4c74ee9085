#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

/// The few patterns by which the box patcher understands a PDF, as hand-written scanners.
///
/// Each function finds exactly what the regular expression beside it finds in ICU's dialect when
/// the bytes are read as ISO 8859-1, but in one pass: the time is linear in the size of the text
/// whatever its bytes are, and nothing is copied. `std::regex` recurses for each character and a
/// backtracking engine needs quadratic time on a hostile file.
///
/// `\s` is tab, LF, VT, FF, CR, blank, 0x85 and 0xA0; `\d` is an ASCII digit.
namespace Bleedwise::PDFPatterns {

/// `(?s)(\d+)\s+0\s+obj\s*(.*?)\s*endobj`, all matches in order: `visit(group 1, group 2)`.
void forEachObject(std::string_view text,
                   const std::function<void(std::string_view, std::string_view)>& visit);

/// `startxref\s+(\d+)`, group 1 of the last match.
std::optional<std::string_view> lastStartXref(std::string_view text);

/// `(?s)trailer\s*<<(.*?)>>`, group 1 of the last match.
std::optional<std::string_view> lastTrailerBody(std::string_view text);

/// `KEY\s+(\d+)`, group 1 of the first match.
std::optional<std::string_view> firstNumber(std::string_view text, std::string_view key);

/// `KEY\s+(\d+)\s+(\d+)\s+R`, groups 1 and 2 of the first match.
std::optional<std::pair<std::string_view, std::string_view>> firstReference(std::string_view text,
                                                                            std::string_view key);

/// Removes every match of `KEY\s*\[[^\]]*\]` from `text`, in place.
void removeInlineArrays(std::string& text, std::string_view key);

/// Whether `text` without its `\s+` contains "/Type/Page" but nowhere "/Type/Pages".
bool namesTypePage(std::string_view text);

/// The value of decimal digits, nothing when it does not fit.
std::optional<std::int64_t> integer(std::string_view digits);

} // namespace Bleedwise::PDFPatterns
