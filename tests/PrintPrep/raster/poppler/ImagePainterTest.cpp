#include "PrintPrep/raster/PopplerRenderer.h"

#include "support/Rendering.h"
#include "support/TestPDF.h"

#include <cstring>
#include <ostream>
#include <string>

#include <gtest/gtest.h>

/// Upright images without a mask are scaled straight into the bitmap. A clip that lets everything
/// through, but is no rectangle, leaves them to Poppler: both ways have to give the same pixels.
namespace Bleedwise {
namespace {

using Testing::at;
using Testing::Inks;
using Testing::noInk;
using Testing::render;
using Testing::TestPDF;

const char* const coverPage = "q 24 0 0 24 0 0 cm /I Do Q";

/// An image on a page of 100 × 100 pixels.
struct Case {
    const char* name;
    int width;
    int height;
    /// Of the image dictionary.
    std::string entries = "/ColorSpace /DeviceRGB /BitsPerComponent 8";
    std::string contents = coverPage;
    /// Of the page dictionary.
    std::string page = {};
    /// How many samples the stream has; all, unless given.
    std::size_t bytes = 0;
};

void PrintTo(const Case& image, std::ostream* stream) {
    *stream << image.name;
}

/// Samples with steps large and small, and some of 0 and 255.
std::string samples(std::size_t count) {
    std::string bytes;
    unsigned state = 1;
    for (std::size_t i = 0; i < count; ++i) {
        state = state * 1103515245U + 12345U;
        const unsigned level = (state >> 16U) % 256;
        bytes += static_cast<char>(i / 64 % 3 == 0   ? i
                                   : i / 64 % 3 == 1 ? level
                                                     : level / 128 * 255);
    }
    return bytes;
}

const char* const resources =
    "/ExtGState << /Half << /ca 0.5 >> /Multiply << /BM /Multiply >> /Over << /op true /OPM 1 >> "
    ">>";

CMYKImage drawn(const Case& image, const std::string& clip) {
    constexpr std::size_t mostBytesPerSample = 8;
    const std::size_t count =
        image.bytes > 0 ? image.bytes
                        : static_cast<std::size_t>(image.width * image.height) * mostBytesPerSample;
    TestPDF pdf;
    const std::string reference = pdf.stream(
        "/Type /XObject /Subtype /Image /Width " + std::to_string(image.width) + " /Height " +
            std::to_string(image.height) + " " + image.entries + " /Filter /ASCIIHexDecode",
        Testing::hexadecimal(samples(count)));
    pdf.page({"0.2 0.1 0 0 k 3 3 9.3 18 re f " + clip + image.contents,
              std::string(resources) + " /XObject << /I " + reference + " >>", "0 0 24 24",
              image.page});
    return render(pdf.bytes());
}

class ImagePainter : public testing::TestWithParam<Case> {};

TEST_P(ImagePainter, GivesPopplersPixels) {
    const CMYKImage direct = drawn(GetParam(), "");
    const CMYKImage byPoppler = drawn(GetParam(), "-999 -999 m 3000 -999 l -999 3000 l h W n ");
    for (std::int64_t y = 0; y < direct.height(); ++y)
        ASSERT_EQ(std::memcmp(direct.row(y), byPoppler.row(y),
                              4 * static_cast<std::size_t>(direct.width())),
                  0)
            << "row " << y;
}

const char* const gray = "/ColorSpace /DeviceGray /BitsPerComponent 8";
const char* const rgb = "/ColorSpace /DeviceRGB /BitsPerComponent 8";

INSTANTIATE_TEST_SUITE_P(
    Scaled, ImagePainter,
    testing::Values(Case{"SampleByPixel", 100, 100}, Case{"AFewPixelsMore", 97, 93},
                    Case{"AFewPixelsLess", 103, 107}, Case{"Enlarged", 41, 33},
                    Case{"EnlargedFourTimes", 26, 25}, Case{"RepeatedByAHair", 20, 21},
                    Case{"Repeated", 7, 9}, Case{"OneSample", 1, 1}, Case{"OneRow", 90, 1},
                    Case{"OneColumn", 1, 90}, Case{"Reduced", 331, 277}, Case{"WiderOnly", 331, 40},
                    Case{"HigherOnly", 40, 331},
                    Case{"Interpolated", 7, 9,
                         "/ColorSpace /DeviceRGB /BitsPerComponent 8 /Interpolate true"}),
    [](const auto& test) { return test.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Colored, ImagePainter,
    testing::Values(
        Case{"Gray", 41, 33, gray}, Case{"GrayReduced", 331, 277, gray},
        Case{"Bilevel", 41, 33, "/ColorSpace /DeviceGray /BitsPerComponent 1"},
        Case{"FourBits", 41, 33, "/ColorSpace /DeviceGray /BitsPerComponent 4"},
        Case{"SixteenBits", 41, 33, "/ColorSpace /DeviceGray /BitsPerComponent 16"},
        Case{"SixteenBitsRGB", 41, 33, "/ColorSpace /DeviceRGB /BitsPerComponent 16"},
        Case{"CMYK", 41, 33, "/ColorSpace /DeviceCMYK /BitsPerComponent 8"},
        Case{"CMYKInverted", 41, 33,
             "/ColorSpace /DeviceCMYK /BitsPerComponent 8 /Decode [1 0 1 0 1 0 1 0]"},
        Case{"CMYKReduced", 331, 277, "/ColorSpace /DeviceCMYK /BitsPerComponent 8"},
        Case{"Lab", 41, 33,
             "/ColorSpace [/Lab << /WhitePoint [0.9642 1 0.8249] >>] /BitsPerComponent 8"},
        Case{"Indexed", 41, 33,
             "/ColorSpace [/Indexed /DeviceRGB 3 <ff000000ff000000ff808080>] /BitsPerComponent 2"},
        Case{"Separation", 41, 33,
             "/ColorSpace [/Separation /Spot /DeviceCMYK << /FunctionType 2 /Domain [0 1] /N 1 "
             "/C0 [0 0 0 0] /C1 [0 1 0.5 0] >>] /BitsPerComponent 8"},
        Case{"LargeEnoughForATable", 600, 520, rgb}),
    [](const auto& test) { return test.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Placed, ImagePainter,
    testing::Values(
        Case{"BetweenPixels", 41, 33, rgb, "q 20.13 0 0 19.47 1.71 2.29 cm /I Do Q"},
        Case{"BetweenPixelsReduced", 331, 277, rgb, "q 20.13 0 0 19.47 1.71 2.29 cm /I Do Q"},
        Case{"BetweenPixelsRepeated", 7, 9, rgb, "q 20.13 0 0 19.47 1.71 2.29 cm /I Do Q"},
        Case{"BeyondThePage", 41, 33, rgb, "q 90 0 0 80 -31.3 -22.2 cm /I Do Q"},
        Case{"BeyondThePageReduced", 900, 700, rgb, "q 90 0 0 80 -31.3 -22.2 cm /I Do Q"},
        Case{"BeyondThePageRepeated", 7, 9, rgb, "q 90 0 0 80 -31.3 -22.2 cm /I Do Q"},
        Case{"FarBeyondThePage", 41, 33, rgb, "q 9e9 0 0 9e9 -4e9 -4e9 cm /I Do Q"},
        Case{"Nowhere", 41, 33, rgb, "q 20 0 0 20 50 50 cm /I Do Q"},
        Case{"Clipped", 41, 33, rgb,
             "q 3.33 4.77 15.1 16.21 re W n 24 0 0 24 0 0 cm /I Do Q 0 g 9 9 1 1 re f"},
        Case{"ClippedReduced", 331, 277, rgb,
             "q 3.33 4.77 15.1 16.21 re W n 24 0 0 24 0 0 cm /I Do Q"},
        Case{"UpsideDown", 41, 33, rgb, "q 24 0 0 -24 0 24 cm /I Do Q"},
        Case{"Mirrored", 41, 33, rgb, "q -24 0 0 24 24 0 cm /I Do Q"},
        Case{"Turned", 41, 33, rgb, "q 0 24 -24 0 24 0 cm /I Do Q"},
        Case{"TurnedALittle", 41, 33, rgb, "q 20 2 -2 20 2 1 cm /I Do Q"},
        Case{"Small", 41, 33, rgb, "q 6 0 0 6 5.5 5.5 cm /I Do Q"},
        Case{"OfAVastWidth", 500'000'000, 2'000, gray, coverPage, "", 99},
        Case{"OfTheLargestSize", 2'147'483'647, 2'147'483'647, rgb, coverPage, "", 99},
        Case{"TooLargeForPoppler", 100, 90, rgb, "q 9000 0 0 9000 -4e3 -4e3 cm /I Do Q"},
        Case{"InANarrowClip", 41, 33, rgb, "q 3.3 0 0.4 24 re W n 24 0 0 24 0 0 cm /I Do Q"},
        Case{"InAClipOfOnePixel", 331, 277, rgb,
             "q 3.3 7.7 0.1 0.1 re W n 24 0 0 24 0 0 cm /I Do Q"},
        Case{"InAnEmptyClip", 41, 33, rgb, "q 3 3 0 0 re W n 24 0 0 24 0 0 cm /I Do Q"},
        Case{"OfAVastSize", 1'000'000'000, 1'000'000'000, rgb, coverPage, "", 99},
        Case{"ThinAndLong", 41, 33, rgb, "q 24 0 0 0.3 0 11.1 cm /I Do Q"}),
    [](const auto& test) { return test.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Composited, ImagePainter,
    testing::Values(Case{"HalfTransparent", 41, 33, rgb, "/Half gs q 24 0 0 24 0 0 cm /I Do Q"},
                    Case{"Multiplied", 41, 33, rgb, "/Multiply gs q 24 0 0 24 0 0 cm /I Do Q"},
                    Case{"Overprinted", 41, 33, "/ColorSpace /DeviceCMYK /BitsPerComponent 8",
                         "/Over gs q 24 0 0 24 0 0 cm /I Do Q"},
                    Case{"AfterOverprint", 41, 33, rgb,
                         "q /Over gs 0 0 0 1 k 4 4 3 3 re f Q q 22 0 0 22 1.3 1.3 cm /I Do Q"},
                    Case{"WithAColorKey", 41, 33,
                         "/ColorSpace /DeviceGray /BitsPerComponent 8 /Mask [100 200]"},
                    Case{"AsAMask", 41, 33, "/ImageMask true /BitsPerComponent 1"},
                    Case{"OnAPageOfRGB", 41, 33, rgb,
                         "/Multiply gs 0 0 3 3 re f q 22 0 0 22 1.3 1.3 cm /I Do Q",
                         "/Group << /S /Transparency /CS /DeviceRGB >>"},
                    Case{"NormalOnAPageOfRGB", 41, 33, rgb,
                         "q /Multiply gs 0 0 3 3 re f Q q 22 0 0 22 1.3 1.3 cm /I Do Q",
                         "/Group << /S /Transparency /CS /DeviceRGB >>"},
                    Case{"ReducedOnAPageOfRGB", 331, 277, rgb,
                         "q /Multiply gs 0 0 3 3 re f Q q 22 0 0 22 1.3 1.3 cm /I Do Q",
                         "/Group << /S /Transparency /CS /DeviceRGB >>"},
                    Case{"EndingEarly", 41, 33, rgb, coverPage, "", 2000},
                    Case{"ReducedEndingEarly", 331, 277, rgb, coverPage, "", 100'000},
                    Case{"RepeatedEndingEarly", 7, 9, rgb, coverPage, "", 99}),
    [](const auto& test) { return test.param.name; });

TEST(ImagePainters, CoverTheirPlaceAndNoMore) {
    const CMYKImage image = drawn({"", 1, 1,
                                   "/ColorSpace /DeviceCMYK /BitsPerComponent 8 "
                                   "/Decode [1 1 0 0 0 0 0 0]",
                                   "q 12 0 0 12 12 0 cm /I Do Q"},
                                  "");
    EXPECT_EQ(at(image, 75, 75), (Inks{{255, 0, 0, 0}}));
    EXPECT_EQ(at(image, 90, 20), noInk);
}

} // namespace
} // namespace Bleedwise
