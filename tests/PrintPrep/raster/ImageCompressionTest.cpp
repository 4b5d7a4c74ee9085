#include "PrintPrep/raster/ImageCompression.h"

#include "PrintPrep/platform/SharedMemory.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <stop_token>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <libdeflate.h>
#include <sys/mman.h>
#include <unistd.h>

namespace Bleedwise {
namespace {

using ImageCompression::compressIfBlank;

CMYKImage imageOf(PixelSize size, const std::string& pixels) {
    PixelBuffer buffer = PixelBuffer::zeroed(pixels.size());
    std::copy(pixels.begin(), pixels.end(), buffer.data());
    return {size, std::move(buffer)};
}

std::string blank(PixelSize size) {
    return std::string(static_cast<std::size_t>(size.bytes()), '\0');
}

/// Like a photograph: no two neighbours alike, the same at every run.
std::string noise(PixelSize size) {
    std::string pixels;
    std::uint32_t random = 1;
    for (std::int64_t i = 0; i < size.bytes(); ++i) {
        random = random * 1664525 + 1013904223; // Numerical Recipes' generator
        pixels += static_cast<char>(random >> 24U);
    }
    return pixels;
}

std::string compressed(const CMYKImage& image) {
    std::string result;
    ImageCompression::compress(image, [&](std::string_view piece) { result += piece; });
    return result;
}

/// Exactly `size` bytes out of a zlib stream; empty when it gives other than that.
std::string inflated(const std::string& compressed, std::size_t size) {
    const std::unique_ptr<libdeflate_decompressor, decltype(&libdeflate_free_decompressor)>
        decompressor(libdeflate_alloc_decompressor(), libdeflate_free_decompressor);
    std::string bytes(size, '\0');
    const auto result = libdeflate_zlib_decompress(decompressor.get(), compressed.data(),
                                                   compressed.size(), bytes.data(), size, nullptr);
    return result == LIBDEFLATE_SUCCESS ? bytes : std::string();
}

/// What a PDF reader makes of PNG-predicted rows (ISO 32000-1, 7.4.4.4) by the types None, Sub and
/// Up.
std::string withoutPredictor(PixelSize size, const std::string& rows) {
    const auto rowBytes = static_cast<std::size_t>(4 * size.width);
    std::string pixels;
    for (std::size_t start = 0; start + rowBytes < rows.size(); start += rowBytes + 1) {
        for (std::size_t i = 0; i < rowBytes; ++i) {
            const std::size_t distance = rows[start] == 1 ? 4 : rowBytes;
            const bool hasNeighbour = rows[start] != 0 && (rows[start] == 1 ? i >= 4 : start > 0);
            const char neighbour = hasNeighbour ? pixels[pixels.size() - distance] : '\0';
            pixels += static_cast<char>(rows[start + 1 + i] + neighbour);
        }
    }
    return pixels;
}

std::string restored(PixelSize size, const std::string& compressed) {
    return withoutPredictor(
        size, inflated(compressed, static_cast<std::size_t>(size.bytes() + size.height)));
}

TEST(Compress, LosesNothingOfNoise) {
    const PixelSize size = {61, 700};
    EXPECT_EQ(restored(size, compressed(imageOf(size, noise(size)))), noise(size));
}

TEST(Compress, LosesNothingOfBlankPages) {
    const PixelSize size = {300, 300};
    EXPECT_EQ(restored(size, compressed(imageOf(size, blank(size)))), blank(size));
}

TEST(Compress, LosesNothingOfOnePixel) {
    const PixelSize size = {1, 1};
    EXPECT_EQ(restored(size, compressed(imageOf(size, "CMYK"))), "CMYK");
}

TEST(Compress, LosesNothingOfAPageOfManyPieces) {
    const PixelSize size = {997, 2400};
    EXPECT_EQ(restored(size, compressed(imageOf(size, noise(size)))), noise(size));
}

TEST(Compress, LosesNothingOfRowsLargerThanItsSteps) {
    const PixelSize size = {700'000, 3}; // 2.8 MB per row
    EXPECT_EQ(restored(size, compressed(imageOf(size, noise(size)))), noise(size));
}

TEST(Compress, GivesTheSameBytesAgain) {
    const PixelSize size = {61, 700};
    EXPECT_EQ(compressed(imageOf(size, noise(size))), compressed(imageOf(size, noise(size))));
}

TEST(Compress, GivesLargeResultsInPieces) {
    const PixelSize size = {1000, 2400};
    std::size_t largest = 0;
    ImageCompression::compress(imageOf(size, noise(size)), [&](std::string_view piece) {
        largest = std::max(largest, piece.size());
    });
    EXPECT_LE(largest, static_cast<std::size_t>(size.bytes()) / 3);
}

TEST(Compress, NamesTheRowsForTheFilter) {
    EXPECT_EQ(ImageCompression::parameters(imageOf({61, 1}, noise({61, 1}))),
              "<< /Predictor 15 /Colors 4 /Columns 61 >>");
}

TEST(CompressBytes, LosesNothing) {
    for (const std::string& bytes : {std::string(), std::string("a"), noise({100, 100})})
        EXPECT_EQ(inflated(ImageCompression::compressBytes(bytes), bytes.size()), bytes);
}

/// What a PDF reader makes of run lengths (ISO 32000-1, 7.4.5).
std::string withoutRuns(const std::string& data) {
    std::string bytes;
    for (std::size_t i = 0; i < data.size();) {
        const auto length = static_cast<unsigned char>(data[i++]);
        if (length == 128)
            return bytes;
        const std::size_t count = length < 128 ? length + 1U : 257U - length;
        bytes += length < 128 ? data.substr(i, count) : std::string(count, data.at(i));
        i += length < 128 ? count : 1;
    }
    return "no end";
}

/// At most `size` bytes out of a zlib stream.
std::string inflatedUpTo(const std::string& compressed, std::size_t size) {
    const std::unique_ptr<libdeflate_decompressor, decltype(&libdeflate_free_decompressor)>
        decompressor(libdeflate_alloc_decompressor(), libdeflate_free_decompressor);
    std::string bytes(size, '\0');
    std::size_t written = 0;
    const auto result = libdeflate_zlib_decompress(decompressor.get(), compressed.data(),
                                                   compressed.size(), bytes.data(), size, &written);
    return result == LIBDEFLATE_SUCCESS ? bytes.substr(0, written) : std::string();
}

TEST(CompressIfBlank, LosesNothingOfWhitePaperWithInk) {
    const PixelSize size = {300, 300};
    std::string pixels = blank(size);
    pixels.replace(4000, 8000, 8000, '\x7f');
    const std::string bytes = compressIfBlank(imageOf(size, pixels));
    EXPECT_EQ(withoutRuns(inflatedUpTo(bytes, pixels.size())), pixels);
}

TEST(CompressIfBlank, LosesNothingOfAPageOfManyPieces) {
    const PixelSize size = {2500, 3500};
    std::string pixels = blank(size);
    std::string word = noise({20, 10});
    for (std::size_t i = 0; i + word.size() < pixels.size(); i += 6 * word.size()) {
        std::next_permutation(word.begin(), word.end());
        pixels.replace(i, word.size(), word);
    }
    const std::string bytes = compressIfBlank(imageOf(size, pixels));
    ASSERT_NE(bytes, "");
    EXPECT_EQ(withoutRuns(inflatedUpTo(bytes, pixels.size())), pixels);
}

TEST(CompressIfBlank, LeavesOtherBitmapsAlone) {
    const PixelSize size = {300, 300};
    std::string coloured;
    while (coloured.size() < static_cast<std::size_t>(size.bytes()))
        coloured += "\x10\x20\x30\x40";
    EXPECT_EQ(compressIfBlank(imageOf(size, noise(size))), "");
    EXPECT_EQ(compressIfBlank(imageOf(size, coloured)), "");
}

TEST(CompressIfBlank, TakesABitmapWhoseInkIsAllAtItsTop) {
    const PixelSize size = {100, 2000};
    const std::string pixels = noise({100, 200}) + blank({100, 1800});
    const std::string bytes = compressIfBlank(imageOf(size, pixels));
    EXPECT_EQ(withoutRuns(inflatedUpTo(bytes, pixels.size())), pixels);
}

TEST(CompressIfBlank, LeavesABitmapAloneWhoseSampleAloneIsBlank) {
    const PixelSize size = {300, 300};
    std::string pixels = noise(size);
    constexpr std::size_t rowBytes = 1200;
    constexpr std::size_t sample = 8 * rowBytes;
    for (std::size_t row = 0; row < 300; row += 128)
        pixels.replace(row * rowBytes, sample, sample, '\0');
    EXPECT_EQ(compressIfBlank(imageOf(size, pixels)), "");
}

TEST(CompressIfBlank, GivesTheSameBytesAgain) {
    const PixelSize size = {1000, 3000};
    EXPECT_EQ(compressIfBlank(imageOf(size, blank(size))),
              compressIfBlank(imageOf(size, blank(size))));
}

/// A bitmap whose bytes somebody changes all the time, as a renderer that a document has taken over
/// might: seen by its reader through a mapping of its own.
class ChangingBitmap : public testing::Test {
protected:
    static constexpr PixelSize size = {500, 2000};

    CMYKImage image() const {
        return {size, PixelBuffer(memory.map(), static_cast<std::size_t>(size.bytes()))};
    }

    const SharedMemory memory =
        SharedMemory::create(static_cast<std::size_t>(size.bytes())).value();
    std::jthread changer = std::jthread([this](const std::stop_token& stop) {
        const int file = ::dup(memory.descriptor());
        void* const mapping =
            ::mmap(nullptr, memory.size(), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
        ::close(file);
        if (mapping == MAP_FAILED)
            return;
        auto* const bytes = static_cast<std::uint8_t*>(mapping);
        std::uint32_t random = 1;
        while (!stop.stop_requested()) {
            random = random * 1664525 + 1013904223;
            bytes[random % 10'000 * (memory.size() / 10'000)] ^= 1U;
        }
        ::munmap(mapping, memory.size());
    });
};

TEST_F(ChangingBitmap, IsCompressedToOneOfItsSize) {
    const std::string result = compressed(image());
    EXPECT_NE(inflated(result, static_cast<std::size_t>(size.bytes() + size.height)), "");
}

TEST_F(ChangingBitmap, IsCompressedToOneOfItsSizeWhenItIsBlank) {
    const std::string runs = inflatedUpTo(compressIfBlank(image()), memory.size());
    EXPECT_EQ(withoutRuns(runs).size(), memory.size());
}

} // namespace
} // namespace Bleedwise
