#include "PrintPrep/platform/SharedMemory.h"

#include <cerrno>
#include <cstdint>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Bleedwise {
namespace {

/// What `map()` shows.
std::string contentsOf(const SharedMemory& memory) {
    const std::shared_ptr<std::uint8_t> mapping = memory.map();
    return {reinterpret_cast<const char*>(mapping.get()), memory.size()};
}

TEST(SharedMemory, BeginsAsZero) {
    auto memory = SharedMemory::create(3).value();
    ASSERT_TRUE(memory.finish());
    EXPECT_EQ(contentsOf(memory), std::string(3, '\0'));
}

TEST(SharedMemory, HasWhatWasWrittenIntoIt) {
    auto memory = SharedMemory::create(3).value();
    ASSERT_EQ(::pwrite(memory.descriptor(), "abc", 3, 0), 3);
    ASSERT_TRUE(memory.finish());
    EXPECT_EQ(contentsOf(memory), "abc");
}

TEST(SharedMemory, ShowsAtOnceWhatAnotherProcessWrites) {
    const auto memory = SharedMemory::create(3).value();
    const auto shown = memory.map();
    ASSERT_EQ(::pwrite(memory.descriptor(), "abc", 3, 0), 3);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(shown.get()), 3), "abc");
}

TEST(SharedMemory, CanBeReadWhereAnotherProcessGaveIt) {
    const auto memory = SharedMemory::copyOf("abc").value();
    const auto given = SharedMemory::received(FileDescriptor(::dup(memory.descriptor())), 3);
    ASSERT_TRUE(given);
    EXPECT_EQ(contentsOf(*given), "abc");
}

TEST(SharedMemory, IsNotTakenForLargerThanItIs) {
    const auto memory = SharedMemory::copyOf("abc").value();
    EXPECT_FALSE(SharedMemory::received(FileDescriptor(::dup(memory.descriptor())), 4));
}

TEST(SharedMemory, KeepsItsBytesWhenItIsPopulated) {
    auto memory = SharedMemory::create(10'000).value();
    ASSERT_EQ(::pwrite(memory.descriptor(), "abc", 3, 5'000), 3);
    memory.populate();
    EXPECT_EQ(contentsOf(memory), std::string(5'000, '\0') + "abc" + std::string(4'997, '\0'));
}

TEST(SharedMemory, HasAllItsMemoryWhenItIsPopulated) {
    auto memory = SharedMemory::create(1 << 20).value();
    memory.populate();
    struct stat status = {};
    ASSERT_EQ(::fstat(memory.descriptor(), &status), 0);
    EXPECT_GE(status.st_blocks * 512, 1 << 20);
}

TEST(SharedMemory, CannotBeHadInEmptyPieces) {
    EXPECT_FALSE(SharedMemory::create(0));
}

TEST(SharedMemory, CannotBeMadeSmaller) {
    const auto memory = SharedMemory::create(8192).value();
    EXPECT_EQ(::ftruncate(memory.descriptor(), 1), -1);
    EXPECT_EQ(errno, EPERM);
}

TEST(SharedMemory, CannotBeMadeLarger) {
    const auto memory = SharedMemory::create(8192).value();
    EXPECT_EQ(::ftruncate(memory.descriptor(), 8193), -1);
    EXPECT_EQ(errno, EPERM);
}

TEST(SharedMemory, CannotBeWrittenWhenItIsFinished) {
    auto memory = SharedMemory::create(3).value();
    ASSERT_TRUE(memory.finish());
    EXPECT_EQ(::pwrite(memory.descriptor(), "abc", 3, 0), -1);
    EXPECT_EQ(errno, EPERM);
}

TEST(SharedMemory, CannotBeMappedForWritingWhenItIsFinished) {
    auto memory = SharedMemory::create(3).value();
    ASSERT_TRUE(memory.finish());
    EXPECT_EQ(::mmap(nullptr, 3, PROT_READ | PROT_WRITE, MAP_SHARED, memory.descriptor(), 0),
              MAP_FAILED);
}

TEST(SharedMemory, IsNotFinishedWhileSomebodyCanStillChangeIt) {
    auto memory = SharedMemory::create(3).value();
    void* held = ::mmap(nullptr, 3, PROT_READ | PROT_WRITE, MAP_SHARED, memory.descriptor(), 0);
    ASSERT_NE(held, MAP_FAILED);
    EXPECT_FALSE(memory.finish());
    ::munmap(held, 3);
}

/// The permissions of this process's mapping that begins at that address, as /proc shows them.
std::string permissionsOf(const void* address) {
    std::ostringstream begin;
    begin << std::hex << reinterpret_cast<std::uintptr_t>(address) << '-';
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        if (line.starts_with(begin.str()))
            return line.substr(line.find(' ') + 1, 4);
    }
    return {};
}

TEST(SharedMemory, IsMappedInAWayThatOldKernelsAllowWhenItIsFinished) {
    const auto memory = SharedMemory::copyOf("abc").value();
    const auto shown = memory.mapFinished();
    ASSERT_TRUE(shown);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(shown.get()), 3), "abc");
    EXPECT_EQ(permissionsOf(shown.get()), "r--p"); // a shared mapping could be made writable
}

TEST(SharedMemory, CanBeAFinishedCopy) {
    const std::string bytes(100'000, 'x');
    const auto memory = SharedMemory::copyOf(bytes).value();
    EXPECT_EQ(contentsOf(memory), bytes);
    EXPECT_EQ(::pwrite(memory.descriptor(), "abc", 3, 0), -1);
}

} // namespace
} // namespace Bleedwise
