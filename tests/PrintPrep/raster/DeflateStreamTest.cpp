#include "PrintPrep/raster/DeflateStream.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <libdeflate.h>
#include <rapidcheck/gtest.h>

namespace Bleedwise::DeflateStream {
namespace {

std::string deflated(const std::string& bytes, int level) {
    const std::unique_ptr<libdeflate_compressor, decltype(&libdeflate_free_compressor)> compressor(
        libdeflate_alloc_compressor(level), libdeflate_free_compressor);
    std::string result(libdeflate_deflate_compress_bound(compressor.get(), bytes.size()), '\0');
    result.resize(libdeflate_deflate_compress(compressor.get(), bytes.data(), bytes.size(),
                                              result.data(), result.size()));
    return result;
}

/// Nothing unless `stream` is exactly one complete stream.
std::optional<std::string> inflated(const std::string& stream, std::size_t size) {
    const std::unique_ptr<libdeflate_decompressor, decltype(&libdeflate_free_decompressor)>
        decompressor(libdeflate_alloc_decompressor(), libdeflate_free_decompressor);
    std::string result(size + 1, '\0'); // a byte too many would show
    std::size_t read = 0;
    std::size_t written = 0;
    const auto status =
        libdeflate_deflate_decompress_ex(decompressor.get(), stream.data(), stream.size(),
                                         result.data(), result.size(), &read, &written);
    if (status != LIBDEFLATE_SUCCESS || read != stream.size())
        return std::nullopt;
    result.resize(written);
    return result;
}

std::string noise(std::size_t size) {
    std::string bytes;
    for (std::uint32_t random = 1; bytes.size() < size; random = random * 1664525 + 1013904223)
        bytes += static_cast<char>(random >> 24U);
    return bytes;
}

struct Case {
    const char* name;
    std::string bytes;
    int level;
};

class ContinuedDeflateStream : public testing::TestWithParam<Case> {};

TEST_P(ContinuedDeflateStream, CanBeFollowedByAnother) {
    const std::string& bytes = GetParam().bytes;
    const std::string joined = continued(deflated(bytes, GetParam().level)) + deflated("behind", 6);
    EXPECT_EQ(inflated(joined, bytes.size() + 6), bytes + "behind");
}

TEST_P(ContinuedDeflateStream, IsNoCompleteStreamItself) {
    const std::string& bytes = GetParam().bytes;
    EXPECT_EQ(inflated(continued(deflated(bytes, GetParam().level)), bytes.size()), std::nullopt);
}

std::string text(std::size_t size) {
    std::string bytes;
    for (std::size_t i = 0; bytes.size() < size; ++i)
        bytes += std::to_string(i * i % 7919) + (i % 9 == 0 ? "\n" : " ");
    return bytes;
}

INSTANTIATE_TEST_SUITE_P(, ContinuedDeflateStream,
                         testing::Values(Case{"Nothing", "", 6},
                                         Case{"AFixedBlock", "abcabcabc", 6},
                                         Case{"StoredBlocks", noise(200'000), 0},
                                         Case{"StoredBlocksOfNoise", noise(200'000), 6},
                                         Case{"DynamicBlocks", text(2'000'000), 6},
                                         Case{"DynamicBlocksOfTheThoroughKind", text(300'000), 12},
                                         Case{"OneLongRun", std::string(3'000'000, '\0'), 6}),
                         [](const auto& test) { return test.param.name; });

RC_GTEST_PROP(DeflateStream, JoinsAnyPieces, (const std::vector<std::string>& pieces)) {
    std::string bytes;
    std::string stream;
    for (const std::string& piece : pieces) {
        const int level = *rc::gen::inRange(0, 13);
        bytes += piece;
        stream += continued(deflated(piece, level));
    }
    stream += deflated("end", 6);
    RC_ASSERT(inflated(stream, bytes.size() + 3) == bytes + "end");
}

TEST(DeflateStream, RefusesAStreamThatBreaksOff) {
    const std::string stream = deflated(text(5'000), 6);
    for (std::size_t size = 0; size < stream.size(); size += 7)
        EXPECT_THROW(continued(stream.substr(0, size)), std::invalid_argument) << size;
}

TEST(DeflateStream, RefusesAnUnknownKindOfBlock) {
    EXPECT_THROW(continued("\x07"), std::invalid_argument);
}

} // namespace
} // namespace Bleedwise::DeflateStream
