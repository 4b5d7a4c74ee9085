#include "PrintPrep/raster/ProfileReader.h"

#include "support/Rendering.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <ostream>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>
#include <lcms2.h>

namespace Bleedwise {
namespace {

constexpr std::array<const char*, 7> tables = {"A2B0", "A2B1", "A2B2", "B2A0",
                                               "B2A1", "B2A2", "gamt"};

struct ProfileCloser {
    void operator()(void* profile) const { cmsCloseProfile(profile); }
};
using Handle = std::unique_ptr<void, ProfileCloser>;

const std::string& shippedBytes() {
    static const std::string bytes(Testing::outputProfile().bytes());
    return bytes;
}

Handle opened(const std::string& bytes) {
    const auto kept = std::make_shared<const std::string>(bytes);
    return Handle(ProfileReader::open(*kept, kept));
}

/// By Little CMS alone.
Handle openedPlainly(const std::string& bytes) {
    return Handle(cmsOpenProfileFromMem(bytes.data(), static_cast<cmsUInt32Number>(bytes.size())));
}

cmsTagSignature signatureOf(const char* name) {
    std::uint32_t number = 0;
    for (int i = 0; i < 4; ++i)
        number = number << 8U | static_cast<unsigned char>(name[i]);
    return static_cast<cmsTagSignature>(number);
}

/// What a table consists of and makes of some colours.
std::string described(const cmsPipeline* table) {
    if (!table)
        return "none\n";
    std::string text;
    for (const cmsStage* stage = cmsPipelineGetPtrToFirstStage(table); stage;
         stage = cmsStageNext(stage))
        text += std::to_string(cmsStageType(stage)) + ' ';
    std::mt19937 random(1);
    for (int i = 0; i < 200; ++i) {
        std::array<std::uint16_t, cmsMAXCHANNELS> color{};
        for (std::uint16_t& number : color)
            number = static_cast<std::uint16_t>(random());
        std::array<std::uint16_t, cmsMAXCHANNELS> result{};
        cmsPipelineEval16(color.data(), result.data(), table);
        for (std::size_t channel = 0; channel < cmsPipelineOutputChannels(table); ++channel)
            text += std::to_string(result[channel]) + ' ';
    }
    return text + '\n';
}

/// All that is read by other means than Little CMS's own.
std::string described(const Handle& profile) {
    if (!profile)
        return "no profile";
    std::string text;
    for (const char* name : tables)
        text += described(static_cast<cmsPipeline*>(cmsReadTag(profile.get(), signatureOf(name))));
    return text;
}

void expectSame(const std::string& bytes) {
    // Not `EXPECT_EQ`, which would look for the differences between two long texts.
    EXPECT_TRUE(described(opened(bytes)) == described(openedPlainly(bytes)));
}

std::uint32_t numberAt(std::string_view bytes, std::size_t place) {
    std::uint32_t number = 0;
    for (const char byte : bytes.substr(place, 4))
        number = number << 8U | static_cast<unsigned char>(byte);
    return number;
}

/// The shipped profile with a byte of each table changed (ICC.1:2010, 7.3 and 10.10).
std::string changed(std::size_t place, int value) {
    std::string bytes = shippedBytes();
    for (const char* name : tables)
        bytes[numberAt(bytes, bytes.find(name) + 4) + place] = static_cast<char>(value);
    return bytes;
}

TEST(ProfileReader, ReadsTheShippedProfilesTables) {
    const std::string text = described(opened(shippedBytes()));
    EXPECT_EQ(text.find("none"), std::string::npos);
}

TEST(ProfileReader, ReadsTablesAsLittleCMSDoes) {
    expectSame(shippedBytes());
}

TEST(ProfileReader, ReadsAnotherCMYKProfileAsLittleCMSDoes) {
    expectSame(Testing::otherCMYKProfile());
}

TEST(ProfileReader, OpensProfilesWithoutTables) {
    EXPECT_TRUE(opened(Testing::adobeRGBProfile()));
}

TEST(ProfileReader, KeepsTheBytesAsLongAsTheProfile) {
    auto bytes = std::make_shared<const std::string>(shippedBytes());
    const std::weak_ptr<const std::string> watch = bytes;
    Handle profile(ProfileReader::open(*bytes, bytes));
    bytes.reset();
    EXPECT_FALSE(watch.expired());
    profile.reset();
    EXPECT_TRUE(watch.expired());
}

TEST(ProfileReader, KeepsNothingOfWhatIsNoProfile) {
    auto bytes = std::make_shared<const std::string>(4096, 'x');
    const std::weak_ptr<const std::string> watch = bytes;
    ASSERT_FALSE(ProfileReader::open(*bytes, bytes));
    bytes.reset();
    EXPECT_TRUE(watch.expired());
}

TEST(ProfileReader, KnowsATablesTypeBeforeAndAfterItIsRead) {
    const Handle profile = opened(shippedBytes());
    EXPECT_EQ(ProfileReader::typeOf(profile.get(), cmsSigBToA1Tag), cmsSigLut16Type);
    ASSERT_TRUE(cmsReadTag(profile.get(), cmsSigBToA1Tag));
    EXPECT_EQ(ProfileReader::typeOf(profile.get(), cmsSigBToA1Tag), cmsSigLut16Type);
}

TEST(ProfileReader, KnowsNoTypeOfATagThatIsNotThere) {
    const Handle profile = opened(shippedBytes());
    EXPECT_FALSE(ProfileReader::typeOf(profile.get(), cmsSigRedTRCTag));
}

TEST(ProfileReader, KnowsNoTypesOfProfilesThatItHasNotOpened) {
    const Handle profile(cmsCreate_sRGBProfile());
    EXPECT_FALSE(ProfileReader::typeOf(profile.get(), cmsSigRedTRCTag));
}

struct Change {
    const char* name;
    std::size_t place;
    int value;
};

std::ostream& operator<<(std::ostream& stream, const Change& change) {
    return stream << change.name;
}

class ChangedTables : public testing::TestWithParam<Change> {};

INSTANTIATE_TEST_SUITE_P(
    Bytes, ChangedTables,
    testing::Values(Change{"NoInputs", 8, 0}, Change{"OneInput", 8, 1}, Change{"ThreeInputs", 8, 3},
                    Change{"FourInputs", 8, 4}, Change{"SixteenInputs", 8, 16},
                    Change{"SeventeenInputs", 8, 17}, Change{"ManyInputs", 8, 255},
                    Change{"NoOutputs", 9, 0}, Change{"OneOutput", 9, 1},
                    Change{"FiveOutputs", 9, 5}, Change{"SixteenOutputs", 9, 16},
                    Change{"SeventeenOutputs", 9, 17}, Change{"NoGrid", 10, 0},
                    Change{"OneStep", 10, 1}, Change{"TwoSteps", 10, 2},
                    Change{"MoreStepsThanBytes", 10, 100},
                    Change{"MoreStepsThanCanBeCounted", 10, 255}, Change{"AnotherMatrix", 12, 1},
                    Change{"ManyInputEntries", 48, 0x7f}, Change{"TooManyInputEntries", 48, 0x80},
                    Change{"ManyOutputEntries", 50, 0x7f}, Change{"TooManyOutputEntries", 50, 0x80},
                    Change{"AnotherInputTable", 52, 0x55}),
    [](const auto& change) { return std::string(change.param.name); });

TEST_P(ChangedTables, AreReadOrRefusedAsByLittleCMS) {
    expectSame(changed(GetParam().place, GetParam().value));
}

class FewEntries : public testing::TestWithParam<std::size_t> {};

INSTANTIATE_TEST_SUITE_P(Places, FewEntries, testing::Values(48U, 50U));

TEST_P(FewEntries, AreReadOrRefusedAsByLittleCMS) {
    for (const int entries : {0, 1, 2}) {
        std::string bytes = changed(GetParam(), 0);
        for (const char* name : tables)
            bytes[numberAt(bytes, bytes.find(name) + 4) + GetParam() + 1] =
                static_cast<char>(entries);
        expectSame(bytes);
    }
}

TEST(ProfileReader, ReadsCutOffProfilesAsLittleCMSDoes) {
    for (const std::size_t size :
         {0U, 3U, 127U, 128U, 131U, 200U, 1'000U, 100'000U, 900'000U, 1'500'000U, 1'829'000U})
        expectSame(shippedBytes().substr(0, size));
}

/// As when a profile says that a table ends behind the bytes that there are.
TEST(ProfileReader, RefusesTablesThatEndTooSoonAsLittleCMSDoes) {
    for (const std::size_t length : {0U, 8U, 10U, 40U, 50U, 52U, 600U, 5'000U}) {
        std::string bytes = shippedBytes();
        const std::size_t entry = bytes.find("B2A1");
        const std::size_t table = numberAt(bytes, entry + 4);
        // To where nothing follows.
        const std::string copy = bytes.substr(table, length);
        const auto place = static_cast<std::uint32_t>(bytes.size());
        for (unsigned i = 0; i < 4; ++i)
            bytes[entry + 4 + i] = static_cast<char>(place >> (24 - 8 * i));
        for (unsigned i = 0; i < 4; ++i)
            bytes[entry + 8 + i] = static_cast<char>(length >> (24 - 8 * i));
        bytes += copy;
        for (unsigned i = 0; i < 4; ++i)
            bytes[i] = static_cast<char>(bytes.size() >> (24 - 8 * i));
        expectSame(bytes);
    }
}

TEST(ProfileReader, ReadsDamagedProfilesAsLittleCMSDoes) {
    std::mt19937 random(7);
    for (int round = 0; round < 40; ++round) {
        std::string bytes = shippedBytes();
        for (int i = 0; i < 3; ++i) { // in the list of tags and the heads of tables
            const std::size_t table =
                numberAt(shippedBytes(), shippedBytes().find(tables[random() % tables.size()]) + 4);
            bytes[table + random() % 60] = static_cast<char>(random());
            bytes[132 + random() % 200] = static_cast<char>(random());
        }
        expectSame(bytes);
    }
}

} // namespace
} // namespace Bleedwise
