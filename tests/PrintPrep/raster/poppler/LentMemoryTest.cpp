#include "PrintPrep/raster/PopplerRenderer.h"
#include "support/Rendering.h"
#include "support/TemporaryFolder.h"
#include "support/TestPDF.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

/// Rows that are drawn where they are to be.
namespace Bleedwise {
namespace {

using Testing::outputProfile;
using Testing::TemporaryFolder;
using Testing::TestPDF;

constexpr std::size_t rowBytes = 400; // of `smallSheet`

class LentMemory : public testing::Test {
protected:
    static std::string artwork() {
        TestPDF pdf;
        pdf.page({"0.2 0.9 0.4 rg 3 3 15 15 re f 1 0 0 RG 0 0 m 24 20 l S /Half gs "
                  "0 0 1 rg 20 12 m 12 20 l 4 2 l f",
                  "/ExtGState << /Half << /ca 0.5 >> >>"});
        pdf.page({"0.2 0.9 0.4 rg 3 3 15 15 re f", "/ExtGState << /Lighter << /BM /Screen >> >>",
                  "/Group << /S /Transparency /CS /DeviceRGB >>"});
        return pdf.bytes();
    }

    /// The rows and what was in the memory beside them, drawn with or without room beside.
    std::vector<std::uint8_t> drawn(int page, std::int64_t first, std::int64_t count,
                                    bool hasRoomBeside) {
        constexpr std::size_t beside = PopplerRenderer::rowsBeside * rowBytes;
        const std::size_t size = rowBytes * static_cast<std::size_t>(count);
        // Nothing may be written beyond the room: the address sanitizer sees to it.
        std::vector<std::uint8_t> memory(hasRoomBeside ? size + 2 * beside : size, 77);
        std::uint8_t* rows = memory.data() + (hasRoomBeside ? beside : 0);
        const PixelSize pixels = PageGeometry::pixelSize(Testing::smallSheet());
        const RenderRequest request = {
            page, pixels,
            PageGeometry::place(document_->mediaBox(page).value(), Testing::smallSheet()), first,
            count};
        EXPECT_FALSE(document_->draw(request, outputProfile(), {rows, hasRoomBeside},
                                     PopplerRenderer::Document::Indivisible::refuse));
        return {rows, rows + size};
    }

    TemporaryFolder folder_;
    std::unique_ptr<PopplerRenderer::Document> document_ =
        PopplerRenderer::open(folder_.file("a.pdf", artwork()));
};

TEST_F(LentMemory, HasTheSameRowsAsPopplersOwn) {
    EXPECT_EQ(drawn(1, 0, 100, true), drawn(1, 0, 100, false));
}

TEST_F(LentMemory, HasTheSameRowsInParts) {
    const std::vector<std::uint8_t> whole = drawn(1, 0, 100, false);
    for (std::int64_t first = 0; first < 100; first += 20) {
        const auto begin = whole.begin() + static_cast<std::ptrdiff_t>(rowBytes) * first;
        EXPECT_EQ(drawn(1, first, 20, true),
                  std::vector<std::uint8_t>(begin, begin + 20 * rowBytes))
            << first;
    }
}

TEST_F(LentMemory, MayAlternateWithPopplersOwn) {
    const std::vector<std::uint8_t> whole = drawn(1, 0, 100, false);
    for (const auto& [first, count] :
         {std::pair{0, 100}, {0, 50}, {50, 50}, {10, 70}, {10, 71}, {3, 5}, {0, 100}, {99, 1}}) {
        for (const bool hasRoomBeside : {true, false, false, true, true}) {
            const auto begin = whole.begin() + static_cast<std::ptrdiff_t>(rowBytes) * first;
            EXPECT_EQ(drawn(1, first, count, hasRoomBeside),
                      std::vector<std::uint8_t>(
                          begin, begin + static_cast<std::ptrdiff_t>(rowBytes) * count))
                << first << ' ' << count;
        }
    }
}

TEST_F(LentMemory, MayAlternateWithPagesThatAreCompositedAsRGB) {
    const std::vector<std::uint8_t> cmyk = drawn(1, 0, 100, false);
    const std::vector<std::uint8_t> rgb = drawn(2, 0, 100, false);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(drawn(1, 0, 100, true), cmyk);
        EXPECT_EQ(drawn(2, 0, 100, true), rgb);
    }
}

} // namespace
} // namespace Bleedwise
