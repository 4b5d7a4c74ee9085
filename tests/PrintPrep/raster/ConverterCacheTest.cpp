#include "PrintPrep/raster/ConverterCache.h"

#include "support/Rendering.h"

#include <memory>
#include <string>

#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

std::shared_ptr<const ColorConverter> makeConverter() {
    return ColorConverter::create(Profile::sRGB(), Testing::outputProfile().profile(),
                                  Intent::relativeColorimetric);
}

/// A cache that is asked for names, and counts how often it has to make what it does not know.
class CountingCache {
public:
    std::shared_ptr<const ColorConverter> get(const std::string& name) {
        return cache_.get(name, [&] {
            ++made_;
            return converter_;
        });
    }

    void getOthers(int count) {
        for (int i = 0; i < count; ++i)
            get("other " + std::to_string(i));
    }

    int made() const { return made_; }

private:
    ConverterCache cache_;
    std::shared_ptr<const ColorConverter> converter_ = makeConverter();
    int made_ = 0;
};

/// More converters than the cache holds.
constexpr int many = 40;

TEST(ConverterCache, GivesWhatWasMade) {
    const auto converter = makeConverter();
    ConverterCache cache;
    EXPECT_EQ(cache.get("sRGB", [&] { return converter; }), converter);
}

TEST(ConverterCache, MakesAConverterOnce) {
    CountingCache cache;
    cache.get("sRGB");
    cache.get("sRGB");
    EXPECT_EQ(cache.made(), 1);
}

TEST(ConverterCache, TellsNamesApart) {
    const auto first = makeConverter();
    const auto second = makeConverter();
    ConverterCache cache;
    cache.get("first", [&] { return first; });
    EXPECT_EQ(cache.get("second", [&] { return second; }), second);
}

TEST(ConverterCache, RemembersThatThereIsNone) {
    ConverterCache cache;
    cache.get("broken", [] { return nullptr; });
    EXPECT_EQ(cache.get("broken", makeConverter), nullptr);
}

TEST(ConverterCache, ForgetsWhatWasUsedLongAgo) {
    CountingCache cache;
    cache.get("sRGB");
    cache.getOthers(many);
    cache.get("sRGB");
    EXPECT_EQ(cache.made(), many + 2);
}

TEST(ConverterCache, KeepsWhatIsUsedAgainAndAgain) {
    CountingCache cache;
    for (int i = 0; i < many; ++i) {
        cache.get("sRGB");
        cache.get("other " + std::to_string(i));
    }
    EXPECT_EQ(cache.made(), many + 1);
}

TEST(ConverterCache, LetsGoOfWhatItForgets) {
    ConverterCache cache;
    std::weak_ptr<const ColorConverter> forgotten;
    cache.get("sRGB", [&] {
        const auto converter = makeConverter();
        forgotten = converter;
        return converter;
    });
    for (int i = 0; i < many; ++i)
        cache.get("other " + std::to_string(i), [] { return nullptr; });
    EXPECT_TRUE(forgotten.expired());
}

} // namespace
} // namespace Bleedwise
