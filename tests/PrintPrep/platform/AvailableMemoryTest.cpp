#include "PrintPrep/platform/AvailableMemory.h"

#include <cstdint>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

namespace Bleedwise {
namespace {

TEST(AvailableMemory, IsPartOfTheMachines) {
    const auto machine = static_cast<std::uint64_t>(::sysconf(_SC_PHYS_PAGES)) *
                         static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
    EXPECT_GT(availableMemory(), 0U);
    EXPECT_LE(availableMemory(), machine);
}

#ifndef __SANITIZE_ADDRESS__ // which needs more address space than any such limit leaves it
TEST(AvailableMemory, IsBoundedByTheProcesssOwnLimit) {
    rlimit limit{};
    ::getrlimit(RLIMIT_AS, &limit);
    const rlimit small = {1U << 30U, limit.rlim_max};
    ::setrlimit(RLIMIT_AS, &small);
    EXPECT_LE(availableMemory(), 1U << 30U);
    ::setrlimit(RLIMIT_AS, &limit);
}
#endif

} // namespace
} // namespace Bleedwise
