#include "PrintPrep/platform/AvailableProcessors.h"

#include <algorithm>
#include <thread>

#include <sched.h>

namespace Bleedwise {

unsigned availableProcessors() {
    cpu_set_t processors;
    CPU_ZERO(&processors);
    if (::sched_getaffinity(0, sizeof processors, &processors) == 0)
        return static_cast<unsigned>(CPU_COUNT(&processors));
    return std::max(1U, std::thread::hardware_concurrency()); // more of them than fit into the set
}

} // namespace Bleedwise
