#include "PrintPrep/raster/FastDeflate.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <libdeflate.h>

namespace Bleedwise {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Position = FastDeflate::Position;

/// Like a photograph's, the same at every run.
Bytes noise(std::size_t count) {
    Bytes bytes;
    std::uint32_t random = 1;
    while (bytes.size() < count) {
        random = random * 1664525 + 1013904223; // Numerical Recipes' generator
        bytes.push_back(static_cast<std::uint8_t>(random >> 24U));
    }
    return bytes;
}

/// At most `size` bytes out of a raw stream; empty when it is not complete and correct.
Bytes inflated(const std::string& stream, std::size_t size) {
    const std::unique_ptr<libdeflate_decompressor, decltype(&libdeflate_free_decompressor)>
        decompressor(libdeflate_alloc_decompressor(), libdeflate_free_decompressor);
    Bytes bytes(size + 1);
    std::size_t written = 0;
    const auto result = libdeflate_deflate_decompress(
        decompressor.get(), stream.data(), stream.size(), bytes.data(), bytes.size(), &written);
    bytes.resize(result == LIBDEFLATE_SUCCESS ? written : 0);
    return bytes;
}

std::string whole(FastDeflate& deflate, const Bytes& bytes) {
    deflate.begin();
    return deflate.finish(bytes, Position::endOfStream);
}

class FastDeflateOfSize : public testing::TestWithParam<std::size_t> {};

TEST_P(FastDeflateOfSize, LosesNothing) {
    const auto deflate = std::make_unique<FastDeflate>();
    const Bytes bytes = noise(GetParam());
    EXPECT_EQ(inflated(whole(*deflate, bytes), bytes.size()), bytes);
}

INSTANTIATE_TEST_SUITE_P(, FastDeflateOfSize,
                         testing::Values(0, 1, 15, 16, 17, 18, 300, 100'000, 3'000'000));

TEST(FastDeflate, LosesNothingOfPartsAndStretches) {
    const auto deflate = std::make_unique<FastDeflate>();
    const Bytes bytes = noise(400'000);
    const std::span<const std::uint8_t> all(bytes);
    deflate->begin();
    deflate->add(all.first(17));
    deflate->add(all.subspan(17, 90'000));
    std::string stream = deflate->finish(all.subspan(90'017, 5), Position::insideStream);
    deflate->begin();
    stream += deflate->finish(all.subspan(90'022), Position::endOfStream);
    EXPECT_EQ(inflated(stream, bytes.size()), bytes);
}

TEST(FastDeflate, GivesTheSameBytesInUsedMemory) {
    const auto fresh = std::make_unique<FastDeflate>();
    const auto used = std::make_unique<FastDeflate>();
    whole(*used, noise(3'000'000));
    Bytes bytes = noise(200'000);
    bytes.resize(300'000, 7);
    EXPECT_TRUE(whole(*fresh, bytes) == whole(*used, bytes)); // too long to be shown
}

/// The hash by which igzip keeps where bytes have been: CRC-32C of four of them.
std::uint32_t hashOf(std::uint32_t word) {
    for (int bit = 0; bit < 32; ++bit)
        word = word >> 1U ^ ((word & 1U) != 0 ? 0x82f63b78U : 0U);
    return word & 0x7fffU;
}

/// Bytes that come twice, first as the third and following ones, with a hash that is one of
/// `address`.
Bytes bytesThatHashLike(std::uintptr_t address) {
    const std::uint32_t wanted = hashOf(static_cast<std::uint32_t>(address >> 16U));
    std::uint32_t word = 0x9badc0de;
    while (hashOf(word) != wanted)
        ++word;
    Bytes bytes = noise(20'000);
    for (std::uint8_t& byte : bytes)
        byte %= 64; // worth compressing
    for (std::size_t i = 0; i < sizeof word; ++i)
        bytes[2 + i] = bytes[200 + i] = static_cast<std::uint8_t>(word >> 8 * i);
    return bytes;
}

TEST(FastDeflate, GivesTheSameBytesWhereverItsMemoryLies) {
    // igzip 2.30 looks for a stretch's third byte by the address of its stream, less its 16 lowest
    // bits, which is where the object begins.
    const auto here = std::make_unique<FastDeflate>();
    const auto there = std::make_unique<FastDeflate>();
    const Bytes bytes = bytesThatHashLike(reinterpret_cast<std::uintptr_t>(here.get()));
    EXPECT_EQ(whole(*here, bytes), whole(*there, bytes));
}

} // namespace
} // namespace Bleedwise
