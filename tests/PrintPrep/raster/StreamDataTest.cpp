#include "PrintPrep/raster/StreamData.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

bool isDangerous(const std::vector<std::string>& pieces) {
    StreamData::Watch watch;
    for (const std::string& piece : pieces)
        watch.read(piece);
    return watch.isDangerous();
}

TEST(StreamDataWatch, SeesTheWordInOnePiece) {
    EXPECT_TRUE(isDangerous({"\x01\x02 endobj \x03"}));
}

TEST(StreamDataWatch, SeesTheWordAcrossAnyBorder) {
    const std::string word = "endobj";
    for (std::size_t border = 0; border <= word.size(); ++border)
        EXPECT_TRUE(isDangerous({"xyz" + word.substr(0, border), word.substr(border) + "xyz"}))
            << border;
}

TEST(StreamDataWatch, SeesTheWordInPiecesOfOneByte) {
    EXPECT_TRUE(isDangerous({"e", "e", "n", "d", "", "o", "b", "j"}));
}

TEST(StreamDataWatch, RemembersWhatItHasSeen) {
    EXPECT_TRUE(isDangerous({"endobj", std::string(100, 'x')}));
}

TEST(StreamDataWatch, LetsOtherTextPass) {
    EXPECT_FALSE(isDangerous({"endob", "xj", "endstream", "obj", "end", " obj"}));
}

TEST(StreamDataHexadecimal, WritesTwoDigitsPerByte) {
    EXPECT_EQ(StreamData::hexadecimal(std::string("\x00\x7f\xff", 3)), "007fff");
}

} // namespace
} // namespace Bleedwise
