#pragma once

#include <string_view>

namespace Bleedwise {

/// Ends the process after a programming error: prints `message` and a line break on standard error
/// and aborts. Nothing is unwound and no file is touched.
[[noreturn]] void fatalError(std::string_view message) noexcept;

} // namespace Bleedwise
