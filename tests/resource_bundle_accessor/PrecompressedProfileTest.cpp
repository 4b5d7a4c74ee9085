#include "resource_bundle_accessor/PrecompressedProfile.h"

#include "support/Rendering.h"

#include <cstddef>
#include <string>
#include <string_view>

#include <gtest/gtest.h>
#include <libdeflate.h>

namespace Bleedwise::PrecompressedProfile {
namespace {

const std::string profile = "a profile, a profile, a profile and nothing but a profile";

std::string inflated(std::string_view stream, std::size_t size) {
    std::string bytes(size, '\0');
    libdeflate_decompressor* decompressor = libdeflate_alloc_decompressor();
    const libdeflate_result result = libdeflate_zlib_decompress(
        decompressor, stream.data(), stream.size(), bytes.data(), size, nullptr);
    libdeflate_free_decompressor(decompressor);
    return result == LIBDEFLATE_SUCCESS ? bytes : std::string();
}

TEST(PrecompressedProfile, LiesBesideTheProfile) {
    EXPECT_EQ(urlBeside("/a b/c.icc"), "/a b/c.icc.zlib");
}

TEST(PrecompressedProfile, HasAStreamOfTheProfile) {
    const std::string bytes = file(profile);
    EXPECT_EQ(inflated(stream(bytes, profile), profile.size()), profile);
}

TEST(PrecompressedProfile, IsOfNoOtherProfile) {
    EXPECT_EQ(stream(file(profile), profile + "."), "");
}

TEST(PrecompressedProfile, IsNotTakenWithAnyByteChanged) {
    const std::string bytes = file(profile);
    for (std::size_t place = 0; place < bytes.size(); ++place) {
        std::string damaged = bytes;
        damaged[place] = static_cast<char>(damaged[place] ^ 1);
        EXPECT_EQ(stream(damaged, profile), "") << place;
    }
}

TEST(PrecompressedProfile, IsNotTakenWhenItWasCutOff) {
    const std::string bytes = file(profile);
    for (std::size_t size = 0; size < bytes.size(); ++size)
        EXPECT_EQ(stream(bytes.substr(0, size), profile), "") << size;
}

TEST(PrecompressedProfile, IsBuiltForTheProfileThatIsShipped) {
    const std::string shipped = Testing::contents(Testing::outputProfileURL());
    const std::string bytes = Testing::contents(BUILT_BUNDLE "/ISOcoated_v2_eci.icc.zlib");
    EXPECT_EQ(inflated(stream(bytes, shipped), shipped.size()), shipped);
}

} // namespace
} // namespace Bleedwise::PrecompressedProfile
