#include "PrintPrep/platform/AvailableMemory.h"

#include <algorithm>
#include <fstream>
#include <limits>
#include <optional>
#include <string>

#include <sys/resource.h>

namespace Bleedwise {
namespace {

constexpr std::uint64_t unlimited = std::numeric_limits<std::uint64_t>::max();

/// "MemAvailable" of proc(5): what the kernel can give without swapping.
std::uint64_t machineMemory() {
    std::ifstream file("/proc/meminfo");
    std::string name;
    std::uint64_t kibibytes = 0;
    for (std::string unit; file >> name >> kibibytes; std::getline(file, unit)) {
        if (name == "MemAvailable:")
            return kibibytes * 1024;
    }
    return unlimited;
}

std::optional<std::uint64_t> number(const std::string& url) {
    std::ifstream file(url);
    std::uint64_t value = 0;
    if (file >> value) // fails on "max"
        return value;
    return std::nullopt;
}

/// What the process's control group (cgroups(7), version 2) and its parents have left.
std::uint64_t groupMemory() {
    std::ifstream file("/proc/self/cgroup");
    std::string line;
    while (std::getline(file, line) && !line.starts_with("0::")) {
    }
    std::uint64_t smallest = unlimited;
    std::string group = line.starts_with("0::") ? line.substr(3) : std::string();
    while (true) {
        const std::string folder = "/sys/fs/cgroup" + group;
        const auto limit = number(folder + "/memory.max");
        const auto used = number(folder + "/memory.current");
        if (limit && used)
            smallest = std::min(smallest, *limit > *used ? *limit - *used : 0);
        if (group.empty())
            return smallest;
        group.resize(group.rfind('/'));
    }
}

/// What the process's own limit on its address space has left is not known exactly; the limit
/// itself bounds it.
std::uint64_t processMemory() {
    rlimit limit{};
    if (::getrlimit(RLIMIT_AS, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY)
        return unlimited;
    return limit.rlim_cur;
}

} // namespace

std::uint64_t availableMemory() {
    return std::min({machineMemory(), groupMemory(), processMemory()});
}

} // namespace Bleedwise
