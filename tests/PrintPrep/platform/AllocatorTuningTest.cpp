#include "PrintPrep/platform/AllocatorTuning.h"

#include <cstddef>
#include <memory>
#include <thread>

#include <gtest/gtest.h>
#include <sys/resource.h>

namespace Bleedwise {
namespace {

constexpr std::size_t blockSize = 3U << 20U;

/// Pages that the system had to deliver for a block of memory that was written and given back.
long faultsOfBlock() {
    rusage before{};
    ::getrusage(RUSAGE_SELF, &before);
    {
        const auto block = std::make_unique_for_overwrite<volatile char[]>(blockSize);
        for (std::size_t byte = 0; byte < blockSize; byte += 512)
            block[byte] = 1;
    }
    rusage after{};
    ::getrusage(RUSAGE_SELF, &after);
    return after.ru_minflt - before.ru_minflt;
}

class AllocatorTuning : public ::testing::Test {
protected:
    void SetUp() override {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
        GTEST_SKIP() << "the sanitizers have an allocator of their own";
#endif
        Bleedwise::AllocatorTuning::forShortRun();
    }
};

TEST_F(AllocatorTuning, KeepsFreedMemoryForTheNext) {
    faultsOfBlock();
    EXPECT_LT(faultsOfBlock(), 32);
}

TEST_F(AllocatorTuning, KeepsFreedMemoryForOtherThreads) {
    faultsOfBlock();
    long faults = 0;
    std::thread([&] { faults = faultsOfBlock(); }).join();
    EXPECT_LT(faults, 32);
}

} // namespace
} // namespace Bleedwise
