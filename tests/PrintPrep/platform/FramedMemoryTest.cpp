#include "PrintPrep/platform/FramedMemory.h"

#include "PrintPrep/platform/SharedMemory.h"
#include "support/ResourceLimit.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

namespace Bleedwise {
namespace {

/// Somebody who writes stretches of the memory.
class Writer {
public:
    explicit Writer(const SharedMemory& memory)
        : framed_(FramedMemory::map(FileDescriptor(::dup(memory.descriptor())), memory.size())) {}

    /// Writes `letter` all over the stretch and what lies beside it.
    void write(std::size_t offset, std::size_t size, std::size_t frame, char letter) {
        std::uint8_t* bytes = framed_.value().stretch(offset, size, frame);
        ASSERT_NE(bytes, nullptr);
        std::fill(bytes - frame, bytes + size + frame, static_cast<std::uint8_t>(letter));
    }
    void store() { EXPECT_TRUE(framed_.value().store()); }

private:
    std::optional<FramedMemory> framed_;
};

std::string contentsOf(const SharedMemory& memory) {
    const auto bytes = memory.map();
    return {reinterpret_cast<const char*>(bytes.get()), memory.size()};
}

constexpr std::size_t size = 100'003;

/// Where stretches lie, with frames of some size.
struct Case {
    const char* name;
    std::size_t offset;
    std::size_t size;
    std::size_t frame;
};

[[maybe_unused]] void PrintTo(const Case& stretch, std::ostream* stream) {
    *stream << stretch.name;
}

std::string caseName(const testing::TestParamInfo<Case>& info) {
    return info.param.name;
}

class Stretches : public testing::TestWithParam<Case> {};

TEST_P(Stretches, AreWrittenAndNothingBesideThem) {
    const Case& stretch = GetParam();
    const auto memory = SharedMemory::create(size).value();
    Writer writer(memory);
    writer.write(stretch.offset, stretch.size, stretch.frame, 'x');
    writer.store();
    std::string expected(size, '\0');
    std::fill_n(expected.begin() + static_cast<std::ptrdiff_t>(stretch.offset), stretch.size, 'x');
    EXPECT_TRUE(contentsOf(memory) == expected);
}

INSTANTIATE_TEST_SUITE_P(Each, Stretches,
                         testing::ValuesIn<Case>({
                             {"All", 0, size, 500},
                             {"Beginning", 0, 50'000, 500},
                             {"End", 50'000, size - 50'000, 500},
                             {"Middle", 30'001, 40'001, 500},
                             {"WholePages", 8192, 16'384, 500},
                             {"WithoutFrame", 30'001, 40'001, 0},
                             {"FrameOfSeveralPages", 30'001, 40'001, 20'000},
                             {"FrameLongerThanAll", 30'001, 40'001, 200'000},
                             {"WithinOnePage", 8200, 100, 500},
                             {"AcrossAPageBoundary", 8150, 100, 500},
                             {"FirstByte", 0, 1, 500},
                             {"LastByte", size - 1, 1, 500},
                         }),
                         caseName);

TEST(FramedMemory, KeepsNeighboursThatAreWrittenAtTheSameTime) {
    const auto memory = SharedMemory::create(size).value();
    Writer upper(memory);
    Writer lower(memory);
    upper.write(0, 50'001, 3000, 'u');
    lower.write(50'001, size - 50'001, 3000, 'l');
    upper.store();
    lower.store();
    EXPECT_TRUE(contentsOf(memory) == std::string(50'001, 'u') + std::string(size - 50'001, 'l'));
}

TEST(FramedMemory, WritesOneStretchAfterTheOther) {
    const auto memory = SharedMemory::create(size).value();
    Writer writer(memory);
    std::string expected(size, '\0');
    std::mt19937 random(7); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same stretches every time
    for (int i = 0; i < 200; ++i) {
        const std::size_t offset = random() % size;
        const std::size_t length = 1 + random() % (size - offset);
        const char letter = static_cast<char>('a' + i % 26);
        writer.write(offset, length, random() % 9000, letter);
        writer.store();
        std::fill_n(expected.begin() + static_cast<std::ptrdiff_t>(offset), length, letter);
        ASSERT_TRUE(contentsOf(memory) == expected) << offset << ' ' << length;
    }
}

TEST(FramedMemory, ShowsWhatTheOthersWrote) {
    const auto memory = SharedMemory::create(size).value();
    auto framed =
        FramedMemory::map(FileDescriptor(::dup(memory.descriptor())), memory.size()).value();
    ASSERT_NE(framed.stretch(10'000, 100, 5000), nullptr);
    ASSERT_TRUE(framed.store());
    ASSERT_EQ(::pwrite(memory.descriptor(), "abc", 3, 10'000), 3);
    // What was private around the stretch before is shared now.
    const std::uint8_t* bytes = framed.stretch(0, size, 0);
    EXPECT_EQ(std::string(bytes + 10'000, bytes + 10'003), "abc");
}

#ifndef __SANITIZE_ADDRESS__ // which takes all address space for itself
std::size_t addressSpace() {
    std::ifstream file("/proc/self/statm"); // in pages, the first number
    std::size_t pages = 0;
    file >> pages;
    return pages * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

TEST(FramedMemory, TakesItsSizeOfAddressSpaceOnce) {
    constexpr std::size_t large = 512U << 20U;
    const auto memory = SharedMemory::create(large).value();
    const Testing::ResourceLimit limit(RLIMIT_AS, addressSpace() + large + large / 4);
    Writer writer(memory);
    writer.write(large / 2, 10'000, 1000, 'x');
    writer.store();
}
#endif

TEST(FramedMemory, CannotBeHadOfWhatIsNoMemory) {
    EXPECT_FALSE(FramedMemory::map(FileDescriptor(), size));
}

} // namespace
} // namespace Bleedwise
