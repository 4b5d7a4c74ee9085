#pragma once

#include <cstdint>

namespace Bleedwise {

/// Bytes that this process can use now without pushing the machine into swap or itself over its
/// control group's limit. The largest number when the kernel does not tell.
std::uint64_t availableMemory();

} // namespace Bleedwise
