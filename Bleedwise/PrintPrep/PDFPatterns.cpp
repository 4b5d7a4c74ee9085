#include "PrintPrep/PDFPatterns.h"

#include <algorithm>
#include <charconv>
#include <cstddef>

namespace Bleedwise::PDFPatterns {
namespace {

constexpr std::size_t npos = std::string_view::npos;

bool isWhiteSpace(char character) {
    const auto byte = static_cast<unsigned char>(character);
    return byte == ' ' || (byte >= '\t' && byte <= '\r') || byte == 0x85 || byte == 0xa0;
}

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

std::size_t skipWhiteSpace(std::string_view text, std::size_t position) {
    while (position < text.size() && isWhiteSpace(text[position]))
        ++position;
    return position;
}

/// `\s+(\d+)` exactly at `position`, which moves behind it.
std::optional<std::string_view> spacedNumber(std::string_view text, std::size_t& position) {
    const std::size_t first = skipWhiteSpace(text, position);
    std::size_t last = first;
    while (last < text.size() && isDigit(text[last]))
        ++last;
    if (first == position || last == first)
        return std::nullopt;
    position = last;
    return text.substr(first, last - first);
}

/// The first "obj" at or after `position`. Looks for its rarest letter with the library's `memchr`.
std::size_t findObj(std::string_view text, std::size_t position) {
    for (std::size_t letter = position + 2; (letter = text.find('j', letter)) != npos; ++letter) {
        if (text[letter - 1] == 'b' && text[letter - 2] == 'o')
            return letter - 2;
    }
    return npos;
}

/// The first "endobj" at or after `position`.
std::size_t findEndobj(std::string_view text, std::size_t position) {
    constexpr std::string_view end = "end";
    for (std::size_t keyword = position + end.size(); (keyword = findObj(text, keyword)) != npos;
         ++keyword) {
        if (text.substr(keyword - end.size(), end.size()) == end)
            return keyword - end.size();
    }
    return npos;
}

/// Group 1 of `(\d+)\s+0\s+` that starts at or after `start` and ends at `end`. The text read is
/// bounded by the previous keyword, so all calls together read each byte once.
std::optional<std::string_view> objectNumberBefore(std::string_view text, std::size_t start,
                                                   std::size_t end) {
    const auto skipWhiteSpaceBack = [&](std::size_t position) {
        while (position > start && isWhiteSpace(text[position - 1]))
            --position;
        return position;
    };
    const std::size_t zeroEnd = skipWhiteSpaceBack(end);
    if (zeroEnd == end || zeroEnd == start || text[zeroEnd - 1] != '0')
        return std::nullopt;
    const std::size_t numberEnd = skipWhiteSpaceBack(zeroEnd - 1);
    std::size_t number = numberEnd;
    while (number > start && isDigit(text[number - 1]))
        --number;
    if (numberEnd == zeroEnd - 1 || number == numberEnd)
        return std::nullopt;
    return text.substr(number, numberEnd - number);
}

} // namespace

void forEachObject(std::string_view text,
                   const std::function<void(std::string_view, std::string_view)>& visit) {
    constexpr std::string_view obj = "obj";
    constexpr std::string_view endobj = "endobj";
    std::size_t start = 0; // behind the last match
    for (std::size_t keyword = 0; (keyword = findObj(text, keyword)) != npos;) {
        const auto number = objectNumberBefore(text, start, keyword);
        keyword += obj.size();
        if (!number)
            continue;
        const std::size_t body = skipWhiteSpace(text, keyword);
        const std::size_t end = findEndobj(text, body);
        if (end == npos)
            return; // no later object can end either
        std::size_t bodyEnd = end;
        while (bodyEnd > body && isWhiteSpace(text[bodyEnd - 1]))
            --bodyEnd;
        visit(*number, text.substr(body, bodyEnd - body));
        start = keyword = end + endobj.size();
    }
}

std::optional<std::string_view> lastStartXref(std::string_view text) {
    constexpr std::string_view keyword = "startxref";
    for (std::size_t end = npos; (end = text.rfind(keyword, end)) != npos; --end) {
        std::size_t position = end + keyword.size();
        if (const auto number = spacedNumber(text, position))
            return number;
        if (end == 0)
            break;
    }
    return std::nullopt;
}

std::optional<std::string_view> lastTrailerBody(std::string_view text) {
    constexpr std::string_view keyword = "trailer";
    constexpr std::string_view open = "<<";
    constexpr std::string_view close = ">>";
    const auto bodyAfter = [&](std::size_t trailer) {
        const std::size_t position = skipWhiteSpace(text, trailer + keyword.size());
        return text.substr(position).starts_with(open) ? position + open.size() : npos;
    };

    // The last opening that is closed at all fixes where the last match ends.
    const std::size_t lastClose = text.rfind(close);
    if (lastClose == npos)
        return std::nullopt;
    std::size_t trailer = lastClose;
    std::size_t body = npos;
    while ((trailer = text.rfind(keyword, trailer)) != npos) {
        body = bodyAfter(trailer);
        if (body <= lastClose || trailer == 0)
            break;
        --trailer;
    }
    if (trailer == npos || body > lastClose)
        return std::nullopt;

    // The match starts at the first opening since the close before: it swallows later openings.
    const std::size_t previousClose = text.substr(0, trailer).rfind(close);
    const std::size_t earliest = previousClose == npos ? 0 : previousClose + close.size();
    for (std::size_t first = earliest; (first = text.find(keyword, first)) < trailer; ++first) {
        if (const std::size_t firstBody = bodyAfter(first); firstBody != npos) {
            body = firstBody;
            break;
        }
    }
    return text.substr(body, text.find(close, body) - body);
}

std::optional<std::string_view> firstNumber(std::string_view text, std::string_view key) {
    for (std::size_t found = 0; (found = text.find(key, found)) != npos; ++found) {
        std::size_t position = found + key.size();
        if (const auto number = spacedNumber(text, position))
            return number;
    }
    return std::nullopt;
}

std::optional<std::pair<std::string_view, std::string_view>> firstReference(std::string_view text,
                                                                            std::string_view key) {
    for (std::size_t found = 0; (found = text.find(key, found)) != npos; ++found) {
        std::size_t position = found + key.size();
        const auto object = spacedNumber(text, position);
        const auto generation = object ? spacedNumber(text, position) : std::nullopt;
        const std::size_t letter = skipWhiteSpace(text, position);
        if (generation && letter > position && text.substr(letter).starts_with('R'))
            return std::pair(*object, *generation);
    }
    return std::nullopt;
}

void removeInlineArrays(std::string& text, std::string_view key) {
    std::size_t kept = 0;   // bytes before this one are final
    std::size_t unread = 0; // bytes from here on are still to be moved down
    for (std::size_t found = 0; (found = text.find(key, found)) != npos;) {
        const std::size_t open = skipWhiteSpace(text, found + key.size());
        if (open == text.size() || text[open] != '[') {
            ++found;
            continue;
        }
        const std::size_t close = text.find(']', open);
        if (close == npos)
            break; // no later array is closed either
        std::copy(text.data() + unread, text.data() + found, text.data() + kept);
        kept += found - unread;
        found = unread = close + 1;
    }
    text.erase(kept, unread - kept);
}

bool namesTypePage(std::string_view text) {
    constexpr std::string_view name = "/Type/Page";
    constexpr std::size_t secondSlash = 6; // after "/Type/" a mismatch may leave "/" matched
    std::size_t matched = 0;
    bool found = false;
    bool justFound = false;
    for (const char character : text) {
        if (isWhiteSpace(character))
            continue;
        if (justFound && character == 's')
            return false;
        justFound = false;
        while (matched > 0 && character != name[matched])
            matched = matched == secondSlash ? 1 : 0;
        if (character == name[matched] && ++matched == name.size()) {
            matched = 0;
            found = justFound = true;
        }
    }
    return found;
}

std::optional<std::int64_t> integer(std::string_view digits) {
    std::int64_t value = 0;
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (result.ec != std::errc() || result.ptr != digits.data() + digits.size())
        return std::nullopt;
    return value;
}

} // namespace Bleedwise::PDFPatterns
