#include "PrintPrep/SizeDetector.h"

#include "PrintPrep/NumberReader.h"

#include <memory>
#include <string>

#include <unicode/regex.h>
#include <unicode/unistr.h>

namespace Bleedwise::SizeDetector {
namespace {

/// Width, height and bleed are groups 1 to 3; \u00d7 is the multiplication sign. Digits are those
/// of every script, and blanks are white space of every kind. Where a digit precedes, no size can
/// begin that does not begin with that digit as well: not to look there, at first, saves the square
/// of the length of a long number.
constexpr const char16_t* sizePattern =
    u"(?i)(?<!\\d)(\\d+(?:[,.]\\d+)?)\\s*(?:x|\u00d7)\\s*(\\d+(?:[,.]\\d+)?)\\s*(?:mm)?"
    u"(?:\\s*\\+\\s*(\\d+(?:[,.]\\d+)?)\\s*(?:mm)?)?";

/// Compiled once; the compiled expression is shared by all threads, its matchers are not.
const icu::RegexPattern* compiledPattern() {
    static const std::unique_ptr<icu::RegexPattern> pattern = [] {
        UErrorCode status = U_ZERO_ERROR;
        return std::unique_ptr<icu::RegexPattern>(
            icu::RegexPattern::compile(icu::UnicodeString(sizePattern), 0, status));
    }();
    return pattern.get();
}

/// Nothing for a group that took no part in the match, and for digits of other scripts.
std::optional<double> number(const icu::RegexMatcher& matcher, int group) {
    UErrorCode status = U_ZERO_ERROR;
    std::string text;
    matcher.group(group, status).toUTF8String(text);
    return U_SUCCESS(status) ? NumberReader::number(text) : std::nullopt;
}

} // namespace

std::optional<DetectedSize> detect(std::string_view text) {
    const icu::RegexPattern* pattern = compiledPattern();
    if (!pattern)
        return std::nullopt;
    const icu::UnicodeString name = icu::UnicodeString::fromUTF8(
        icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<icu::RegexMatcher> matcher(pattern->matcher(name, status));
    if (U_FAILURE(status))
        return std::nullopt;
    matcher->setStackLimit(0, status); // as much as it needs, which a name's length limits
    if (!matcher->find(status) || U_FAILURE(status))
        return std::nullopt;
    const std::optional<double> width = number(*matcher, 1);
    const std::optional<double> height = number(*matcher, 2);
    if (!width || !height)
        return std::nullopt;
    return DetectedSize{*width, *height, number(*matcher, 3)};
}

} // namespace Bleedwise::SizeDetector
