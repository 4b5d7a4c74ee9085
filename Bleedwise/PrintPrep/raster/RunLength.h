#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

/// Run length encoding as PDF's RunLengthDecode filter undoes it (ISO 32000-1, 7.4.5). Any thread.
namespace Bleedwise::RunLength {

/// `bytes` with its end marker; empty when that would take more than `limit` bytes.
std::string encoded(std::span<const std::uint8_t> bytes, std::size_t limit);

} // namespace Bleedwise::RunLength
