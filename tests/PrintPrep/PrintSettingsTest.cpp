#include "PrintPrep/PrintSettings.h"

#include <limits>

#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

TEST(PointsPerMillimetre, IsSeventyTwoToTheInch) {
    EXPECT_EQ(pointsPerMillimetre, 2.834645669291339);
}

TEST(FileNameSuffix, RecordsTrimAndBleed) {
    EXPECT_EQ((PrintSettings{210, 297, 3, true, true}).fileNameSuffix(),
              "_PRINT_210x297_3mm_FOGRA39_CMYK");
}

TEST(FileNameSuffix, RecordsABleedOfZero) {
    EXPECT_EQ((PrintSettings{210, 297, 0, true, true}).fileNameSuffix(),
              "_PRINT_210x297_0mm_FOGRA39_CMYK");
}

TEST(FileNameSuffix, WritesFractionsOfMillimetres) {
    EXPECT_EQ((PrintSettings{53.98, 85.6, 2.5, true, true}).fileNameSuffix(),
              "_PRINT_53.98x85.6_2.5mm_FOGRA39_CMYK");
}

TEST(FileNameSuffix, DoesNotTellWhetherTheSourceIncludesItsBleed) {
    EXPECT_EQ((PrintSettings{105, 148, 3, false, true}).fileNameSuffix(),
              (PrintSettings{105, 148, 3, true, true}).fileNameSuffix());
}

TEST(FileNameSuffix, IsTheSameForEverySizeInRasterMode) {
    for (const double size : {210.0, 0.0, -5.0, 1e300, std::numeric_limits<double>::infinity()})
        EXPECT_EQ((PrintSettings{size, size, size, true, false}).fileNameSuffix(),
                  " (CMYK raster)");
}

} // namespace
} // namespace Bleedwise
