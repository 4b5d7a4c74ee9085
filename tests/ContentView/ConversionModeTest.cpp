#include "ContentView/ConversionMode.h"

#include <vector>

#include <QStringList>
#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

using ConversionMode::Value;

TEST(ConversionMode, OffersNativeAndThenRaster) {
    QStringList names;
    for (const Value mode : ConversionMode::allCases)
        names.append(ConversionMode::rawValue(mode));
    EXPECT_EQ(names, (QStringList{"Native", "Raster"}));
}

TEST(ConversionMode, IsFoundByItsName) {
    EXPECT_EQ(ConversionMode::fromRawValue("Native"), Value::Native);
    EXPECT_EQ(ConversionMode::fromRawValue("Raster"), Value::Raster);
}

TEST(ConversionMode, IsNotFoundByAnyOtherText) {
    for (const char* name : {"", "native", "RASTER", " Native", "Native ", "Vector"})
        EXPECT_EQ(ConversionMode::fromRawValue(name), std::nullopt) << name;
}

} // namespace
} // namespace Bleedwise
