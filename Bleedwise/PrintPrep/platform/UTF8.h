#pragma once

#include <string_view>

namespace Bleedwise::UTF8 {

/// Whether the bytes are well-formed UTF-8 (Unicode 15, table 3-7): no overlong forms, no
/// surrogates, nothing above U+10FFFF.
bool isValid(std::string_view bytes);

} // namespace Bleedwise::UTF8
