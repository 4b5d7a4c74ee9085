#include "PrintPrep/platform/AvailableProcessors.h"

#include <cstddef>
#include <thread>

#include <gtest/gtest.h>
#include <sched.h>

namespace Bleedwise {
namespace {

TEST(AvailableProcessors, AreSomeOfTheMachines) {
    EXPECT_GE(availableProcessors(), 1U);
    EXPECT_LE(availableProcessors(), std::thread::hardware_concurrency());
}

TEST(AvailableProcessors, AreThoseThatTheProcessWasGiven) {
    cpu_set_t all;
    ASSERT_EQ(::sched_getaffinity(0, sizeof all, &all), 0);
    std::size_t first = 0;
    while (!CPU_ISSET(first, &all))
        ++first;
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(first, &one);
    ASSERT_EQ(::sched_setaffinity(0, sizeof one, &one), 0);
    EXPECT_EQ(availableProcessors(), 1U);
    ::sched_setaffinity(0, sizeof all, &all);
}

} // namespace
} // namespace Bleedwise
