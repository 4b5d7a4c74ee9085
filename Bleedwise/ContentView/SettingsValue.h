#pragma once

#include <optional>
#include <string>
#include <string_view>

/// Values as they are written behind "=" in a settings file. The dialect is that of QSettings' INI
/// files, so that other programs and people can read and write them; a comma without quotes is a
/// plain character, as a person means it. All text is UTF-8.
namespace Bleedwise::SettingsValue {

/// On one line, whatever the text is.
std::string ofText(std::string_view text);
std::string ofBoolean(bool value);

/// Nothing when the value is damaged or is no text, such as a list of bytes.
std::optional<std::string> text(std::string_view value);
/// Nothing when the value is neither true nor false.
std::optional<bool> boolean(std::string_view value);

} // namespace Bleedwise::SettingsValue
