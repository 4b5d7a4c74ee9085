#include "PrintPrep/NativeResultCheck.h"

#include "PrintPrep/Ghostscript.h"
#include "PrintPrep/PrintPrepError.h"
#include "PrintPrep/platform/OperationStopped.h"
#include "support/Command.h"
#include "support/FakeGhostscript.h"
#include "support/Lifeline.h"
#include "support/Rendering.h"
#include "support/ScopedVariable.h"
#include "support/SmallPDF.h"
#include "support/TemporaryFolder.h"
#include "support/TestPDF.h"

#include <array>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <future>
#include <ostream>
#include <sstream>
#include <stop_token>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

using std::filesystem::path;
using Testing::FakeGhostscript;
using Testing::outputProfileURL;
using Testing::ScopedVariable;
using Testing::TemporaryFolder;
using Testing::TestPDF;

constexpr double millimetre = 72 / 25.4;

enum class Bleed { included, trimOnly };

std::string nameOf(Bleed bleed) {
    return bleed == Bleed::included ? "WithBleed" : "TrimOnly";
}

// A6 with a bleed of 3 mm.
constexpr double bleedMM = 3;

PrintSettings settingsFor(Bleed bleed) {
    return {105, 148, bleedMM, bleed == Bleed::included, true};
}

// The artwork: its pages are as large as their settings want them.

double pageWidth(Bleed bleed) {
    return (bleed == Bleed::included ? 111 : 105) * millimetre;
}
double pageHeight(Bleed bleed) {
    return (bleed == Bleed::included ? 154 : 148) * millimetre;
}

std::string numbers(const std::vector<double>& values) {
    std::ostringstream text;
    for (const double value : values)
        text << value << ' ';
    return text.str();
}

/// Lines of bars in the place of text, and a picture's frame; `ink` is the operator that sets its
/// colour.
std::string drawing(const std::string& ink = "0.9 0.5 0 0.1 k") {
    std::string content = "0 0 0 1 k ";
    for (int line = 0; line < 12; ++line) {
        for (int word = 0; word < 3 + line % 3; ++word)
            content += numbers({30.0 + 41 * word, 350.0 - 12 * line, 33.0 - 2 * line, 6}) + "re ";
    }
    return content + "f " + ink + " 40 40 90 120 re f";
}

/// The same on a tint to the page's edges.
std::string artwork(Bleed bleed, const std::string& ink = "0.9 0.5 0 0.1 k") {
    return "0.1 0 0.2 0 k " + numbers({0, 0, pageWidth(bleed), pageHeight(bleed)}) + "re f " +
           drawing(ink);
}

std::string mediaBox(double width, double height) {
    return "0 0 " + numbers({width, height});
}

std::string inputOf(Bleed bleed, const std::vector<std::string>& pages) {
    TestPDF pdf;
    for (const std::string& page : pages)
        pdf.page({page, "", mediaBox(pageWidth(bleed), pageHeight(bleed))});
    return pdf.bytes();
}

/// Where Ghostscript puts a page, on paper as large as it makes it.
struct Result {
    Bleed bleed;
    TestPDF pdf = {};

    double offset() const { return bleed == Bleed::included ? 0 : bleedMM * millimetre; }

    /// `matrix` is what happens to the page before it is put there.
    void add(const std::string& content, const std::string& matrix = "1 0 0 1 0 0",
             const std::string& resources = "", const std::string& entries = "") {
        pdf.page({"q 1 0 0 1 " + numbers({offset(), offset()}) + "cm q " + matrix + " cm " +
                      numbers({0, 0, pageWidth(bleed), pageHeight(bleed)}) + "re W n " + content +
                      " Q Q",
                  resources, mediaBox(pageWidth(bleed), pageHeight(bleed)), entries});
    }
    void addRight() { add(artwork(bleed)); }

    std::string bytes() const { return pdf.bytes(); }
};

/// The line that a run's error ends with, after what Ghostscript said; empty when it succeeds.
std::string faultOf(Bleed bleed, const std::string& input, const std::string& result) {
    const TemporaryFolder folder;
    const FakeGhostscript fake("echo said", result);
    try {
        Ghostscript::convertToCMYKSync(fake.url(), folder.file("in.pdf", input), folder / "out.pdf",
                                       outputProfileURL(), settingsFor(bleed));
    } catch (const PrintPrepError& error) {
        const std::string beginning = "Ghostscript failed.\nsaid\n";
        EXPECT_TRUE(error.errorDescription().starts_with(beginning)) << error.errorDescription();
        return error.errorDescription().substr(beginning.size());
    }
    return "";
}

/// A way to get the second of two pages wrong.
struct Mistake {
    const char* name;
    std::function<void(Result&)> make;
    /// How the line goes on after the page's name.
    const char* fault;
};

void PrintTo(const Mistake& mistake, std::ostream* stream) {
    *stream << mistake.name;
}

void addImage(Result& result, const std::string& space, const std::string& data) {
    const std::string image =
        result.pdf.stream("/Type /XObject /Subtype /Image /Width 1 /Height 1 /BitsPerComponent 8 "
                          "/Filter /ASCIIHexDecode /ColorSpace " +
                              space,
                          data);
    result.add(artwork(result.bleed) + " q 9 0 0 9 1 1 cm /I Do Q", "1 0 0 1 0 0",
               "/XObject << /I " + image + " >>");
}

/// With a spot colour of so light a tint on so little that nobody sees it, described in
/// `alternate`.
void addSpot(Result& result, const std::string& alternate, const std::string& white,
             const std::string& full) {
    result.add(artwork(result.bleed) + " /S cs 0.02 scn 1 1 3 3 re f", "1 0 0 1 0 0",
               "/ColorSpace << /S [/Separation /Gold " + alternate +
                   " << /FunctionType 2 /Domain [0 1] /N 1 /C0 [" + white + "] /C1 [" + full +
                   "] >>] >>");
}

const std::string transparentRGB = "0.9 0.9 0.8 rg 1 1 9 9 re f";

const std::vector<Mistake> mistakes = {
    {"BlankPage", [](Result& result) { result.add(""); }, "is blank"},
    {"ShiftOfTwoMillimetresToTheRight",
     [](Result& result) { result.add(artwork(result.bleed), "1 0 0 1 5.67 0"); }, "is shifted"},
    {"ShiftOfTwoMillimetresUp",
     [](Result& result) { result.add(artwork(result.bleed), "1 0 0 1 0 5.67"); }, "is shifted"},
    {"ScaleOf98PerCent",
     [](Result& result) {
         result.add(artwork(result.bleed),
                    "0.98 0 0 0.98 " +
                        numbers({0.01 * pageWidth(result.bleed), 0.01 * pageHeight(result.bleed)}));
     },
     "has another scale"},
    {"MirroredPage",
     [](Result& result) {
         result.add(artwork(result.bleed), "-1 0 0 1 " + numbers({pageWidth(result.bleed), 0}));
     },
     "is mirrored"},
    {"PageUpsideDown",
     [](Result& result) {
         result.add(artwork(result.bleed),
                    "-1 0 0 -1 " + numbers({pageWidth(result.bleed), pageHeight(result.bleed)}));
     },
     "is upside down"},
    {"ClippedPage",
     [](Result& result) {
         result.add(numbers({0, 0, pageWidth(result.bleed) - 20, pageHeight(result.bleed)}) +
                    "re W n " + artwork(result.bleed));
     },
     "lacks artwork of the original"},
    {"MissingObject", [](Result& result) { result.add(artwork(result.bleed, "0.1 0 0.2 0 k")); },
     "lacks artwork of the original"},
    {"ObjectInAnotherColour",
     [](Result& result) { result.add(artwork(result.bleed, "0 1 1 0 k")); },
     "does not look like the original"},
    {"PageInRGB", [](Result& result) { result.add(artwork(result.bleed) + ' ' + transparentRGB); },
     "still has RGB colour"},
    {"ImageInRGB", [](Result& result) { addImage(result, "/DeviceRGB", "e0f0d0>"); },
     "still has RGB colour"},
    {"InlineImageInRGB",
     [](Result& result) {
         result.add(artwork(result.bleed) + " q 9 0 0 9 1 1 cm BI /W 1 /H 1 /BPC 8 /CS /RGB "
                                            "/F /AHx ID e0f0d0> EI Q");
     },
     "still has RGB colour"},
    {"IndexedImageInRGB",
     [](Result& result) { addImage(result, "[/Indexed /DeviceRGB 0 <e0f0d0>]", "00>"); },
     "still has RGB colour"},
    {"ShadingInRGB",
     [](Result& result) {
         result.add(artwork(result.bleed) + " 1 1 9 9 re W n /S sh", "1 0 0 1 0 0",
                    "/Shading << /S << /ShadingType 2 /ColorSpace /DeviceRGB /Coords [0 0 9 9] "
                    "/Function << /FunctionType 2 /Domain [0 1] /N 1 /C0 [0.9 0.9 0.8] /C1 [0.9 1 "
                    "0.8] >> >> >>");
     },
     "still has RGB colour"},
    {"PatternInRGB",
     [](Result& result) {
         const std::string cell =
             result.pdf.stream("/Type /Pattern /PatternType 1 /PaintType 1 /TilingType 1 /BBox "
                               "[0 0 4 4] /XStep 4 /YStep 4 /Resources << >>",
                               "0.9 1 0.9 rg 0 0 4 4 re f");
         result.add(artwork(result.bleed) + " /Pattern cs /P scn 1 1 9 9 re f", "1 0 0 1 0 0",
                    "/Pattern << /P " + cell + " >>");
     },
     "still has RGB colour"},
    {"FormInRGB",
     [](Result& result) {
         const std::string form =
             result.pdf.stream("/Type /XObject /Subtype /Form /BBox [0 0 99 99]", transparentRGB);
         result.add(artwork(result.bleed) + " /F Do", "1 0 0 1 0 0",
                    "/XObject << /F " + form + " >>");
     },
     "still has RGB colour"},
    {"AnnotationInRGB",
     [](Result& result) {
         const std::string form = result.pdf.stream(
             "/Type /XObject /Subtype /Form /BBox [0 0 99 99] /Resources << >>", transparentRGB);
         const std::string annotation = result.pdf.object(
             "<< /Type /Annot /Subtype /Square /Rect [0 0 99 99] /F 4 /AP << /N " + form +
             " >> >>");
         result.add(artwork(result.bleed), "1 0 0 1 0 0", "", "/Annots [" + annotation + "]");
     },
     "still has RGB colour"},
    {"SpotColourDescribedInRGB",
     [](Result& result) { addSpot(result, "/DeviceRGB", "1 1 1", "0.8 0.6 0"); },
     "has a spot colour that is not described in CMYK"},
    {"ColourInLab",
     [](Result& result) {
         result.add(artwork(result.bleed) + " /L cs 90 0 5 scn 1 1 9 9 re f", "1 0 0 1 0 0",
                    "/ColorSpace << /L [/Lab << /WhitePoint [0.9642 1 0.8249] >>] >>");
     },
     "has colour that is neither CMYK nor grey"},
};

class WrongNativeResult : public testing::TestWithParam<std::tuple<Mistake, Bleed>> {};

TEST_P(WrongNativeResult, IsRefusedNamingThePageAndTheWayOut) {
    const auto& [mistake, bleed] = GetParam();
    Result result{bleed};
    result.addRight();
    mistake.make(result);
    const std::string fault =
        faultOf(bleed, inputOf(bleed, {artwork(bleed), artwork(bleed)}), result.bytes());
    EXPECT_TRUE(fault.starts_with(std::string("Page 2 of the result ") + mistake.fault)) << fault;
    EXPECT_TRUE(fault.ends_with(". Convert this file in Raster mode.")) << fault;
}

INSTANTIATE_TEST_SUITE_P(With, WrongNativeResult,
                         testing::Combine(testing::ValuesIn(mistakes),
                                          testing::Values(Bleed::included, Bleed::trimOnly)),
                         [](const auto& tested) {
                             return std::get<Mistake>(tested.param).name +
                                    nameOf(std::get<Bleed>(tested.param));
                         });

class EachNativeResult : public testing::TestWithParam<Bleed> {
protected:
    static Bleed bleed() { return GetParam(); }
};

TEST_P(EachNativeResult, IsFineWhenItLooksAsItShould) {
    Result result{bleed()};
    result.addRight();
    result.addRight();
    EXPECT_EQ(
        faultOf(bleed(), inputOf(bleed(), {artwork(bleed()), artwork(bleed())}), result.bytes()),
        "");
}

TEST_P(EachNativeResult, IsFineWhenItsColoursAreALittleDifferent) {
    Result result{bleed()};
    result.add(artwork(bleed(), "0.85 0.55 0.04 0.12 k"));
    EXPECT_EQ(faultOf(bleed(), inputOf(bleed(), {artwork(bleed())}), result.bytes()), "");
}

TEST_P(EachNativeResult, IsFineWithASpotColourDescribedInCMYK) {
    Result result{bleed()};
    addSpot(result, "/DeviceCMYK", "0 0 0 0", "0 0.3 1 0.1");
    EXPECT_EQ(faultOf(bleed(), inputOf(bleed(), {artwork(bleed())}), result.bytes()), "");
}

TEST_P(EachNativeResult, IsFineWithRGBThatPaintsNothing) {
    Result result{bleed()};
    result.add("1 0 0 rg " + artwork(bleed()));
    EXPECT_EQ(faultOf(bleed(), inputOf(bleed(), {artwork(bleed())}), result.bytes()), "");
}

TEST_P(EachNativeResult, IsFineForAPageOfAnotherShape) {
    // 50 mm square: as wide as the sheet or the trim, and in its middle.
    const double scale = pageWidth(bleed()) / (50 * millimetre);
    const double down = (pageHeight(bleed()) - pageWidth(bleed())) / 2;
    const std::string square = "0 1 0 0 k 9 9 60 30 re f 1 0 0 0 k 70 60 50 70 re f";
    Result result{bleed()};
    result.add(square, numbers({scale, 0, 0, scale, 0, down}));
    const std::string input =
        TestPDF::ofPage({square, "", mediaBox(50 * millimetre, 50 * millimetre)});
    EXPECT_EQ(faultOf(bleed(), input, result.bytes()), "");
}

TEST_P(EachNativeResult, IsRefusedWhenAPageIsMissing) {
    Result result{bleed()};
    result.addRight();
    EXPECT_EQ(
        faultOf(bleed(), inputOf(bleed(), {artwork(bleed()), artwork(bleed())}), result.bytes()),
        "The result has 1 page instead of 2. Convert this file in Raster mode.");
}

TEST_P(EachNativeResult, IsRefusedWhenItHasAPageTooMany) {
    Result result{bleed()};
    result.addRight();
    result.addRight();
    EXPECT_EQ(faultOf(bleed(), inputOf(bleed(), {artwork(bleed())}), result.bytes()),
              "The result has 2 pages instead of 1. Convert this file in Raster mode.");
}

TEST_P(EachNativeResult, IsRefusedWhenItCannotBeReadAlthoughTheInputCan) {
    EXPECT_EQ(faultOf(bleed(), inputOf(bleed(), {artwork(bleed())}), "%PDF-1.4\nnonsense"),
              "The result cannot be read. Convert this file in Raster mode.");
}

TEST_P(EachNativeResult, IsNotJudgedWhenThereIsNone) {
    const TemporaryFolder folder;
    NativeResultCheck check(folder.file("in.pdf", inputOf(bleed(), {artwork(bleed())})),
                            outputProfileURL(), settingsFor(bleed()));
    EXPECT_EQ(check.fault(folder / "none.pdf"), std::nullopt);
}

/// An input whose page has an annotation with an appearance in each of these rectangles.
std::string annotatedInput(Bleed bleed, const std::vector<std::string>& rectangles) {
    TestPDF pdf;
    const std::string form = pdf.stream("/Type /XObject /Subtype /Form /BBox [0 0 9 9]", "");
    std::string annotations;
    for (const std::string& rectangle : rectangles)
        annotations += "<< /Type /Annot /Subtype /Text /F 4 /Rect [" + rectangle + "] /AP << /N " +
                       form + " >> >> ";
    pdf.page({artwork(bleed), "", mediaBox(pageWidth(bleed), pageHeight(bleed)),
              "/Annots [" + annotations + "]"});
    return pdf.bytes();
}

TEST_P(EachNativeResult, IsRefusedForArtworkThatIsMissingBetweenTwoNotes) {
    Result result{bleed()};
    result.add(artwork(bleed(), "0.1 0 0.2 0 k"));
    const std::string fault =
        faultOf(bleed(), annotatedInput(bleed(), {"0 0 20 20", "260 380 280 400"}), result.bytes());
    EXPECT_TRUE(fault.starts_with("Page 1 of the result lacks artwork")) << fault;
}

TEST_P(EachNativeResult, IsRefusedWhenItIsBlankUnderAnAnnotationAllOverIt) {
    Result result{bleed()};
    result.add("");
    EXPECT_EQ(faultOf(bleed(), annotatedInput(bleed(), {"-9 -9 999 999"}), result.bytes()),
              "Page 1 of the result is blank. Convert this file in Raster mode.");
}

TEST_P(EachNativeResult, IsFineWithAnAnnotationDrawnIntoThePage) {
    Result result{bleed()};
    result.add(artwork(bleed()) + " 0 0 0 1 k 150 50 80 60 re f");
    EXPECT_EQ(faultOf(bleed(), annotatedInput(bleed(), {"150 50 230 110"}), result.bytes()), "");
}

TEST_P(EachNativeResult, IsRefusedByItsFirstWrongPage) {
    Result result{bleed()};
    std::vector<std::string> pages;
    for (int page = 1; page <= 8; ++page) {
        result.add(page >= 3 ? "" : artwork(bleed()));
        pages.push_back(artwork(bleed()));
    }
    EXPECT_EQ(faultOf(bleed(), inputOf(bleed(), pages), result.bytes()),
              "Page 3 of the result is blank. Convert this file in Raster mode.");
}

TEST_P(EachNativeResult, GetsNoPageBoxesWhenItIsWrong) {
    const TemporaryFolder folder;
    Result result{bleed()};
    result.add("");
    const FakeGhostscript fake("", result.bytes());
    EXPECT_THROW(Ghostscript::convertToCMYKSync(
                     fake.url(), folder.file("in.pdf", inputOf(bleed(), {artwork(bleed())})),
                     folder / "out.pdf", outputProfileURL(), settingsFor(bleed())),
                 PrintPrepError);
    EXPECT_EQ(Testing::contents(folder / "out.pdf"), result.bytes());
}

// Artwork that is hardly to be seen from afar.

/// A page with five lines of small print on colour all over it.
struct SmallPrint {
    const char* name;
    double size;
    /// The operators that set its colour, and that paint the ground.
    const char* ink;
    const char* ground;
};

void PrintTo(const SmallPrint& print, std::ostream* stream) {
    *stream << print.name;
}

const std::string magenta = "0 0.5 0 0 k 0 0 999 999 re f";
const std::string gradient = "/S sh";

const std::vector<SmallPrint> smallPrints = {
    {"WhiteOf6PointOnMagenta", 6, "0 0 0 0 k", magenta.c_str()},
    {"BlackOf6PointOnMagenta", 6, "0 0 0 1 k", magenta.c_str()},
    {"WhiteOf8PointOnMagenta", 8, "0 0 0 0 k", magenta.c_str()},
    {"BlackOf8PointOnMagenta", 8, "0 0 0 1 k", magenta.c_str()},
    {"WhiteOf10PointOnMagenta", 10, "0 0 0 0 k", magenta.c_str()},
    {"BlackOf10PointOnMagenta", 10, "0 0 0 1 k", magenta.c_str()},
    {"WhiteOf6PointOnAGradient", 6, "0 0 0 0 k", gradient.c_str()},
    {"BlackOf6PointOnAGradient", 6, "0 0 0 1 k", gradient.c_str()},
};

const std::string printResources =
    "/Font << /F << /Type /Font /Subtype /Type1 /BaseFont /Helvetica >> >> /Shading << /S << "
    "/ShadingType 2 /ColorSpace /DeviceCMYK /Coords [0 0 300 450] /Extend [true true] /Function << "
    "/FunctionType 2 /Domain [0 1] /N 1 /C0 [0.5 0.3 0 0] /C1 [0.1 0.4 0.8 0] >> >> >>";

std::string contentsOf(const SmallPrint& print) {
    std::string contents = std::string(print.ground) + " BT " + print.ink + " /F " +
                           numbers({print.size}) + "Tf " + numbers({1.2 * print.size}) +
                           "TL 60 250 Td ";
    for (int line = 0; line < 5; ++line)
        contents += "(Printed on paper from well kept woods) Tj T* ";
    return contents + "ET";
}

std::string inputOf(Bleed bleed, const SmallPrint& print) {
    return TestPDF::ofPage(
        {contentsOf(print), printResources, mediaBox(pageWidth(bleed), pageHeight(bleed))});
}

class SmallPrintInANativeResult : public testing::TestWithParam<std::tuple<SmallPrint, Bleed>> {};

TEST_P(SmallPrintInANativeResult, IsMissed) {
    const auto& [print, bleed] = GetParam();
    Result result{bleed};
    result.add(print.ground, "1 0 0 1 0 0", printResources);
    const std::string fault = faultOf(bleed, inputOf(bleed, print), result.bytes());
    EXPECT_TRUE(fault.starts_with("Page 1 of the result lacks artwork of the original, ")) << fault;
}

TEST_P(SmallPrintInANativeResult, IsFineWhereItBelongs) {
    const auto& [print, bleed] = GetParam();
    Result result{bleed};
    result.add(contentsOf(print), "1 0 0 1 0 0", printResources);
    EXPECT_EQ(faultOf(bleed, inputOf(bleed, print), result.bytes()), "");
}

INSTANTIATE_TEST_SUITE_P(, SmallPrintInANativeResult,
                         testing::Combine(testing::ValuesIn(smallPrints),
                                          testing::Values(Bleed::included, Bleed::trimOnly)),
                         [](const auto& tested) {
                             return std::get<SmallPrint>(tested.param).name +
                                    nameOf(std::get<Bleed>(tested.param));
                         });

/// The drawing on a flat tint over 70 per cent of the page.
std::string tinted(Bleed bleed, const std::string& tint) {
    return tint + " k " + numbers({0, 0, pageWidth(bleed), 0.7 * pageHeight(bleed)}) + "re f " +
           drawing();
}

/// Each of them shows in another channel.
constexpr std::array faintTints = {"0.04 0 0 0", "0 0.04 0 0", "0 0 0.04 0", "0 0 0 0.04"};

TEST_P(EachNativeResult, IsRefusedWhenAFaintTintIsMissing) {
    for (const std::string tint : faintTints) {
        Result result{bleed()};
        result.add(drawing());
        const std::string fault =
            faultOf(bleed(), inputOf(bleed(), {tinted(bleed(), tint)}), result.bytes());
        EXPECT_TRUE(fault.starts_with("Page 1 of the result lacks artwork of the original, "))
            << tint << ": " << fault;
    }
}

TEST_P(EachNativeResult, IsFineWithAFaintTintThatIsALittleDifferent) {
    Result result{bleed()};
    result.add(tinted(bleed(), "0.03 0 0.01 0"));
    EXPECT_EQ(faultOf(bleed(), inputOf(bleed(), {tinted(bleed(), "0.04 0 0 0")}), result.bytes()),
              "");
}

// Inputs that are not for Ghostscript.

TEST_P(EachNativeResult, IsNotMadeOfAFileWithoutAPDFHeader) {
    const TemporaryFolder folder;
    const FakeGhostscript fake;
    for (const std::string& bytes :
         {std::string("%!PS\nshowpage\n"), std::string(), std::string(1024, ' ') + "%PDF-1.4\n"}) {
        EXPECT_THROW(Ghostscript::convertToCMYKSync(fake.url(), folder.file("in.pdf", bytes),
                                                    folder / "out.pdf", outputProfileURL(),
                                                    settingsFor(bleed())),
                     PrintPrepError);
    }
    EXPECT_FALSE(fake.wasStarted());
}

TEST_P(EachNativeResult, IsNotMadeOfAProgramThatNamesAPDFsHeader) {
    for (const std::string beginning :
         {"%!PS\n% %PDF-1.4\n", "\r\n %!\n%PDF-1.4\n", "\xef\xbb\xbf%!PS\n%PDF-1.4\n",
          "%%Page: 1 1\n%%PDF-1.4\n", "\x1b%-12345X@PJL\n%!PS-Adobe-3.0\n(%PDF-) pop\n"}) {
        const TemporaryFolder folder;
        const FakeGhostscript fake;
        EXPECT_THROW(Ghostscript::convertToCMYKSync(
                         fake.url(), folder.file("in.pdf", beginning + "showpage\n"),
                         folder / "out.pdf", outputProfileURL(), settingsFor(bleed())),
                     PrintPrepError)
            << beginning;
        EXPECT_FALSE(fake.wasStarted()) << beginning;
    }
}

TEST_P(EachNativeResult, IsMadeOfAPDFThatBeginsAsAProgramDoes) {
    Result result{bleed()};
    result.addRight();
    EXPECT_EQ(
        faultOf(bleed(), "%!PS-Adobe-3.0\n" + inputOf(bleed(), {artwork(bleed())}), result.bytes()),
        "");
}

TEST_P(EachNativeResult, IsMadeOfAPDFWhoseHeaderComesLater) {
    Result result{bleed()};
    result.addRight();
    EXPECT_EQ(faultOf(bleed(), std::string(1000, ' ') + inputOf(bleed(), {artwork(bleed())}),
                      result.bytes()),
              "");
}

TEST_P(EachNativeResult, IsNotMadeOfAFileThatNeedsAPassword) {
    const TemporaryFolder folder;
    const path locked = folder / "locked.pdf";
    Testing::outputOf({"qpdf", "--encrypt", "user", "owner", "256", "--",
                       folder.file("plain.pdf", Testing::smallPDF()), locked});
    const FakeGhostscript fake;
    try {
        Ghostscript::convertToCMYKSync(fake.url(), locked, folder / "out.pdf", outputProfileURL(),
                                       settingsFor(bleed()));
        FAIL() << "the run did not fail";
    } catch (const PrintPrepError& error) {
        EXPECT_EQ(error.errorDescription(), PrintPrepError::couldNotOpenPDF().errorDescription());
    }
    EXPECT_FALSE(fake.wasStarted());
}

TEST_P(EachNativeResult, IsMadeOfAFileThatOpensWithoutItsPassword) {
    const TemporaryFolder folder;
    const path encrypted = folder / "encrypted.pdf";
    Testing::outputOf({"qpdf", "--encrypt", "", "owner", "256", "--",
                       folder.file("plain.pdf", Testing::smallPDF()), encrypted});
    const FakeGhostscript fake;
    EXPECT_NO_THROW(Ghostscript::convertToCMYKSync(fake.url(), encrypted, folder / "out.pdf",
                                                   outputProfileURL(), settingsFor(bleed())));
}

// What is within a hair's breadth on a usual sheet is many millimetres off on this one.
TEST_P(EachNativeResult, IsFineWithSmallInaccuraciesOnAVeryLargeSheet) {
    PrintSettings settings = settingsFor(bleed());
    settings.trimWidthMM = 5000;
    settings.trimHeightMM = 7000;
    settings.bleedMM = 0;
    const TemporaryFolder folder;
    const auto sheet = [&](const std::string& moved) {
        TestPDF pdf;
        pdf.page({"1 0 0 1 " + moved + " cm 5 0 0 5 0 0 cm 0 0 0 1 k 300 400 2000 3000 re f", "",
                  mediaBox(5000 * millimetre, 7000 * millimetre)});
        return pdf.bytes();
    };
    EXPECT_EQ(NativeResultCheck(folder.file("in.pdf", sheet("0 0")), outputProfileURL(), settings)
                  .fault(folder.file("out.pdf", sheet("14 14"))),
              std::nullopt);
}

// Files that the renderer cannot judge.

TEST_P(EachNativeResult, IsFineWhereTheInputCannotBeRead) {
    Result result{bleed()};
    result.addRight();
    EXPECT_EQ(faultOf(bleed(), "%PDF-1.4\nnonsense", result.bytes()), "");
}

TEST_P(EachNativeResult, IsRefusedWhenItIsBlankForAnInputThatCannotBeRead) {
    Result result{bleed()};
    result.add("");
    EXPECT_EQ(faultOf(bleed(), "%PDF-1.4\nnonsense", result.bytes()),
              "Page 1 of the result is blank. Convert this file in Raster mode.");
}

TEST_P(EachNativeResult, IsFineWhereThePageIsTooLargeToCount) {
    const TemporaryFolder folder;
    const FakeGhostscript fake;
    PrintSettings settings = settingsFor(bleed());
    settings.trimWidthMM = 1e19;
    EXPECT_EQ(
        NativeResultCheck(folder.file("in.pdf", Testing::smallPDF()), outputProfileURL(), settings)
            .fault(folder.file("out.pdf", Testing::smallPDF())),
        std::nullopt);
}

TEST_P(EachNativeResult, IsNotWaitedForAfterAStopRequest) {
    const TemporaryFolder folder;
    std::stop_source stop;
    NativeResultCheck check(folder.file("in.pdf", inputOf(bleed(), {artwork(bleed())})),
                            outputProfileURL(), settingsFor(bleed()), stop.get_token());
    check.start();
    stop.request_stop();
    EXPECT_THROW(check.fault(folder.file("out.pdf", Testing::smallPDF())), OperationStopped);
}

/// A PDF that takes very long to open: to find its pages, a stream has to be unpacked that consists
/// of a comment of 2 GB. Each filter makes 64 bytes of one (ISO 32000-1, 7.4.5).
std::string endlessPDF() {
    constexpr int filters = 8;
    constexpr char run = '\x81'; // and the next byte 128 times
    std::string packed = "%";
    std::string names;
    for (int filter = 0; filter < filters; ++filter) {
        packed.insert(packed.begin(), static_cast<char>(packed.size() - 1));
        names += "/RunLengthDecode ";
    }
    packed += std::string(128, run);
    std::string bytes = "%PDF-1.5\n";
    const std::size_t catalog = bytes.size();
    bytes += "1 0 obj\n<< /Type /Catalog /Pages 2 0 R >>\nendobj\n";
    const std::size_t objects = bytes.size();
    bytes += "3 0 obj\n<< /Type /ObjStm /N 1 /First 2000000000 /Filter [" + names + "] /Length " +
             std::to_string(packed.size()) + " >>\nstream\n" + packed + "\nendstream\nendobj\n";
    const std::size_t table = bytes.size();
    const auto entry = [](char type, std::size_t place) {
        return std::string{type, static_cast<char>(place >> 8U), static_cast<char>(place), 0};
    };
    const std::string entries = entry(0, 0) + entry(1, catalog) + entry(2, 3) + entry(1, objects);
    bytes += "4 0 obj\n<< /Type /XRef /Size 4 /W [1 2 1] /Root 1 0 R /Length " +
             std::to_string(entries.size()) + " >>\nstream\n" + entries +
             "\nendstream\nendobj\nstartxref\n" + std::to_string(table) + "\n%%EOF\n";
    return bytes;
}

TEST_P(EachNativeResult, OfAnInputThatTakesLongToOpenIsNotWaitedForAfterAStopRequest) {
    const TemporaryFolder folder;
    const path input = folder.file("in.pdf", endlessPDF());
    std::stop_source stop;
    std::jthread stopper([&] { stop.request_stop(); });
    EXPECT_THROW(
        NativeResultCheck(input, outputProfileURL(), settingsFor(bleed()), stop.get_token()),
        OperationStopped);
}

/// The lines of a successful run, or its error, as one text.
std::string outcomeOf(const path& ghostscriptURL, const path& inputURL,
                      const PrintSettings& settings) {
    const TemporaryFolder folder;
    try {
        std::string text;
        for (const std::string& line :
             Ghostscript::convertToCMYKSync(ghostscriptURL, inputURL, folder / "out.pdf",
                                            outputProfileURL(), settings)
                 .log)
            text += line + '\n';
        return text;
    } catch (const PrintPrepError& error) {
        return error.errorDescription();
    }
}

TEST_P(EachNativeResult, SaysNothingMoreOfAnInputThatCannotBeRead) {
    const TemporaryFolder folder;
    Result result{bleed()};
    result.addRight();
    const FakeGhostscript fake("echo said", result.bytes());
    EXPECT_EQ(
        outcomeOf(fake.url(), folder.file("in.pdf", "%PDF-1.4\nnonsense"), settingsFor(bleed())),
        "said\n");
}

TEST_P(EachNativeResult, SaysNothingOfAPageThatCannotBe) {
    const TemporaryFolder folder;
    PrintSettings settings = settingsFor(bleed());
    settings.trimWidthMM = 1e19;
    NativeResultCheck check(folder.file("in.pdf", Testing::smallPDF()), outputProfileURL(),
                            settings);
    EXPECT_EQ(check.fault(folder.file("out.pdf", Testing::smallPDF())), std::nullopt);
    EXPECT_EQ(check.gaps(), std::vector<std::string>());
}

TEST_P(EachNativeResult, SaysWhichPageCouldNotBeChecked) {
    const TemporaryFolder folder;
    TestPDF input;
    input.page({artwork(bleed()), "", mediaBox(pageWidth(bleed()), pageHeight(bleed()))});
    input.page({"", "", "-" + std::string(308, '9') + " 0 " + std::string(308, '9') + " 9"});
    Result result{bleed()};
    result.addRight();
    result.addRight();
    const FakeGhostscript fake("echo said", result.bytes());
    EXPECT_EQ(outcomeOf(fake.url(), folder.file("in.pdf", input.bytes()), settingsFor(bleed())),
              "said\nPage 2 could not be checked.\n");
}

// Pages that lie elsewhere than at 0 0.

std::string movedPage(Bleed bleed) {
    constexpr double left = -30;
    constexpr double bottom = 50;
    return TestPDF::ofPage(
        {"1 0 0 1 -30 50 cm " + drawing(), "",
         numbers({left, bottom, left + pageWidth(bleed), bottom + pageHeight(bleed)})});
}

TEST_P(EachNativeResult, IsMadeByThePreviousInterpreterOfAPageThatIsNotAtTheOrigin) {
    const ScopedVariable inherited("GS_OPTIONS", std::nullopt);
    const TemporaryFolder folder;
    Result result{bleed()};
    result.add(drawing());
    const FakeGhostscript fake("", result.bytes());
    Ghostscript::convertToCMYKSync(fake.url(), folder.file("in.pdf", movedPage(bleed())),
                                   folder / "out.pdf", outputProfileURL(), settingsFor(bleed()));
    EXPECT_TRUE(fake.options().ends_with(" -dNEWPDF=false ")) << fake.options();
}

TEST_P(EachNativeResult, SaysNothingOfThePreviousInterpreter) {
    const TemporaryFolder folder;
    Result result{bleed()};
    result.add(drawing());
    const FakeGhostscript fake("echo one\necho '   **** Warning: You are using the legacy PDF "
                               "interpreter (-dNEWPDF=false) which is now deprecated and "
                               "unsupported.'\necho two",
                               result.bytes());
    EXPECT_EQ(
        outcomeOf(fake.url(), folder.file("in.pdf", movedPage(bleed())), settingsFor(bleed())),
        "one\ntwo\n");
}

TEST_P(EachNativeResult, IsMadeByTheUsualInterpreterOfAPageAtTheOrigin) {
    const ScopedVariable inherited("GS_OPTIONS", std::nullopt);
    const TemporaryFolder folder;
    const FakeGhostscript fake;
    Ghostscript::convertToCMYKSync(fake.url(), folder.file("in.pdf", Testing::smallPDF()),
                                   folder / "out.pdf", outputProfileURL(), settingsFor(bleed()));
    EXPECT_EQ(fake.options().find("NEWPDF"), std::string::npos) << fake.options();
}

// This machine's Ghostscript.

path ghostscriptURL() {
    return Ghostscript::find().value().url;
}

TEST_P(EachNativeResult, OfThisMachinesGhostscriptIsRightForAPageThatIsNotAtTheOrigin) {
    const TemporaryFolder folder;
    const std::string outcome = outcomeOf(
        ghostscriptURL(), folder.file("in.pdf", movedPage(bleed())), settingsFor(bleed()));
    EXPECT_TRUE(outcome.ends_with("Page 1\n")) << outcome;
    EXPECT_EQ(outcome.find("deprecated"), std::string::npos) << outcome;
}

TEST_P(EachNativeResult, OfGhostscript10IsRefusedWhereAPageThatIsNotAtTheOriginIsMisplaced) {
    if (!Testing::outputOf({ghostscriptURL(), "--version"}).starts_with("10.00"))
        GTEST_SKIP() << "this Ghostscript places it rightly";
    const TemporaryFolder folder;
    const path forgetful =
        folder.program("gs", "#!/bin/sh\nGS_OPTIONS=\"${GS_OPTIONS% -dNEWPDF=false } \" exec '" +
                                 ghostscriptURL().native() + "' \"$@\"\n");
    const std::string outcome =
        outcomeOf(forgetful, folder.file("in.pdf", movedPage(bleed())), settingsFor(bleed()));
    EXPECT_TRUE(outcome.starts_with("Ghostscript failed.\n")) << outcome;
    EXPECT_TRUE(outcome.ends_with(". Convert this file in Raster mode.")) << outcome;
}

TEST_P(EachNativeResult, OfThisMachinesGhostscriptIsFineInRGBAndTransparent) {
    const TemporaryFolder folder;
    TestPDF pdf;
    const std::string group = pdf.stream("/Type /XObject /Subtype /Form /BBox [0 0 200 200] "
                                         "/Group << /S /Transparency /CS /DeviceRGB >>",
                                         "0 0 1 rg 60 60 80 80 re f");
    pdf.page({"1 0 0 rg 30 30 60 90 re f /H gs /G Do",
              "/ExtGState << /H << /ca 0.5 /BM /Multiply >> >> /XObject << /G " + group + " >>",
              mediaBox(pageWidth(bleed()), pageHeight(bleed()))});
    const std::string outcome =
        outcomeOf(ghostscriptURL(), folder.file("in.pdf", pdf.bytes()), settingsFor(bleed()));
    EXPECT_TRUE(outcome.ends_with("Page 1\n")) << outcome;
}

TEST_P(EachNativeResult, OfThisMachinesGhostscriptIsFineForTurnedPages) {
    for (const int rotation : {90, 180, 270}) {
        const TemporaryFolder folder;
        const std::string input =
            TestPDF::ofPage({drawing(), "", mediaBox(pageWidth(bleed()), pageHeight(bleed())),
                             "/Rotate " + std::to_string(rotation)});
        const std::string outcome =
            outcomeOf(ghostscriptURL(), folder.file("in.pdf", input), settingsFor(bleed()));
        EXPECT_TRUE(outcome.ends_with("Page 1\n")) << rotation << ": " << outcome;
    }
}

TEST_P(EachNativeResult, OfThisMachinesGhostscriptIsFineWithTypeAsOutlines) {
    const TemporaryFolder folder;
    const path outlining = folder.program("gs", "#!/bin/sh\nexec '" + ghostscriptURL().native() +
                                                    "' -dNoOutputFonts \"$@\"\n");
    const std::string input = TestPDF::ofPage({contentsOf(smallPrints.front()), printResources,
                                               mediaBox(pageWidth(bleed()), pageHeight(bleed()))});
    const std::string outcome =
        outcomeOf(outlining, folder.file("in.pdf", input), settingsFor(bleed()));
    EXPECT_NE(outcome.find("\nPage 1\n"), std::string::npos) << outcome;
    EXPECT_FALSE(outcome.starts_with("Ghostscript failed.")) << outcome;
}

// In this mode Ghostscript's page is as large as the trim, and the artwork is moved on it.
TEST(NativeResult, OfThisMachinesGhostscriptIsRefusedWhereATrimmedPageIsCutOffAtItsEdges) {
    const TemporaryFolder folder;
    TestPDF pdf;
    const double width = pageWidth(Bleed::trimOnly);
    const double height = pageHeight(Bleed::trimOnly);
    pdf.page({numbers({0, 0, width, height}) + "re W n " + artwork(Bleed::trimOnly, "0 0 0 1 k") +
                  " " + numbers({width - 9, 20, 9, 200}) + "re f",
              "", mediaBox(width, height)});
    const std::string outcome = outcomeOf(ghostscriptURL(), folder.file("in.pdf", pdf.bytes()),
                                          settingsFor(Bleed::trimOnly));
    EXPECT_NE(outcome.find("\nPage 1 of the result lacks artwork of the original, "),
              std::string::npos)
        << outcome;
}

TEST_P(EachNativeResult, OfGhostscript10IsRefusedForAPosterThatLosesItsRaysAndItsPhoto) {
    if (!Testing::outputOf({ghostscriptURL(), "--version"}).starts_with("10.00"))
        GTEST_SKIP() << "what this Ghostscript makes of it has not been looked at";
    const std::string outcome =
        outcomeOf(ghostscriptURL(), path(BLEEDWISE_SOURCE_FOLDER) / "tests/data/rays.pdf",
                  settingsFor(bleed()));
    EXPECT_TRUE(outcome.starts_with("Ghostscript failed.\n")) << outcome;
    EXPECT_NE(outcome.find("\nPage 1 of the result "), std::string::npos) << outcome;
    EXPECT_TRUE(outcome.ends_with(". Convert this file in Raster mode.")) << outcome;
}

INSTANTIATE_TEST_SUITE_P(, EachNativeResult, testing::Values(Bleed::included, Bleed::trimOnly),
                         [](const auto& tested) { return nameOf(tested.param); });

} // namespace
} // namespace Bleedwise
