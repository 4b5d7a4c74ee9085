#include "PrintPrep/platform/AllocatorTuning.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define BLEEDWISE_GNU_ALLOCATOR
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace Bleedwise::AllocatorTuning {

#ifdef BLEEDWISE_GNU_ALLOCATOR

void forShortRun() noexcept {
    constexpr int largestOnHeap = 32 << 20; // the most that the allocator takes
    constexpr int kept = 256 << 20;
    constexpr int step = 8 << 20; // covers one small page's profile, predictor and stream
    ::mallopt(M_ARENA_MAX, 1);    // what one thread frees, another may have
    ::mallopt(M_MMAP_THRESHOLD, largestOnHeap);
    ::mallopt(M_TRIM_THRESHOLD, kept);
    ::mallopt(M_TOP_PAD, step);

    // The heap grows by the first block that does not fit in what the program's start has left.
    constexpr std::uintptr_t largePage = 2U << 20U;
    void* const block = std::malloc(largePage);
    const auto past = reinterpret_cast<std::uintptr_t>(block) % largePage;
    char* const begin = static_cast<char*>(block) + (past == 0 ? 0 : largePage - past);
    constexpr auto most = static_cast<std::ptrdiff_t>(step + largePage);
    const std::ptrdiff_t size = static_cast<char*>(::sbrk(0)) - begin;
    if (block && size > 0 && size <= most)
        ::madvise(begin, static_cast<std::size_t>(size), MADV_HUGEPAGE);
    std::free(block);
}

#else

void forShortRun() noexcept {}

#endif

} // namespace Bleedwise::AllocatorTuning
