#pragma once

#include "support/TemporaryFolder.h"

#include <cstddef>

namespace Bleedwise::Testing {

/// How many descriptors this process has open, one for looking included.
inline std::size_t openDescriptors() {
    return entryCount("/proc/self/fd");
}

} // namespace Bleedwise::Testing
