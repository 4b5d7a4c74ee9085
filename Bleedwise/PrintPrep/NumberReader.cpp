#include "PrintPrep/NumberReader.h"

#include "PrintPrep/platform/FatalError.h"

#include <algorithm>
#include <array>
#include <clocale>
#include <cstdlib>
#include <string_view>

namespace Bleedwise::NumberReader {
namespace {

/// The characters with the property White_Space (Unicode 15, PropList.txt), in UTF-8.
constexpr std::array<std::string_view, 25> whiteSpace = {
    "\t",     "\n",     "\v",     "\f",     "\r",     " ",      "\u0085", "\u00a0", "\u1680",
    "\u2000", "\u2001", "\u2002", "\u2003", "\u2004", "\u2005", "\u2006", "\u2007", "\u2008",
    "\u2009", "\u200a", "\u2028", "\u2029", "\u202f", "\u205f", "\u3000",
};

std::string_view trimmed(std::string_view text) {
    const auto startsText = [&](std::string_view blank) { return text.starts_with(blank); };
    const auto endsText = [&](std::string_view blank) { return text.ends_with(blank); };
    for (auto blank = whiteSpace.begin();
         (blank = std::find_if(whiteSpace.begin(), whiteSpace.end(), startsText)) !=
         whiteSpace.end();)
        text.remove_prefix(blank->size());
    for (auto blank = whiteSpace.begin();
         (blank = std::find_if(whiteSpace.begin(), whiteSpace.end(), endsText)) !=
         whiteSpace.end();)
        text.remove_suffix(blank->size());
    return text;
}

locale_t cLocale() {
    static const locale_t locale = ::newlocale(LC_ALL_MASK, "C", nullptr);
    if (!locale)
        fatalError("The C locale could not be opened.");
    return locale;
}

} // namespace

std::optional<double> number(std::string text) {
    std::replace(text.begin(), text.end(), ',', '.');
    const std::string digits(trimmed(text));
    if (digits.empty())
        return std::nullopt;
    char* end = nullptr;
    const double value = ::strtod_l(digits.c_str(), &end, cLocale());
    if (end != digits.c_str() + digits.size())
        return std::nullopt;
    return value;
}

} // namespace Bleedwise::NumberReader
