#include "PrintPrep/raster/PopplerRenderer.h"

#include "support/Rendering.h"
#include "support/TestPDF.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

/// Colours that reach the bitmap. Expected separations are Little CMS's own, without its shortcuts;
/// 2 of 255 allow for two roundings to bytes and for the table that large images go through.
namespace Bleedwise {
namespace {

using Testing::Inks;
using Testing::middle;
using Testing::noInk;
using Testing::outputProfile;
using Testing::separated;
using Testing::TestPDF;

constexpr int tolerance = 2;

void expectNear(const Inks& inks, const Inks& expected, int distance = tolerance) {
    EXPECT_LE(inks.distance(expected), distance) << inks << " instead of " << expected;
}

/// A page painted all over with a colour operator.
Inks painted(const std::string& colorOperator, const std::string& resources = {}) {
    return middle(TestPDF::ofPage({colorOperator + " 0 0 24 24 re f", resources}));
}

/// A page painted in a colour space that `makeSpace` defines with the objects it needs.
Inks paintedIn(const std::function<std::string(TestPDF&)>& makeSpace, const std::string& numbers,
               const std::string& before = {}) {
    TestPDF pdf;
    const std::string space = makeSpace(pdf);
    pdf.page({before + " /Tint cs " + numbers + " sc 0 0 24 24 re f",
              "/ColorSpace << /Tint " + space + " >>"});
    return middle(pdf.bytes());
}

std::string tagged(TestPDF& pdf, const std::string& profile, int channels) {
    return "[/ICCBased " + pdf.stream("/N " + std::to_string(channels), profile) + "]";
}

/// An image over the whole page.
Inks image(const std::function<std::string(TestPDF&)>& makeSpace, const std::string& pixels,
           int width, int height, const std::string& entries = {}) {
    TestPDF pdf;
    const std::string space = makeSpace(pdf);
    const std::string object = pdf.stream(
        "/Type /XObject /Subtype /Image /Width " + std::to_string(width) + " /Height " +
            std::to_string(height) + " /BitsPerComponent 8 /ColorSpace " + space + " " + entries,
        pixels);
    pdf.page({"24 0 0 24 0 0 cm /Picture Do", "/XObject << /Picture " + object + " >>"});
    return middle(pdf.bytes());
}

std::string repeated(const std::string& pixel, int count) {
    std::string pixels;
    for (int i = 0; i < count; ++i)
        pixels += pixel;
    return pixels;
}

std::string bytes(std::initializer_list<int> values) {
    std::string text;
    for (const int value : values)
        text += static_cast<char>(value);
    return text;
}

const Profile& sRGB() {
    static const Profile profile = Profile::sRGB();
    return profile;
}

TEST(DeviceCMYK, KeepsItsNumbers) {
    EXPECT_EQ(painted("0.2 0.4 0.6 0.8 k"), (Inks{{51, 102, 153, 204}}));
}

TEST(DeviceCMYK, KeepsItsNumbersInImages) {
    const std::string pixel = bytes({12, 200, 3, 99});
    EXPECT_EQ(image([](TestPDF&) { return "/DeviceCMYK"; }, repeated(pixel, 16), 4, 4),
              (Inks{{12, 200, 3, 99}}));
}

TEST(DeviceCMYK, KeepsFullBlackFullBlack) {
    EXPECT_EQ(painted("0 0 0 1 k"), (Inks{{0, 0, 0, 255}}));
}

TEST(TaggedCMYK, KeepsItsNumbersWithTheProfileThatShips) {
    EXPECT_EQ(
        paintedIn([](TestPDF& pdf) { return tagged(pdf, std::string(outputProfile().bytes()), 4); },
                  "0 0 0 1"),
        (Inks{{0, 0, 0, 255}}));
}

TEST(TaggedCMYK, KeepsItsNumbersInImagesWithTheProfileThatShips) {
    const std::string pixel = bytes({0, 0, 0, 255});
    EXPECT_EQ(
        image([](TestPDF& pdf) { return tagged(pdf, std::string(outputProfile().bytes()), 4); },
              repeated(pixel, 16), 4, 4),
        (Inks{{0, 0, 0, 255}}));
}

TEST(TaggedCMYK, IsConvertedFromAnotherProfile) {
    const std::string other = Testing::otherCMYKProfile();
    const Inks inks =
        paintedIn([&](TestPDF& pdf) { return tagged(pdf, other, 4); }, "0.1 0.6 0.3 0.5");
    expectNear(inks, separated(*Profile::fromBytes(other), {0.1, 0.6, 0.3, 0.5}));
}

TEST(TaggedCMYK, IsConvertedFromAnotherProfileInImages) {
    const std::string other = Testing::otherCMYKProfile();
    const Inks inks = image([&](TestPDF& pdf) { return tagged(pdf, other, 4); },
                            repeated(bytes({26, 153, 77, 128}), 16), 4, 4);
    expectNear(inks, separated(*Profile::fromBytes(other),
                               {26 / 255., 153 / 255., 77 / 255., 128 / 255.}));
}

TEST(Gray, IsBlackAlone) {
    EXPECT_EQ(painted("0.4 g"), (Inks{{0, 0, 0, 153}}));
}

TEST(Gray, IsBlackAloneInImages) {
    EXPECT_EQ(image([](TestPDF&) { return "/DeviceGray"; }, repeated(bytes({100}), 16), 4, 4),
              (Inks{{0, 0, 0, 155}}));
}

TEST(Gray, WhiteIsNoInk) {
    EXPECT_EQ(painted("1 g"), noInk);
}

TEST(TaggedGray, IsBlackAlone) {
    const Inks inks =
        paintedIn([](TestPDF& pdf) { return tagged(pdf, Testing::grayProfile(), 1); }, "0.5");
    EXPECT_EQ(inks.values[0] + inks.values[1] + inks.values[2], 0);
    EXPECT_GT(inks.values[3], 0);
}

TEST(TaggedGray, BlackIsFullBlack) {
    EXPECT_EQ(paintedIn([](TestPDF& pdf) { return tagged(pdf, Testing::grayProfile(), 1); }, "0"),
              (Inks{{0, 0, 0, 255}}));
}

TEST(TaggedGray, WhiteIsNoInk) {
    EXPECT_EQ(paintedIn([](TestPDF& pdf) { return tagged(pdf, Testing::grayProfile(), 1); }, "1"),
              noInk);
}

TEST(CalibratedGray, IsBlackAlone) {
    const Inks inks = paintedIn(
        [](TestPDF&) { return "[/CalGray << /WhitePoint [0.9505 1 1.089] /Gamma 2.2 >>]"; }, "0.5");
    EXPECT_EQ(inks.values[0] + inks.values[1] + inks.values[2], 0);
    EXPECT_GT(inks.values[3], 0);
}

struct RGBColor {
    const char* name;
    double red, green, blue;
};

class RGB : public testing::TestWithParam<RGBColor> {
protected:
    std::vector<double> color() const {
        return {GetParam().red, GetParam().green, GetParam().blue};
    }
    std::string numbers() const {
        return std::to_string(GetParam().red) + " " + std::to_string(GetParam().green) + " " +
               std::to_string(GetParam().blue);
    }
    std::string pixel() const {
        return bytes({static_cast<int>(GetParam().red * 255),
                      static_cast<int>(GetParam().green * 255),
                      static_cast<int>(GetParam().blue * 255)});
    }
    std::vector<double> pixelColor() const {
        const std::string text = pixel();
        std::vector<double> result;
        for (const char character : text)
            result.push_back(static_cast<unsigned char>(character) / 255.);
        return result;
    }
};

INSTANTIATE_TEST_SUITE_P(Colors, RGB,
                         testing::Values(RGBColor{"Black", 0, 0, 0}, RGBColor{"Red", 1, 0, 0},
                                         RGBColor{"Green", 0, 1, 0}, RGBColor{"Blue", 0, 0, 1},
                                         RGBColor{"Gray", 0.5, 0.5, 0.5},
                                         RGBColor{"Skin", 0.9, 0.72, 0.6},
                                         RGBColor{"DarkBlue", 0.05, 0.1, 0.3},
                                         RGBColor{"NearlyWhite", 0.98, 0.97, 0.95}),
                         [](const auto& color) { return color.param.name; });

TEST_P(RGB, IsSeparatedAsSRGB) {
    expectNear(painted(numbers() + " rg"), separated(sRGB(), color()));
}

TEST_P(RGB, IsSeparatedAsSRGBInSmallImages) {
    expectNear(image([](TestPDF&) { return "/DeviceRGB"; }, repeated(pixel(), 16), 4, 4),
               separated(sRGB(), pixelColor()));
}

TEST_P(RGB, IsSeparatedAsSRGBInLargeImages) {
    expectNear(image([](TestPDF&) { return "/DeviceRGB"; }, repeated(pixel(), 600 * 600), 600, 600),
               separated(sRGB(), pixelColor()));
}

TEST_P(RGB, IsSeparatedByItsOwnProfile) {
    const std::string profile = Testing::adobeRGBProfile();
    expectNear(paintedIn([&](TestPDF& pdf) { return tagged(pdf, profile, 3); }, numbers()),
               separated(*Profile::fromBytes(profile), color()));
}

TEST_P(RGB, IsSeparatedByItsOwnProfileInImages) {
    const std::string profile = Testing::adobeRGBProfile();
    expectNear(
        image([&](TestPDF& pdf) { return tagged(pdf, profile, 3); }, repeated(pixel(), 16), 4, 4),
        separated(*Profile::fromBytes(profile), pixelColor()));
}

TEST_P(RGB, IsSeparatedByItsCalibration) {
    const char* space = "[/CalRGB << /WhitePoint [0.9505 1 1.089] /Gamma [1.8 1.8 1.8] /Matrix "
                        "[0.4497 0.2446 0.0252 0.3163 0.672 0.1412 0.1845 0.0833 0.9227] >>]";
    const auto profile = Profile::calibratedRGB(
        {0.9505, 1, 1.089}, {1.8, 1.8, 1.8},
        {{{0.4497, 0.2446, 0.0252}, {0.3163, 0.672, 0.1412}, {0.1845, 0.0833, 0.9227}}});
    expectNear(paintedIn([&](TestPDF&) { return space; }, numbers()), separated(*profile, color()));
}

TEST(RGBImages, DifferBetweenProfiles) {
    const std::string pixels = repeated(bytes({40, 200, 60}), 16);
    const Inks plain = image([](TestPDF&) { return "/DeviceRGB"; }, pixels, 4, 4);
    const Inks adobe = image(
        [](TestPDF& pdf) { return tagged(pdf, Testing::adobeRGBProfile(), 3); }, pixels, 4, 4);
    EXPECT_GT(plain.distance(adobe), 10);
}

TEST(RGBWhite, IsNoInk) {
    EXPECT_EQ(painted("1 1 1 rg"), noInk);
}

TEST(RGBWhite, IsNoInkWithAnyIntent) {
    for (const char* intent :
         {"Perceptual", "RelativeColorimetric", "Saturation", "AbsoluteColorimetric"})
        EXPECT_EQ(painted("/" + std::string(intent) + " ri 1 1 1 rg"), noInk) << intent;
}

TEST(RGBWhite, IsNoInkInLargeImages) {
    EXPECT_EQ(image([](TestPDF&) { return "/DeviceRGB"; },
                    repeated(bytes({255, 255, 255}), 600 * 600), 600, 600,
                    "/Intent /AbsoluteColorimetric"),
              noInk);
}

TEST(RenderingIntent, IsTheContents) {
    expectNear(painted("/Saturation ri 0.1 0.2 0.9 rg"),
               separated(sRGB(), {0.1, 0.2, 0.9}, Intent::saturation));
}

TEST(RenderingIntent, CountsWhenTheColorIsPainted) {
    expectNear(painted("0.1 0.2 0.9 rg /Saturation ri"),
               separated(sRGB(), {0.1, 0.2, 0.9}, Intent::saturation));
}

TEST(RenderingIntent, IsTheImages) {
    expectNear(image([](TestPDF&) { return "/DeviceRGB"; }, repeated(bytes({25, 51, 230}), 16), 4,
                     4, "/Intent /Saturation"),
               separated(sRGB(), {25 / 255., 51 / 255., 230 / 255.}, Intent::saturation));
}

const char* const labSpace =
    "[/Lab << /WhitePoint [0.9642 1 0.8249] /Range [-128 127 -128 127] >>]";

TEST(LabColor, IsSeparated) {
    expectNear(paintedIn([](TestPDF&) { return labSpace; }, "60 40 -30"),
               separated(Profile::lab(), {60, 40, -30}));
}

TEST(LabColor, IsSeparatedInImages) {
    // Bytes cover L* from 0 to 100 and a*, b* from -128 to 127.
    expectNear(image([](TestPDF&) { return labSpace; }, repeated(bytes({153, 168, 98}), 16), 4, 4),
               separated(Profile::lab(), {60, 40, -30}));
}

std::string taggedLab(TestPDF& pdf) {
    return "[/ICCBased " +
           pdf.stream("/N 3 /Range [0 100 -128 127 -128 127] /Alternate " + std::string(labSpace),
                      Testing::labProfile()) +
           "]";
}

TEST(TaggedLab, IsSeparated) {
    expectNear(paintedIn(taggedLab, "60 40 -30"), separated(Profile::lab(), {60, 40, -30}));
}

TEST(TaggedLab, IsSeparatedInSmallImages) {
    expectNear(image(taggedLab, repeated(bytes({153, 168, 98}), 16), 4, 4),
               separated(Profile::lab(), {60, 40, -30}));
}

TEST(TaggedLab, IsSeparatedInLargeImages) {
    expectNear(image(taggedLab, repeated(bytes({153, 168, 98}), 600 * 600), 600, 600),
               separated(Profile::lab(), {60, 40, -30}));
}

TEST(IndexedColor, IsSeparatedByItsBase) {
    expectNear(paintedIn([](TestPDF&) { return "[/Indexed /DeviceRGB 1 <ffffff1a33e6>]"; }, "1"),
               separated(sRGB(), {0x1a / 255., 0x33 / 255., 0xe6 / 255.}));
}

TEST(IndexedColor, IsSeparatedByItsBaseInImages) {
    expectNear(image([](TestPDF&) { return "[/Indexed /DeviceRGB 1 <ffffff1a33e6>]"; },
                     repeated(bytes({1}), 16), 4, 4),
               separated(sRGB(), {0x1a / 255., 0x33 / 255., 0xe6 / 255.}));
}

TEST(IndexedColor, KeepsCMYKNumbers) {
    EXPECT_EQ(image([](TestPDF&) { return "[/Indexed /DeviceCMYK 1 <000000000a141e28>]"; },
                    repeated(bytes({1}), 16), 4, 4),
              (Inks{{10, 20, 30, 40}}));
}

const char* const cmykTint =
    "<< /FunctionType 2 /Domain [0 1] /N 1 /C0 [0 0 0 0] /C1 [0 0.8 0.4 0.4] >>";
const char* const rgbTint =
    "<< /FunctionType 2 /Domain [0 1] /N 1 /C0 [1 1 1] /C1 [0.1 0.2 0.9] >>";

TEST(SpotColor, GoesThroughItsCMYKAlternate) {
    EXPECT_EQ(paintedIn(
                  [](TestPDF&) {
                      return "[/Separation /Varnish /DeviceCMYK " + std::string(cmykTint) + "]";
                  },
                  "0.5"),
              (Inks{{0, 102, 51, 51}}));
}

TEST(SpotColor, GoesThroughItsRGBAlternate) {
    expectNear(paintedIn(
                   [](TestPDF&) {
                       return "[/Separation /Varnish /DeviceRGB " + std::string(rgbTint) + "]";
                   },
                   "1"),
               separated(sRGB(), {0.1, 0.2, 0.9}));
}

TEST(SpotColor, GoesThroughItsLabAlternate) {
    expectNear(paintedIn(
                   [](TestPDF&) {
                       return "[/Separation /Varnish " + std::string(labSpace) +
                              " << /FunctionType 2 /Domain [0 1] /N 1 /C0 [100 0 0] "
                              "/C1 [60 40 -30] >>]";
                   },
                   "1"),
               separated(Profile::lab(), {60, 40, -30}));
}

TEST(SpotColor, GoesThroughItsAlternateInImages) {
    expectNear(image(
                   [](TestPDF&) {
                       return "[/Separation /Varnish /DeviceRGB " + std::string(rgbTint) + "]";
                   },
                   repeated(bytes({255}), 16), 4, 4),
               separated(sRGB(), {0.1, 0.2, 0.9}));
}

TEST(ProcessColorant, IsItsInkWhateverTheAlternate) {
    EXPECT_EQ(paintedIn(
                  [](TestPDF&) {
                      return "[/Separation /Black /DeviceRGB << /FunctionType 2 /Domain [0 1] /N 1 "
                             "/C0 [1 1 1] /C1 [0 0 0] >>]";
                  },
                  "0.6"),
              (Inks{{0, 0, 0, 153}}));
}

TEST(RegistrationColor, IsAllInks) {
    EXPECT_EQ(paintedIn(
                  [](TestPDF&) {
                      return "[/Separation /All /DeviceGray << /FunctionType 2 /Domain [0 1] /N 1 "
                             "/C0 [1] /C1 [0] >>]";
                  },
                  "1"),
              (Inks{{255, 255, 255, 255}}));
}

TEST(DeviceN, GoesThroughItsAlternate) {
    TestPDF pdf;
    const std::string function =
        pdf.stream("/FunctionType 4 /Domain [0 1 0 1] /Range [0 1 0 1 0 1]",
                   "{ exch pop 1 exch sub dup 0.9 }");
    pdf.page({"/Tint cs 0.3 0.6 sc 0 0 24 24 re f",
              "/ColorSpace << /Tint [/DeviceN [/Foil /Varnish] /DeviceRGB " + function + "] >>"});
    expectNear(middle(pdf.bytes()), separated(sRGB(), {0.4, 0.4, 0.9}));
}

TEST(DeviceN, OfProcessColorantsIsTheirInks) {
    TestPDF pdf;
    const std::string function =
        pdf.stream("/FunctionType 4 /Domain [0 1 0 1] /Range [0 1 0 1 0 1]", "{ pop dup dup }");
    pdf.page({"/Tint cs 0.4 0.8 sc 0 0 24 24 re f",
              "/ColorSpace << /Tint [/DeviceN [/Magenta /Black] /DeviceRGB " + function + "] >>"});
    EXPECT_EQ(middle(pdf.bytes()), (Inks{{0, 102, 0, 204}}));
}

TEST(DefaultRGB, StandsInForDeviceRGB) {
    TestPDF pdf;
    const std::string profile = Testing::adobeRGBProfile();
    const std::string space = tagged(pdf, profile, 3);
    pdf.page({"0.2 0.8 0.3 rg 0 0 24 24 re f", "/ColorSpace << /DefaultRGB " + space + " >>"});
    expectNear(middle(pdf.bytes()), separated(*Profile::fromBytes(profile), {0.2, 0.8, 0.3}));
}

TEST(BrokenProfile, GivesWayToItsAlternate) {
    expectNear(paintedIn([](TestPDF& pdf) { return tagged(pdf, "no profile", 3); }, "0.2 0.8 0.3"),
               separated(sRGB(), {0.2, 0.8, 0.3}));
}

TEST(BrokenProfile, OfFourChannelsKeepsItsNumbers) {
    EXPECT_EQ(paintedIn([](TestPDF& pdf) { return tagged(pdf, "no profile", 4); }, "0 0 0 1"),
              (Inks{{0, 0, 0, 255}}));
}

TEST(Overprint, OfBlackKeepsTheCyanBelow) {
    EXPECT_EQ(middle(TestPDF::ofPage({"1 0 0 0 k 0 0 24 24 re f /Over gs 0 0 0 1 k 6 6 12 12 re f",
                                      "/ExtGState << /Over << /op true /OP true /OPM 1 >> >>"})),
              (Inks{{255, 0, 0, 255}}));
}

TEST(Overprint, OfTaggedBlackKeepsTheCyanBelow) {
    TestPDF pdf;
    const std::string space = tagged(pdf, std::string(outputProfile().bytes()), 4);
    pdf.page({"1 0 0 0 k 0 0 24 24 re f /Over gs /Tint cs 0 0 0 1 sc 6 6 12 12 re f",
              "/ExtGState << /Over << /op true /OP true /OPM 1 >> >> /ColorSpace << /Tint " +
                  space + " >>"});
    EXPECT_EQ(middle(pdf.bytes()), (Inks{{255, 0, 0, 255}}));
}

TEST(Overprint, OfASpotColorAddsToTheInksBelow) {
    EXPECT_EQ(middle(TestPDF::ofPage(
                  {"1 0 0 0 k 0 0 24 24 re f /Over gs /Tint cs 1 sc 6 6 12 12 re f",
                   "/ExtGState << /Over << /op true >> >> /ColorSpace << /Tint [/Separation "
                   "/Varnish /DeviceCMYK " +
                       std::string(cmykTint) + "] >>"})),
              (Inks{{255, 204, 102, 102}}));
}

/// A spot colour over light cyan, by the space that it is proofed in and the ways it can be
/// painted.
struct ProofedSpot {
    const char* name;
    std::string space;
    std::string painting;
};

void PrintTo(const ProofedSpot& spot, std::ostream* stream) {
    *stream << spot.name;
}

class SpotOverprint : public testing::TestWithParam<ProofedSpot> {};

const std::string labTint =
    std::string(labSpace) +
    " << /FunctionType 2 /Domain [0 1] /N 1 /C0 [100 0 0] /C1 [60 40 -30] >>";
const std::string proofedInLab = "[/Separation /Varnish " + labTint + "]";

INSTANTIATE_TEST_SUITE_P(
    , SpotOverprint,
    testing::Values(ProofedSpot{"Fill", proofedInLab, "/Tint cs 1 sc 6 6 12 12 re f"},
                    ProofedSpot{"Stroke", proofedInLab, "/Tint CS 1 SC 9 w 0 12 m 24 12 l S"},
                    ProofedSpot{"EvenOddFill", proofedInLab, "/Tint cs 1 sc 6 6 12 12 re f*"},
                    ProofedSpot{"Image", proofedInLab,
                                "24 0 0 24 0 0 cm BI /W 1 /H 1 /CS /Tint /BPC 8 /F /AHx ID ff> EI"},
                    ProofedSpot{
                        "StencilMask", proofedInLab,
                        "/Tint cs 1 sc 24 0 0 24 0 0 cm BI /W 1 /H 1 /IM true /F /AHx ID 00> EI"},
                    ProofedSpot{"Palette", "[/Indexed " + proofedInLab + " 1 <00ff>]",
                                "/Tint cs 1 sc 6 6 12 12 re f"},
                    ProofedSpot{"DeviceN", "[/DeviceN [/Varnish] " + labTint + "]",
                                "/Tint cs 1 sc 6 6 12 12 re f"}),
    [](const auto& spot) { return std::string(spot.param.name); });

TEST_P(SpotOverprint, AddsItsProofToTheInksBelow) {
    const ProofedSpot& spot = GetParam();
    const Inks inks = middle(
        TestPDF::ofPage({"0.2 0 0 0 k 0 0 24 24 re f /Over gs " + spot.painting,
                         "/ExtGState << /Over << /op true /OP true >> >> /ColorSpace << /Tint " +
                             spot.space + " >>"}));
    Inks expected = separated(Profile::lab(), {60, 40, -30});
    expected.values[0] += 51;
    expectNear(inks, expected);
}

TEST(Overprint, OfASpotColorLeavesLaterColorsAlone) {
    EXPECT_EQ(middle(TestPDF::ofPage(
                  {"1 0 0 0 k 0 0 24 24 re f /Over gs /Tint cs 1 sc 0 0 24 24 re f /Not gs "
                   "0 0.2 0 0 k 0 0 24 24 re f",
                   "/ExtGState << /Over << /op true >> /Not << /op false >> >> /ColorSpace << "
                   "/Tint " +
                       proofedInLab + " >>"})),
              (Inks{{0, 51, 0, 0}}));
}

TEST(Knockout, IsTheRuleOfASpotColorWithoutOverprint) {
    expectNear(middle(TestPDF::ofPage({"1 0 0 0 k 0 0 24 24 re f /Tint cs 1 sc 0 0 24 24 re f",
                                       "/ColorSpace << /Tint " + proofedInLab + " >>"})),
               separated(Profile::lab(), {60, 40, -30}));
}

/// Cyan under a shading that overprints: the spot colour "Varnish" from nothing to full, by
/// further entries.
Inks spotShadingOverCyan(const std::string& shading) {
    return middle(TestPDF::ofPage(
        {"1 0 0 0 k 0 0 24 24 re f /Over gs /Shade sh",
         "/ExtGState << /Over << /op true >> >> /Shading << /Shade << /ColorSpace [/Separation "
         "/Varnish /DeviceCMYK " +
             std::string(cmykTint) +
             "] /Function << /FunctionType 2 /Domain [0 1] /C0 [1] /C1 [1] /N 1 >> " + shading +
             " >> >>"}));
}

TEST(Overprint, OfAnAxialSpotGradientAddsToTheInksBelow) {
    EXPECT_EQ(spotShadingOverCyan("/ShadingType 2 /Coords [0 0 24 0]"),
              (Inks{{255, 204, 102, 102}}));
}

TEST(Overprint, OfARadialSpotGradientAddsToTheInksBelow) {
    EXPECT_EQ(spotShadingOverCyan("/ShadingType 3 /Coords [12 12 0 12 12 12]"),
              (Inks{{255, 204, 102, 102}}));
}

TEST(Overprint, OfASpotColorWithBlackAddsToTheInksBelow) {
    TestPDF pdf;
    const std::string tint =
        pdf.stream("/FunctionType 4 /Domain [0 1 0 1] /Range [0 1 0 1 0 1 0 1]",
                   "{ 0.6 mul 0 exch 0 4 -1 roll }"); // black and spot to 0, 0.6 spot, 0, black
    pdf.page({"1 0 0 0 k 0 0 24 24 re f /Over gs /Tint cs 1 1 sc 6 6 12 12 re f",
              "/ExtGState << /Over << /op true >> >> /ColorSpace << /Tint [/DeviceN [/Black "
              "/Varnish] /DeviceCMYK " +
                  tint + "] >>"});
    EXPECT_EQ(middle(pdf.bytes()), (Inks{{255, 153, 0, 255}}));
}

TEST(Knockout, IsTheRuleWithoutOverprint) {
    EXPECT_EQ(middle(TestPDF::ofPage({"1 0 0 0 k 0 0 24 24 re f 0 0 0 1 k 6 6 12 12 re f"})),
              (Inks{{0, 0, 0, 255}}));
}

} // namespace
} // namespace Bleedwise
