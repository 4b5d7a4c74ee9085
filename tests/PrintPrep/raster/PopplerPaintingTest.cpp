#include "PrintPrep/raster/PopplerRenderer.h"

#include "support/Rendering.h"
#include "support/TestPDF.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

/// What painting operators other than plain fills make of colours: shadings, patterns, soft masks,
/// blend modes, and pages that are composited as RGB.
namespace Bleedwise {
namespace {

using Testing::at;
using Testing::Inks;
using Testing::middle;
using Testing::noInk;
using Testing::render;
using Testing::separated;
using Testing::TestPDF;

constexpr int tolerance = 2;

void expectNear(const Inks& inks, const Inks& expected, int distance = tolerance) {
    EXPECT_LE(inks.distance(expected), distance) << inks << " instead of " << expected;
}

Inks sRGB(double red, double green, double blue) {
    return separated(Profile::sRGB(), {red, green, blue});
}

/// Expects a colour of the ramp from blue to red that many tests use, near `part` of the way: the
/// colour has to be right, while renderers sample a pixel at its corner or its middle.
void expectOnRamp(const Inks& inks, double part) {
    int nearest = 255;
    for (int step = -20; step <= 20; ++step) {
        const double t = part + step / 1000.;
        nearest =
            std::min(nearest, inks.distance(sRGB(0.1 + 0.8 * t, 0.2 + 0.1 * t, 0.9 - 0.8 * t)));
    }
    EXPECT_LE(nearest, tolerance) << inks << " is no colour at " << part << " of the ramp";
}

std::string bytes(std::initializer_list<int> values) {
    std::string text;
    for (const int value : values)
        text += static_cast<char>(value);
    return text;
}

/// A page filled with a shading, given as a dictionary, or with a mesh's data as a stream.
std::string shaded(const std::string& entries, const std::string& data = {}) {
    TestPDF pdf;
    const std::string shading =
        data.empty() ? pdf.object("<< " + entries + " >>") : pdf.stream(entries, data);
    pdf.page({"/Shade sh", "/Shading << /Shade " + shading + " >>"});
    return pdf.bytes();
}

// From half blue to half red: the middle is of neither end, so that a shading which interpolates
// anything but the numbers of its colour space shows.
const char* const rgbRamp =
    "/Function << /FunctionType 2 /Domain [0 1] /N 1 /C0 [0.1 0.2 0.9] /C1 [0.9 0.3 0.1] >>";
const char* const cmykRamp =
    "/Function << /FunctionType 2 /Domain [0 1] /N 1 /C0 [0 0 0 0] /C1 [0 0 0 1] >>";

TEST(FunctionShading, IsSeparatedPixelByPixel) {
    TestPDF pdf;
    const std::string function =
        pdf.stream("/FunctionType 4 /Domain [0 1 0 1] /Range [0 1 0 1 0 1]", "{ 0.25 }");
    pdf.page({"/Shade sh", "/Shading << /Shade << /ShadingType 1 /ColorSpace /DeviceRGB /Matrix "
                           "[24 0 0 24 0 0] /Function " +
                               function + " >> >>"});
    const CMYKImage image = render(pdf.bytes());
    expectNear(at(image, 50, 50), sRGB(0.505, 0.495, 0.25), 3);
    expectNear(at(image, 10, 90), sRGB(0.105, 0.095, 0.25), 5);
}

/// A page filled, where a clip lets it, with a function of the place: from left to right, and from
/// bottom to top, from 0 to 1.
CMYKImage shadedByFunction(const std::string& clip, const std::string& code,
                           const std::string& entries = {}) {
    TestPDF pdf;
    const std::string function =
        pdf.stream("/FunctionType 4 /Domain [0 1 0 1] /Range [0 1 0 1 0 1 0 1]", code);
    pdf.page({clip + " W n /Shade sh",
              "/Shading << /Shade << /ShadingType 1 /ColorSpace /DeviceCMYK /Matrix "
              "[24 0 0 24 0 0] /Function " +
                  function + ' ' + entries + " >> >>"});
    return render(pdf.bytes());
}

TEST(FunctionShading, IsItsFunctionInEachPixel) {
    // Some strips, so that pixels are left out on the way.
    const CMYKImage image = shadedByFunction("0 0 7.2 24 re 12 0 1.44 24 re 16.8 0 4.8 24 re",
                                             "{ 2 copy 1 exch sub gt { 1 } { 0.5 } ifelse 0 }");
    const auto isNear = [](int x, int edge) { return std::abs(x - edge) <= 1; };
    for (const int y : {0, 17, 18, 50, 99}) {
        for (int x = 0; x < 100; ++x) {
            const bool isPainted = x < 30 || (x >= 50 && x < 56) || (x >= 70 && x < 90);
            if (isNear(x, 30) || isNear(x, 50) || isNear(x, 56) || isNear(x, 70) || isNear(x, 90) ||
                isNear(x, y))
                continue; // smoothed, or where it leaps
            const Inks inks = {{x * 255 / 100, (100 - y) * 255 / 100, x > y ? 255 : 128, 0}};
            expectNear(at(image, x, y), isPainted ? inks : noInk, 3);
        }
    }
}

TEST(FunctionShading, EndsWithItsDomain) {
    const CMYKImage image =
        shadedByFunction("0 0 24 24 re", "{ pop pop 1 0 0 0 }", "/Domain [0.1 0.4 0 1]");
    const Inks cyan = {{255, 0, 0, 0}};
    for (const int x : {8, 42, 99})
        EXPECT_EQ(at(image, x, 50), noInk) << x;
    for (const int x : {12, 25, 38})
        EXPECT_EQ(at(image, x, 50), cyan) << x;
}

TEST(FunctionShading, IsPaintedWhereItsFunctionFails) {
    const CMYKImage image = shadedByFunction(
        "0 0 24 24 re", "{ pop 0.5 gt { 1 0 0 0 } { 1 0 div pop 0 1 0 0 } ifelse }");
    EXPECT_EQ(at(image, 75, 50), (Inks{{255, 0, 0, 0}}));
    EXPECT_EQ(at(image, 25, 50), (Inks{{0, 255, 0, 0}}));
}

TEST(FunctionShading, BeginsWithTheFirstPixel) {
    const CMYKImage image = shadedByFunction("-1 -1 26 26 re", "{ pop pop 1 0 0 0 }");
    EXPECT_EQ(at(image, 0, 0), (Inks{{255, 0, 0, 0}}));
}

TEST(AxialShading, IsSeparatedPixelByPixel) {
    const CMYKImage image = render(
        shaded("/ShadingType 2 /ColorSpace /DeviceRGB /Coords [0 0 24 0] " + std::string(rgbRamp)));
    expectOnRamp(at(image, 50, 50), 0.5);
    expectOnRamp(at(image, 0, 50), 0);
}

TEST(AxialShading, KeepsBlackAlone) {
    const Inks inks = middle(shaded("/ShadingType 2 /ColorSpace /DeviceCMYK /Coords [0 0 24 0] " +
                                    std::string(cmykRamp)));
    expectNear(inks, {{0, 0, 0, 128}});
    EXPECT_EQ(inks.values[0] + inks.values[1] + inks.values[2], 0);
}

TEST(RadialShading, IsSeparatedPixelByPixel) {
    const CMYKImage image =
        render(shaded("/ShadingType 3 /ColorSpace /DeviceRGB /Coords [12 12 0 12 12 12] " +
                      std::string(rgbRamp)));
    expectOnRamp(at(image, 75, 50), 0.5);
}

/// A gradient from white on the edge of a circle to black on all of it, extended at both ends. The
/// page's contents move it so that the circle's middle is the page's and its edge is to the lower
/// left of that.
CMYKImage touchingCircles(const std::string& move, const std::string& coordinates) {
    TestPDF pdf;
    const std::string shading =
        pdf.object("<< /ShadingType 3 /ColorSpace /DeviceCMYK /Coords [" + coordinates +
                   "] /Extend [true true] " + cmykRamp + " >>");
    pdf.page({move + " cm /Shade sh", "/Shading << /Shade " + shading + " >>"});
    return render(pdf.bytes());
}

TEST(RadialShading, FromTheEdgeOfItsCircleIsHalfwayInTheMiddle) {
    expectNear(at(touchingCircles("20 0 0 20 6 4", "0 0 0 0.3 0.4 0.5"), 50, 50), {{0, 0, 0, 128}});
}

TEST(RadialShading, FromTheEdgeOfItsCircleBearsRounding) {
    // The circles touch but for the last digits of the numbers; beside them all is the start.
    const CMYKImage image =
        touchingCircles("3 0 0 3 -2994.6 -2997", "1000.1 1000.2 0 1002.2 1003 3.5");
    EXPECT_EQ(at(image, 4, 96), noInk);
}

// Free-form triangles: flag, x, y in bytes over 24 points, RGB.
const char* const meshEntries =
    "/ShadingType 4 /ColorSpace /DeviceRGB /BitsPerCoordinate 8 /BitsPerComponent 8 /BitsPerFlag 8 "
    "/Decode [0 24 0 24 0 1 0 1 0 1]";

TEST(TriangleShading, IsSeparatedBetweenItsCorners) {
    // One triangle over the whole page, whose colour runs along x from 0 to 48 points.
    const std::string data =
        bytes({0, 0, 0, 26, 51, 230, 0, 255, 0, 230, 77, 26, 0, 0, 255, 26, 51, 230});
    TestPDF pdf;
    const std::string shading = pdf.stream(meshEntries, data);
    pdf.page({"2 0 0 2 0 0 cm /Shade sh", "/Shading << /Shade " + shading + " >>"});
    // The middle is a quarter of the way.
    expectOnRamp(middle(pdf.bytes()), 0.25);
}

TEST(TriangleShading, OfOneColorIsThatColor) {
    const std::string data =
        bytes({0, 0, 0, 26, 51, 230, 0, 255, 0, 26, 51, 230, 0, 0, 255, 26, 51, 230});
    TestPDF pdf;
    const std::string shading = pdf.stream(meshEntries, data);
    pdf.page({"2 0 0 2 0 0 cm /Shade sh", "/Shading << /Shade " + shading + " >>"});
    expectNear(middle(pdf.bytes()), sRGB(26 / 255., 51 / 255., 230 / 255.));
}

TEST(LatticeShading, IsSeparatedBetweenItsCorners) {
    const std::string data =
        bytes({0, 0, 26, 51, 230, 255, 0, 230, 77, 26, 0, 255, 26, 51, 230, 255, 255, 230, 77, 26});
    expectOnRamp(middle(shaded("/ShadingType 5 /VerticesPerRow 2 /ColorSpace /DeviceRGB "
                               "/BitsPerCoordinate 8 /BitsPerComponent 8 "
                               "/Decode [0 24 0 24 0 1 0 1 0 1]",
                               data)),
                 0.5);
}

/// The 12 points around a square patch, in bytes.
std::string patchBorder() {
    return bytes({0,   0,   0,   85,  0,   170, 0,   255, 85,  255, 170, 255,
                  255, 255, 255, 170, 255, 85,  255, 0,   170, 0,   85,  0});
}

const char* const patchEntries =
    "/ColorSpace /DeviceRGB /BitsPerCoordinate 8 /BitsPerComponent 8 /BitsPerFlag 8 "
    "/Decode [0 24 0 24 0 1 0 1 0 1]";

// Corners in the order lower left, upper left, upper right, lower right.
std::string patchColors() {
    return bytes({26, 51, 230, 26, 51, 230, 230, 77, 26, 230, 77, 26});
}

TEST(CoonsShading, IsSeparatedBetweenItsCorners) {
    expectOnRamp(middle(shaded("/ShadingType 6 " + std::string(patchEntries),
                               bytes({0}) + patchBorder() + patchColors())),
                 0.5);
}

TEST(TensorShading, IsSeparatedBetweenItsCorners) {
    const std::string inner = bytes({85, 85, 85, 170, 170, 170, 170, 85});
    expectOnRamp(middle(shaded("/ShadingType 7 " + std::string(patchEntries),
                               bytes({0}) + patchBorder() + inner + patchColors())),
                 0.5);
}

TEST(ShadingPattern, IsSeparatedPixelByPixel) {
    TestPDF pdf;
    const std::string pattern =
        pdf.object("<< /PatternType 2 /Shading << /ShadingType 2 /ColorSpace /DeviceRGB /Coords "
                   "[0 0 24 0] " +
                   std::string(rgbRamp) + " >> >>");
    pdf.page({"/Pattern cs /Ramp scn 2 2 20 20 re f", "/Pattern << /Ramp " + pattern + " >>"});
    expectOnRamp(middle(pdf.bytes()), 0.5);
}

TEST(TilingPattern, IsSeparated) {
    TestPDF pdf;
    const std::string pattern =
        pdf.stream("/PatternType 1 /PaintType 1 /TilingType 1 /BBox [0 0 2 2] /XStep 2 /YStep 2 "
                   "/Resources << >>",
                   "0.1 0.2 0.9 rg 0 0 2 2 re f");
    pdf.page({"/Pattern cs /Tile scn 0 0 24 24 re f", "/Pattern << /Tile " + pattern + " >>"});
    expectNear(middle(pdf.bytes()), sRGB(0.1, 0.2, 0.9));
}

TEST(TilingPattern, WithoutColorsTakesTheGivenOne) {
    TestPDF pdf;
    const std::string pattern =
        pdf.stream("/PatternType 1 /PaintType 2 /TilingType 1 /BBox [0 0 2 2] /XStep 2 /YStep 2 "
                   "/Resources << >>",
                   "0 0 2 2 re f");
    pdf.page(
        {"/Tint cs 0.1 0.2 0.9 /Tile scn 0 0 24 24 re f",
         "/Pattern << /Tile " + pattern + " >> /ColorSpace << /Tint [/Pattern /DeviceRGB] >>"});
    expectNear(middle(pdf.bytes()), sRGB(0.1, 0.2, 0.9));
}

TEST(Type3Font, IsPaintedInTheTextsColor) {
    TestPDF pdf;
    const std::string glyph = pdf.stream("", "1000 0 0 0 1000 1000 d1 0 0 1000 1000 re f");
    const std::string font =
        pdf.object("<< /Type /Font /Subtype /Type3 /FontBBox [0 0 1000 1000] /FontMatrix "
                   "[0.001 0 0 0.001 0 0] /FirstChar 97 /LastChar 97 /Widths [1000] /Encoding "
                   "<< /Differences [97 /square] >> /Resources << >> /CharProcs << /square " +
                   glyph + " >> >>");
    pdf.page({"BT 0.1 0.2 0.9 rg /Square 24 Tf (a) Tj ET", "/Font << /Square " + font + " >>"});
    expectNear(middle(pdf.bytes()), sRGB(0.1, 0.2, 0.9));
}

TEST(Text, InBlackIsBlackAlone) {
    const CMYKImage image = render(TestPDF::ofPage(
        {"BT 0 g /Sans 40 Tf -4 0 Td (MMM) Tj ET",
         "/Font << /Sans << /Type /Font /Subtype /Type1 /BaseFont /Helvetica-Bold >> >>"}));
    int black = 0;
    for (std::int64_t y = 0; y < image.height(); ++y) {
        for (std::int64_t x = 0; x < image.width(); ++x) {
            const Inks inks = at(image, x, y);
            ASSERT_EQ(inks.values[0] + inks.values[1] + inks.values[2], 0) << x << ", " << y;
            black += inks.values[3] == 255 ? 1 : 0;
        }
    }
    EXPECT_GT(black, 500);
}

TEST(ConstantAlpha, MixesInks) {
    expectNear(middle(TestPDF::ofPage({"1 0 0 0 k 0 0 24 24 re f /Half gs 0 0 0 1 k 0 0 24 24 re f",
                                       "/ExtGState << /Half << /ca 0.5 >> >>"})),
               {{128, 0, 0, 128}});
}

TEST(SoftMask, OfLuminosityLetsTheColorThrough) {
    TestPDF pdf;
    const std::string group =
        pdf.stream("/Type /XObject /Subtype /Form /BBox [0 0 24 24] /Group << /S /Transparency "
                   "/CS /DeviceGray >>",
                   "0.5 g 0 0 24 24 re f");
    pdf.page({"/Masked gs 0 0 0 1 k 0 0 24 24 re f",
              "/ExtGState << /Masked << /SMask << /S /Luminosity /G " + group + " >> >> >>"});
    expectNear(middle(pdf.bytes()), {{0, 0, 0, 128}});
}

TEST(SoftMask, OfRGBLuminosityWeighsTheColors) {
    TestPDF pdf;
    const std::string group =
        pdf.stream("/Type /XObject /Subtype /Form /BBox [0 0 24 24] /Group << /S /Transparency "
                   "/CS /DeviceRGB /I true >>",
                   "0 1 0 rg 0 0 24 24 re f");
    pdf.page({"/Masked gs 0 0 0 1 k 0 0 24 24 re f",
              "/ExtGState << /Masked << /SMask << /S /Luminosity /G " + group + " >> >> >>"});
    expectNear(middle(pdf.bytes()), {{0, 0, 0, 150}}); // 0.59 of 255 (ISO 32000-1, 11.5.3)
}

struct MaskGroup {
    const char* name;
    const char* entries;
};

std::ostream& operator<<(std::ostream& stream, const MaskGroup& group) {
    return stream << group.name;
}

class LuminosityMask : public testing::TestWithParam<MaskGroup> {
protected:
    /// Black through the mask that a group with these contents makes.
    static Inks masked(const std::string& contents) {
        TestPDF pdf;
        const std::string group = pdf.stream(
            "/Type /XObject /Subtype /Form /BBox [0 0 24 24] /Group << /S /Transparency " +
                std::string(GetParam().entries) + " >>",
            contents);
        pdf.page({"/Masked gs 0 0 0 1 k 0 0 24 24 re f",
                  "/ExtGState << /Masked << /SMask << /S /Luminosity /G " + group + " >> >> >>"});
        return middle(pdf.bytes());
    }
};

INSTANTIATE_TEST_SUITE_P(Groups, LuminosityMask,
                         testing::Values(MaskGroup{"Isolated", "/CS /DeviceRGB /I true"},
                                         MaskGroup{"NotIsolated", "/CS /DeviceRGB"},
                                         MaskGroup{"GrayNotIsolated", "/CS /DeviceGray"},
                                         MaskGroup{"WithoutSpace", "/I true"},
                                         MaskGroup{"WithoutAnything", ""}),
                         [](const auto& group) { return std::string(group.param.name); });

TEST_P(LuminosityMask, OfRGBGrayIsItsNumber) {
    expectNear(masked("0.5 0.5 0.5 rg 0 0 24 24 re f"), {{0, 0, 0, 128}});
}

TEST_P(LuminosityMask, LetsNothingThroughWhereItIsEmpty) {
    EXPECT_EQ(masked("1 g 0 0 2 2 re f"), noInk);
}

TEST(SoftMask, OfAnImageLetsItThrough) {
    TestPDF pdf;
    const std::string mask =
        pdf.stream("/Type /XObject /Subtype /Image /Width 1 /Height 1 /BitsPerComponent 8 "
                   "/ColorSpace /DeviceGray",
                   bytes({128}));
    const std::string image =
        pdf.stream("/Type /XObject /Subtype /Image /Width 1 /Height 1 /BitsPerComponent 8 "
                   "/ColorSpace /DeviceRGB /SMask " +
                       mask,
                   bytes({26, 51, 230}));
    pdf.page({"24 0 0 24 0 0 cm /Picture Do", "/XObject << /Picture " + image + " >>"});
    Inks expected = sRGB(26 / 255., 51 / 255., 230 / 255.);
    for (int& ink : expected.values)
        ink = (ink * 128 + 127) / 255;
    expectNear(middle(pdf.bytes()), expected);
}

/// An image of one pixel that is half covered and was mixed with a matte.
struct MattedImage {
    const char* name;
    std::string matte;
    std::string space;
    int bits;
    std::string sample;
};

void PrintTo(const MattedImage& image, std::ostream* stream) {
    *stream << image.name;
}

class Matte : public testing::TestWithParam<MattedImage> {};

// 200, 100 and 50 under an alpha of 51 / 255.
INSTANTIATE_TEST_SUITE_P(
    , Matte,
    testing::Values(MattedImage{"Black", "0 0 0", "/DeviceRGB", 8, bytes({40, 20, 10})},
                    MattedImage{"White", "1 1 1", "/DeviceRGB", 8, bytes({244, 224, 214})},
                    MattedImage{"OfSixteenBits", "0 0 0", "/DeviceRGB", 16,
                                bytes({40, 40, 20, 20, 10, 10})},
                    MattedImage{"Inverted", "1 1 1", "/DeviceRGB /Decode [1 0 1 0 1 0]", 8,
                                bytes({11, 31, 41})}),
    [](const auto& image) { return std::string(image.param.name); });

TEST_P(Matte, IsTakenOutInTheImagesOwnSpace) {
    const MattedImage& matted = GetParam();
    TestPDF pdf;
    const std::string mask =
        pdf.stream("/Type /XObject /Subtype /Image /Width 1 /Height 1 /BitsPerComponent 8 "
                   "/ColorSpace /DeviceGray /Matte [" +
                       matted.matte + "]",
                   bytes({51}));
    const std::string image = pdf.stream(
        "/Type /XObject /Subtype /Image /Width 1 /Height 1 /BitsPerComponent " +
            std::to_string(matted.bits) + " /ColorSpace " + matted.space + " /SMask " + mask,
        matted.sample);
    pdf.page({"24 0 0 24 0 0 cm /Picture Do", "/XObject << /Picture " + image + " >>"});
    Inks expected = sRGB(200 / 255., 100 / 255., 50 / 255.);
    for (int& ink : expected.values)
        ink = (ink * 51 + 127) / 255;
    expectNear(middle(pdf.bytes()), expected);
}

TEST(StencilMask, IsPaintedInTheCurrentColor) {
    TestPDF pdf;
    const std::string image = pdf.stream(
        "/Type /XObject /Subtype /Image /Width 8 /Height 1 /BitsPerComponent 1 /ImageMask true",
        bytes({0}));
    pdf.page(
        {"0.1 0.2 0.9 rg 24 0 0 24 0 0 cm /Stencil Do", "/XObject << /Stencil " + image + " >>"});
    expectNear(middle(pdf.bytes()), sRGB(0.1, 0.2, 0.9));
}

TEST(InlineImage, IsSeparated) {
    expectNear(middle(TestPDF::ofPage({"24 0 0 24 0 0 cm BI /W 1 /H 1 /CS /RGB /BPC 8 /F /AHx ID " +
                                       Testing::hexadecimal(bytes({26, 51, 230})) + " EI"})),
               sRGB(26 / 255., 51 / 255., 230 / 255.));
}

TEST(DecodeArray, IsHonouredInManagedImages) {
    TestPDF pdf;
    const std::string image =
        pdf.stream("/Type /XObject /Subtype /Image /Width 1 /Height 1 /BitsPerComponent 8 "
                   "/ColorSpace /DeviceRGB /Decode [1 0 1 0 1 0]",
                   bytes({229, 204, 25}));
    pdf.page({"24 0 0 24 0 0 cm /Picture Do", "/XObject << /Picture " + image + " >>"});
    expectNear(middle(pdf.bytes()), sRGB(26 / 255., 51 / 255., 230 / 255.));
}

TEST(FourBitImage, IsSeparated) {
    TestPDF pdf;
    const std::string image =
        pdf.stream("/Type /XObject /Subtype /Image /Width 1 /Height 1 /BitsPerComponent 4 "
                   "/ColorSpace /DeviceRGB",
                   bytes({0x13, 0xe0}));
    pdf.page({"24 0 0 24 0 0 cm /Picture Do", "/XObject << /Picture " + image + " >>"});
    expectNear(middle(pdf.bytes()), sRGB(1 / 15., 3 / 15., 14 / 15.));
}

TEST(BlendMode, MultipliesInks) {
    // Multiply on subtractive colours: 1 − (1 − a)(1 − b) (ISO 32000-1, 11.3.5.2 and 11.3.4).
    expectNear(middle(TestPDF::ofPage(
                   {"0.5 0 0 0 k 0 0 24 24 re f /Multiply gs 0.5 0 0 0.2 k 0 0 24 24 re f",
                    "/ExtGState << /Multiply << /BM /Multiply >> >>"})),
               {{191, 0, 0, 51}});
}

struct ColorBlend {
    const char* mode;
    Inks result;
};

std::ostream& operator<<(std::ostream& stream, const ColorBlend& blend) {
    return stream << blend.mode;
}

class BlendModeOfColors : public testing::TestWithParam<ColorBlend> {};

// The formulas of ISO 32000-1, 11.3.5.3, with the complements of cyan, magenta and yellow for red,
// green and blue.
INSTANTIATE_TEST_SUITE_P(Modes, BlendModeOfColors,
                         testing::Values(ColorBlend{"Hue", {{26, 130, 0, 26}}},
                                         ColorBlend{"Saturation", {{170, 42, 79, 26}}},
                                         ColorBlend{"Color", {{27, 129, 1, 26}}},
                                         ColorBlend{"Luminosity", {{228, 49, 100, 77}}}),
                         [](const auto& blend) { return std::string(blend.param.mode); });

TEST_P(BlendModeOfColors, GivesWhatTheStandardSays) {
    expectNear(middle(TestPDF::ofPage(
                   {"0.8 0.1 0.3 0.1 k 0 0 24 24 re f /Blend gs 0.2 0.6 0.1 0.3 k 0 0 24 24 re f",
                    "/ExtGState << /Blend << /BM /" + std::string(GetParam().mode) + " >> >>"})),
               GetParam().result);
}

TEST(BlendMode, OfHueGivesWhatTheStandardSaysInRGB) {
    expectNear(middle(TestPDF::ofPage(
                   {"0.2 0.9 0.7 rg 0 0 24 24 re f /Hue gs 0.8 0.4 0.9 rg 0 0 24 24 re f",
                    "/ExtGState << /Hue << /BM /Hue >> >>", "0 0 24 24",
                    "/Group << /S /Transparency /CS /DeviceRGB >>"})),
               sRGB(0.898, 0.489, 1), 3);
}

/// A page whose group names a colour space: RGB blue, and red over it with a blend mode.
std::string groupPage(const std::string& space, const std::string& mode) {
    return TestPDF::ofPage({"0.2 0.4 0.9 rg 0 0 24 24 re f /Blend gs 0.9 0.5 0.3 rg 0 0 24 24 re f",
                            "/ExtGState << /Blend << /BM /" + mode + " >> >>", "0 0 24 24",
                            "/Group << /S /Transparency /CS /" + space + " >>"});
}

TEST(PageGroup, OfRGBIsCompositedAsRGBWhereItBlends) {
    expectNear(middle(groupPage("DeviceRGB", "Multiply")), sRGB(0.18, 0.2, 0.27), 4);
    expectNear(middle(groupPage("DeviceRGB", "Difference")), sRGB(0.7, 0.1, 0.6), 4);
    expectNear(middle(groupPage("DeviceRGB", "Screen")), sRGB(0.92, 0.7, 0.93), 4);
}

TEST(PageGroup, OfCMYKIsCompositedAsCMYK) {
    EXPECT_GT(middle(groupPage("DeviceCMYK", "Multiply")).distance(sRGB(0.18, 0.2, 0.27)), 4);
}

TEST(PageGroup, OfRGBWithoutBlendingKeepsBlackAlone) {
    EXPECT_EQ(middle(TestPDF::ofPage({"0 g 0 0 24 24 re f", "", "0 0 24 24",
                                      "/Group << /S /Transparency /CS /DeviceRGB >>"})),
              (Inks{{0, 0, 0, 255}}));
}

TEST(PageGroup, OfRGBFindsBlendingInForms) {
    TestPDF pdf;
    const std::string form =
        pdf.stream("/Type /XObject /Subtype /Form /BBox [0 0 24 24] /Resources << /ExtGState << "
                   "/Blend << /BM [/Multiply /Normal] >> >> >>",
                   "/Blend gs 0.9 0.5 0.3 rg 0 0 24 24 re f");
    pdf.page({"0.2 0.4 0.9 rg 0 0 24 24 re f /Form Do", "/XObject << /Form " + form + " >>",
              "0 0 24 24", "/Group << /S /Transparency /CS /DeviceRGB >>"});
    expectNear(middle(pdf.bytes()), sRGB(0.18, 0.2, 0.27), 4);
}

TEST(PageGroup, OfTaggedRGBIsCompositedInItsProfile) {
    TestPDF pdf;
    const std::string bytesOfProfile = Testing::adobeRGBProfile();
    const std::string profile = pdf.stream("/N 3", bytesOfProfile);
    const std::string space = "[/ICCBased " + profile + "]";
    pdf.page({"/Tint cs 0.2 0.4 0.9 sc 0 0 24 24 re f /Blend gs 0.9 0.5 0.3 sc 0 0 24 24 re f",
              "/ExtGState << /Blend << /BM /Multiply >> >> /ColorSpace << /Tint " + space + " >>",
              "0 0 24 24", "/Group << /S /Transparency /CS " + space + " >>"});
    expectNear(middle(pdf.bytes()),
               separated(*Profile::fromBytes(bytesOfProfile), {0.18, 0.2, 0.27}), 4);
}

TEST(PageGroup, OfRGBLeavesThePaperWithoutInk) {
    const CMYKImage image = render(TestPDF::ofPage(
        {"/Blend gs 0.9 0.5 0.3 rg 0 0 12 24 re f", "/ExtGState << /Blend << /BM /Multiply >> >>",
         "0 0 24 24", "/Group << /S /Transparency /CS /DeviceRGB >>"}));
    EXPECT_EQ(at(image, 75, 50), noInk);
    EXPECT_NE(at(image, 25, 50), noInk);
}

TEST(Rows, DrawnApartAreThoseDrawnTogether) {
    const std::string pdf = TestPDF::ofPage(
        {"0.1 0.2 0.9 rg 3.3 3.3 m 20.2 5.1 l 11 21.7 l f 0 g 0.7 w 1 1 m 23 22 l S BT /Sans 9 Tf "
         "2 10 Td (Rows) Tj ET",
         "/Font << /Sans << /Type /Font /Subtype /Type1 /BaseFont /Helvetica >> >>"});
    const Testing::TemporaryDocument document(pdf);
    const std::string together = document.rows(0, 100);
    for (const std::int64_t border : {1, 33, 50, 99})
        EXPECT_TRUE(document.rows(0, border) + document.rows(border, 100 - border) == together)
            << border;
}

} // namespace
} // namespace Bleedwise
