#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

/// Run length encoding as PDF's RunLengthDecode filter undoes it (ISO 32000-1, 7.4.5). Any thread.
namespace Bleedwise::RunLength {

/// `bytes` without the end marker, so that results can be joined; nothing when that would take more
/// than `limit` bytes.
std::optional<std::string> encoded(std::span<const std::uint8_t> bytes, std::size_t limit);

/// What follows the last result.
inline constexpr char endOfData = '\x80';

} // namespace Bleedwise::RunLength
