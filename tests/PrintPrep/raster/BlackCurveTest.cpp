#include "PrintPrep/raster/BlackCurve.h"

#include "support/Rendering.h"

#include <cmath>

#include <gtest/gtest.h>
#include <lcms2.h>

namespace Bleedwise {
namespace {

using Testing::outputProfile;

std::shared_ptr<const BlackCurve> curve() {
    return BlackCurve::create(*Profile::fromBytes(Testing::grayProfile()),
                              outputProfile().profile());
}

/// Relative luminance of black ink, from 0 to 1, by Little CMS.
double luminance(double ink) {
    cmsHTRANSFORM transform = cmsCreateTransform(outputProfile().profile().handle(), TYPE_CMYK_DBL,
                                                 Profile::lab().handle(), TYPE_Lab_DBL,
                                                 INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_NOOPTIMIZE);
    const double inks[] = {0, 0, 0, ink * 100};
    cmsCIELab lab;
    cmsDoTransform(transform, inks, &lab, 1);
    cmsDeleteTransform(transform);
    cmsCIEXYZ xyz;
    cmsLab2XYZ(nullptr, &xyz, &lab);
    return xyz.Y;
}

TEST(BlackCurve, MakesWhiteNoInk) {
    EXPECT_EQ(curve()->ink(1), 0);
}

TEST(BlackCurve, MakesBlackFullInk) {
    EXPECT_EQ(curve()->ink(0), 65535);
}

TEST(BlackCurve, FallsFromBlackToWhite) {
    const auto black = curve();
    for (int level = 1; level <= 255; ++level)
        EXPECT_LE(black->ink(level / 255.), black->ink((level - 1) / 255.)) << level;
}

TEST(BlackCurve, PrintsGraysAsLightAsTheirProfileSays) {
    const auto black = curve();
    const double darkest = luminance(1);
    for (const double gray : {0.2, 0.4, 0.5, 0.7, 0.9}) {
        const double wanted = darkest + std::pow(gray, 2.2) * (1 - darkest);
        EXPECT_NEAR(luminance(black->ink(gray) / 65535.), wanted, 0.004) << gray;
    }
}

TEST(BlackCurve, ClampsGraysOutsideTheirRange) {
    EXPECT_EQ(curve()->ink(-1), 65535);
    EXPECT_EQ(curve()->ink(2), 0);
}

} // namespace
} // namespace Bleedwise
