#include "ContentView/SettingsValue.h"

#include "PrintPrep/platform/UTF8.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <iterator>
#include <limits>
#include <utility>

namespace Bleedwise::SettingsValue {
namespace {

constexpr std::array<std::pair<char, char>, 9> escapes = {{{'a', '\a'},
                                                           {'b', '\b'},
                                                           {'f', '\f'},
                                                           {'n', '\n'},
                                                           {'r', '\r'},
                                                           {'t', '\t'},
                                                           {'v', '\v'},
                                                           {'"', '"'},
                                                           {'\\', '\\'}}};

// The C library's functions of these names depend on the locale.

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

bool isLetter(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

bool isHexadecimal(char character) {
    return isDigit(character) || (character >= 'a' && character <= 'f') ||
           (character >= 'A' && character <= 'F');
}

bool isBlank(char character) {
    return character == ' ' || character == '\t' || character == '\r';
}

bool isControl(char character) {
    return static_cast<unsigned char>(character) < 0x20 || character == 0x7f;
}

/// Characters that mean themselves anywhere.
bool isPlain(char character) {
    return isDigit(character) || isLetter(character) || character == '.' || character == '-' ||
           character == '_';
}

std::string hexadecimalEscape(char character) {
    std::array<char, 2> digits{};
    const auto written =
        std::to_chars(digits.begin(), digits.end(),
                      static_cast<unsigned>(static_cast<unsigned char>(character)), 16);
    return "\\x" + std::string(digits.begin(), written.ptr);
}

bool appendUTF8(std::string& text, std::uint32_t codePoint) {
    const auto byte = [&](std::uint32_t bits) { text += static_cast<char>(bits); };
    const auto trailing = [&](unsigned shift) { byte(0x80U | ((codePoint >> shift) & 0x3FU)); };
    if (codePoint < 0x80) {
        byte(codePoint);
    } else if (codePoint < 0x800) {
        byte(0xC0U | (codePoint >> 6U));
        trailing(0);
    } else if (codePoint < 0x10000) {
        byte(0xE0U | (codePoint >> 12U));
        trailing(6);
        trailing(0);
    } else if (codePoint < 0x110000) {
        byte(0xF0U | (codePoint >> 18U));
        trailing(12);
        trailing(6);
        trailing(0);
    } else {
        return false;
    }
    return true;
}

/// Reads what follows a backslash and takes it from `rest`; false when it is no escape.
bool appendEscape(std::string& text, std::string_view& rest) {
    if (rest.empty())
        return false;
    const auto* const escape =
        std::find_if(escapes.begin(), escapes.end(),
                     [&](const auto& candidate) { return candidate.first == rest.front(); });
    if (escape != escapes.end()) {
        text += escape->second;
        rest.remove_prefix(1);
        return true;
    }
    const bool isHex = rest.front() == 'x';
    if (isHex)
        rest.remove_prefix(1);
    std::uint32_t codePoint = 0;
    const auto [end, error] =
        std::from_chars(rest.data(), rest.data() + rest.size(), codePoint, isHex ? 16 : 8);
    if (error != std::errc())
        return false;
    rest.remove_prefix(static_cast<std::size_t>(end - rest.data()));
    return appendUTF8(text, codePoint);
}

/// Takes quotes, escapes, outer blanks and a comment away; nothing when the value is damaged.
std::optional<std::string> unquoted(std::string_view value) {
    std::string text;
    std::size_t length = 0; // without the blanks before a comment or the line's end
    bool quoted = false;
    while (!value.empty() && (quoted || value.front() != ';')) {
        const char character = value.front();
        value.remove_prefix(1);
        if (character == '"')
            quoted = !quoted;
        else if (character != '\\')
            text += character;
        else if (!appendEscape(text, value))
            return std::nullopt;
        if (quoted || !isBlank(character))
            length = text.size();
        else if (length == 0)
            text.clear();
    }
    if (quoted || !UTF8::isValid(text))
        return std::nullopt;
    text.resize(length);
    return text;
}

/// Whether QSettings would take the text for something else, such as "@ByteArray(…)".
bool isTypedValue(std::string_view text) {
    if (!text.starts_with('@') || !text.ends_with(')'))
        return false;
    const auto nameEnd = std::find_if_not(text.begin() + 1, text.end(), isLetter);
    return *nameEnd == '(' && nameEnd != text.begin() + 1;
}

} // namespace

std::string ofText(std::string_view text) {
    if (!text.empty() && std::all_of(text.begin(), text.end(), isPlain))
        return std::string(text);
    std::string value = text.starts_with('@') ? "\"@" : "\"";
    bool afterHexadecimal = false; // whose end a further digit would hide
    for (const char character : text) {
        const auto* const escape =
            std::find_if(escapes.begin(), escapes.end(),
                         [&](const auto& candidate) { return candidate.second == character; });
        const bool needsHexadecimal =
            isControl(character) || (afterHexadecimal && isHexadecimal(character));
        if (escape != escapes.end())
            value += {'\\', escape->first};
        else if (needsHexadecimal)
            value += hexadecimalEscape(character);
        else
            value += character;
        afterHexadecimal = escape == escapes.end() && needsHexadecimal;
    }
    return value + '"';
}

std::string ofBoolean(bool value) {
    return value ? "true" : "false";
}

std::optional<std::string> text(std::string_view value) {
    std::optional<std::string> text = unquoted(value);
    if (!text || isTypedValue(*text))
        return std::nullopt;
    if (text->starts_with("@@"))
        text->erase(0, 1);
    return text;
}

std::optional<bool> boolean(std::string_view value) {
    std::string word = unquoted(value).value_or("");
    std::transform(word.begin(), word.end(), word.begin(), [](char character) {
        return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a')
                                                    : character;
    });
    if (word == "true" || word == "yes" || word == "1")
        return true;
    if (word == "false" || word == "no" || word == "0")
        return false;
    return std::nullopt;
}

} // namespace Bleedwise::SettingsValue
