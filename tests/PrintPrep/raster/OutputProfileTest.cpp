#include "PrintPrep/raster/OutputProfile.h"

#include "PrintPrep/PrintPrepError.h"
#include "support/Rendering.h"
#include "support/ResourceLimit.h"

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

namespace Bleedwise {
namespace {

const std::string& shippedBytes() {
    static const std::string bytes(Testing::outputProfile().bytes());
    return bytes;
}

TEST(OutputProfile, IsMadeOfACMYKProfile) {
    const auto profile = OutputProfile::fromBytes(shippedBytes());
    ASSERT_TRUE(profile);
    EXPECT_EQ(profile->profile().space(), Profile::Space::cmyk);
}

TEST(OutputProfile, KeepsItsBytes) {
    const auto profile = OutputProfile::fromBytes(shippedBytes());
    ASSERT_TRUE(profile);
    EXPECT_EQ(profile->bytes(), shippedBytes());
}

TEST(OutputProfile, IsMadeOfAnothersMemory) {
    const auto profile = OutputProfile::fromBytes(shippedBytes());
    ASSERT_TRUE(profile);
    auto given = SharedMemory::received(FileDescriptor(::dup(profile->memory().descriptor())),
                                        shippedBytes().size());
    ASSERT_TRUE(given);
    const auto result = OutputProfile::fromMemory(std::move(*given));
    ASSERT_TRUE(result);
    EXPECT_EQ(result->bytes(), shippedBytes());
}

TEST(OutputProfile, IsInMemoryThatNobodyCanChange) {
    const auto profile = OutputProfile::fromBytes(shippedBytes());
    ASSERT_TRUE(profile);
    EXPECT_EQ(::pwrite(profile->memory().descriptor(), "x", 1, 0), -1);
}

TEST(OutputProfile, IsAnErrorWhenThereIsNoMemoryForIt) {
    shippedBytes();                           // has memory of its own
    const Testing::FileSizeLimit limit(4096); // counts for memory with a descriptor, too
    EXPECT_THROW(OutputProfile::fromBytes(shippedBytes()), PrintPrepError);
}

TEST(OutputProfile, IsNotMadeOfNothing) {
    EXPECT_FALSE(OutputProfile::fromBytes(""));
}

TEST(OutputProfile, IsNotMadeOfOtherBytes) {
    EXPECT_FALSE(OutputProfile::fromBytes("%PDF-1.4 and no profile at all"));
}

TEST(OutputProfile, IsNotMadeOfAnRGBProfile) {
    EXPECT_FALSE(OutputProfile::fromBytes(Testing::adobeRGBProfile()));
}

TEST(OutputProfile, IsNotMadeOfAGrayProfile) {
    EXPECT_FALSE(OutputProfile::fromBytes(Testing::grayProfile()));
}

TEST(OutputProfile, IsNotMadeOfAProfileThatEndsBeforeItsTables) {
    EXPECT_FALSE(OutputProfile::fromBytes(shippedBytes().substr(0, 1024)));
}

TEST(OutputProfile, IsNotMadeOfAProfileThatLacksItsLastByte) {
    EXPECT_FALSE(OutputProfile::fromBytes(shippedBytes().substr(0, shippedBytes().size() - 1)));
}

TEST(OutputProfile, IsNotMadeOfAProfileWithMoreBehindIt) {
    EXPECT_FALSE(OutputProfile::fromBytes(shippedBytes() + '\0'));
}

TEST(OutputProfile, IsNotMadeWithoutTablesThatSeparate) {
    std::string bytes = shippedBytes();
    // From colours to ink, by intent (ICC.1:2010, 9.2): their names in the list of tags.
    for (const char* tag : {"B2A0", "B2A1", "B2A2"}) {
        const std::size_t place = bytes.find(tag);
        ASSERT_NE(place, std::string::npos) << tag;
        bytes.replace(place, 4, "none");
    }
    EXPECT_FALSE(OutputProfile::fromBytes(bytes));
}

TEST(OutputProfile, KnowsItsCopies) {
    const auto profile = OutputProfile::fromBytes(shippedBytes());
    ASSERT_TRUE(profile);
    const std::vector<OutputProfile> copies = {*profile};
    EXPECT_TRUE(copies[0].isCopyOf(*profile));
}

TEST(OutputProfile, TellsAnotherObjectOfTheSameBytesFromACopy) {
    const auto one = OutputProfile::fromBytes(shippedBytes());
    const auto other = OutputProfile::fromBytes(shippedBytes());
    ASSERT_TRUE(one && other);
    EXPECT_FALSE(one->isCopyOf(*other));
}

} // namespace
} // namespace Bleedwise
