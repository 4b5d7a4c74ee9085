#include "PrintPrep/raster/PopplerRenderer.h"

#include "support/Command.h"
#include "support/Rendering.h"
#include "support/TemporaryFolder.h"
#include "support/TestPDF.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

/// Documents that are unusual, damaged or made to do harm, through the whole program: it either
/// converts them or says why not, in the one line that it has for it, and prints nothing else.
namespace Bleedwise {
namespace {

using Testing::CommandResult;
using Testing::contents;
using Testing::hexadecimal;
using Testing::Inks;
using Testing::outputOf;
using Testing::runBleedwise;
using Testing::TemporaryFolder;
using Testing::TestPDF;

const std::string cannotOpen = "ERROR: Could not open the input PDF.\n";
const std::string cannotPatch = "ERROR: Could not patch the final PDF page boxes.\n";

class Damage : public testing::Test {
protected:
    CommandResult convert(const std::string& pdf) {
        folder.file("in.pdf", pdf);
        return runBleedwise({"--convert", (folder / "in.pdf").native(), "--output",
                             (folder / "out.pdf").native(), "--width", "5", "--height", "5",
                             "--bleed", "0", "--no-ghostscript"},
                            {{{"TMPDIR", folder.path().native()}}, {}});
    }

    void expectConverted(const std::string& pdf) {
        const CommandResult result = convert(pdf);
        EXPECT_EQ(result.status, 0) << result.error;
        EXPECT_EQ(result.output, "Skipping Ghostscript; writing raster CMYK PDF\n"
                                 "Skipped Ghostscript. Flattened to FOGRA39 CMYK bitmap.\n"
                                 "Output: " +
                                     (folder / "out.pdf").native() + "\n");
        EXPECT_EQ(result.error, "");
    }

    void expectRefused(const std::string& pdf, const std::string& message) {
        const CommandResult result = convert(pdf);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.output, "Skipping Ghostscript; writing raster CMYK PDF\n");
        EXPECT_EQ(result.error, message);
        EXPECT_FALSE(std::filesystem::exists(folder / "out.pdf"));
    }

    /// Either of the two.
    void expectCalm(const std::string& pdf, const std::string& what) {
        const CommandResult result = convert(pdf);
        const bool converted = result.status == 0 && result.error.empty();
        const bool refused =
            result.status == 1 && (result.error == cannotOpen || result.error == cannotPatch);
        EXPECT_TRUE(converted || refused) << what << ": " << result.status << " " << result.error;
    }

    /// The same document after another program has rewritten it.
    std::string rewritten(const std::string& pdf, std::vector<std::string> options) {
        folder.file("plain.pdf", pdf);
        std::vector<std::string> command = {"qpdf", (folder / "plain.pdf").native(),
                                            (folder / "rewritten.pdf").native()};
        command.insert(command.begin() + 1, options.begin(), options.end());
        outputOf(command);
        return contents(folder / "rewritten.pdf");
    }

    TemporaryFolder folder;
};

/// Something of everything: text, an image, a form, a shading, a soft mask, a profile.
std::string variedPDF() {
    TestPDF pdf;
    const std::string profile = pdf.stream("/N 3", Testing::adobeRGBProfile());
    const std::string image =
        pdf.stream("/Type /XObject /Subtype /Image /Width 2 /Height 2 /BitsPerComponent 8 "
                   "/ColorSpace [/ICCBased " +
                       profile + "] /Filter /ASCIIHexDecode",
                   hexadecimal("abcdefghijkl"));
    const std::string form =
        pdf.stream("/Type /XObject /Subtype /Form /BBox [0 0 9 9] /Group << /S /Transparency >>",
                   "0.5 g 1 1 5 5 re f");
    pdf.page({"0.2 0.4 0.6 rg 1 1 5 5 re f q 9 0 0 9 9 9 cm /Image Do Q /State gs /Form Do "
              "BT /Sans 9 Tf 1 12 Td (Text) Tj ET /Shade sh",
              "/XObject << /Image " + image + " /Form " + form +
                  " >> /Font << /Sans << /Type /Font /Subtype /Type1 /BaseFont /Helvetica >> >> "
                  "/ExtGState << /State << /ca 0.5 /BM /Multiply /SMask << /S /Alpha /G " +
                  form +
                  " >> >> >> /Shading << /Shade << /ShadingType 2 /ColorSpace /DeviceRGB /Coords "
                  "[0 0 9 9] /Function << /FunctionType 2 /Domain [0 1] /N 1 /C0 [1 0 0] /C1 "
                  "[0 0 1] >> >> >>"});
    return pdf.bytes();
}

TEST_F(Damage, OfTruncationIsBorne) {
    const std::string pdf = variedPDF();
    for (std::size_t parts = 1; parts < 16; ++parts)
        expectCalm(pdf.substr(0, pdf.size() * parts / 16), std::to_string(parts) + " of 16 parts");
}

TEST_F(Damage, OfSingleBitsIsBorne) {
    const std::string pdf = variedPDF();
    std::uint32_t random = 1;
    for (int variant = 0; variant < 40; ++variant) {
        std::string damaged = pdf;
        for (int flip = 0; flip < 8; ++flip) {
            random = random * 1664525 + 1013904223; // Numerical Recipes' generator
            const std::size_t place = (random >> 4U) % damaged.size();
            damaged[place] = static_cast<char>(damaged[place] ^ (1 << (random >> 29U)));
        }
        expectCalm(damaged, "variant " + std::to_string(variant));
    }
}

TEST_F(Damage, OfTheContentsDrawsWhatComesBefore) {
    EXPECT_EQ(Testing::middle(TestPDF::ofPage({"1 0 0 0 k 0 0 24 24 re f >> ] ) BI ID foo (((("})),
              (Inks{{255, 0, 0, 0}}));
}

TEST_F(Damage, OfAReferenceTableIsRepaired) {
    std::string pdf = TestPDF::ofPage({"1 0 0 0 k 0 0 24 24 re f"});
    pdf.erase(pdf.find("xref"), pdf.find("trailer") - pdf.find("xref"));
    EXPECT_EQ(Testing::middle(pdf), (Inks{{255, 0, 0, 0}}));
}

TEST_F(Damage, OfAJPEGImageIsNotTalkedAbout) {
    TestPDF pdf;
    const std::string image = pdf.stream("/Type /XObject /Subtype /Image /Width 8 /Height 8 "
                                         "/BitsPerComponent 8 /ColorSpace /DeviceRGB "
                                         "/Filter /DCTDecode",
                                         "\xff\xd8\xff\xe0 no JPEG \xff\xd9");
    pdf.page({"24 0 0 24 0 0 cm /Picture Do", "/XObject << /Picture " + image + " >>"});
    expectConverted(pdf.bytes());
}

TEST_F(Damage, OfAJPEG2000ImageIsNotTalkedAbout) {
    TestPDF pdf;
    const std::string image = pdf.stream("/Type /XObject /Subtype /Image /Width 8 /Height 8 "
                                         "/Filter /JPXDecode",
                                         "no JPEG 2000");
    pdf.page({"24 0 0 24 0 0 cm /Picture Do", "/XObject << /Picture " + image + " >>"});
    expectConverted(pdf.bytes());
}

TEST_F(Damage, OfAFontIsNotTalkedAbout) {
    TestPDF pdf;
    const std::string file = pdf.stream("", "no font");
    const std::string font = pdf.object(
        "<< /Type /Font /Subtype /TrueType /BaseFont /Nonsense /FirstChar 65 /LastChar 65 /Widths "
        "[600] /FontDescriptor << /Type /FontDescriptor /FontName /Nonsense /Flags 4 /FontFile2 " +
        file + " >> >>");
    pdf.page({"BT /Odd 20 Tf (AAA) Tj ET", "/Font << /Odd " + font + " >>"});
    expectConverted(pdf.bytes());
}

TEST_F(Damage, WithoutAFontConfigurationIsNotTalkedAbout) {
    folder.file("in.pdf", variedPDF());
    const CommandResult result = runBleedwise(
        {"--convert", (folder / "in.pdf").native(), "--output", (folder / "out.pdf").native(),
         "--width", "5", "--height", "5", "--no-ghostscript"},
        {{{"FONTCONFIG_FILE", "/nowhere"}, {"FONTCONFIG_PATH", "/nowhere"}}, {}});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.error, "");
}

struct Box {
    const char* name;
    const char* box;
};

class MediaBox : public Damage, public testing::WithParamInterface<Box> {};

INSTANTIATE_TEST_SUITE_P(Boxes, MediaBox,
                         testing::Values(Box{"Huge", "0 0 1e30 1e30"},
                                         Box{"HugeNumbers", "0 0 99999999999 99999999999"},
                                         Box{"Tiny", "0 0 0.00001 0.00001"},
                                         Box{"FarAway", "1e15 1e15 1000000000000010 1e16"},
                                         Box{"Empty", "0 0 0 0"}, Box{"Reversed", "24 24 0 0"},
                                         Box{"Narrow", "0 0 1e-9 1e9"},
                                         Box{"NoNumbers", "/a /b /c /d"}, Box{"Short", "0 0"}),
                         [](const auto& box) { return box.param.name; });

TEST_P(MediaBox, IsBorne) {
    expectCalm(TestPDF::ofPage({"1 0 0 0 k 0 0 24 24 re f", "", GetParam().box}), GetParam().box);
}

std::string repeated(const std::string& text, int count) {
    std::string result;
    for (int i = 0; i < count; ++i)
        result += text;
    return result;
}

TEST_F(Damage, OfDeepNestingInContentsIsBorne) {
    expectCalm(TestPDF::ofPage({repeated("[", 100'000) + " 1 0 0 0 k 0 0 24 24 re f"}), "arrays");
    expectCalm(TestPDF::ofPage({repeated("<< /a ", 100'000)}), "dictionaries");
    expectCalm(TestPDF::ofPage({repeated("q ", 100'000) + "1 0 0 0 k 0 0 24 24 re f"}), "states");
    expectCalm(TestPDF::ofPage({repeated("/Span BDC ", 100'000)}), "marked contents");
}

TEST_F(Damage, OfDeepNestingInObjectsIsBorne) {
    TestPDF pdf;
    pdf.object(repeated("[", 100'000));
    pdf.page({"1 0 0 0 k 0 0 24 24 re f", "", "0 0 24 24", "/Deep " + repeated("<< /a [", 10'000)});
    expectCalm(pdf.bytes(), "objects");
}

TEST_F(Damage, OfAFormThatDrawsItselfIsBorne) {
    TestPDF pdf; // the form is object 3
    pdf.stream("/Type /XObject /Subtype /Form /BBox [0 0 24 24] /Resources << /XObject << /Self "
               "3 0 R >> >> /Group << /S /Transparency >>",
               "/Self Do");
    pdf.page({"/Self Do", "/XObject << /Self 3 0 R >>"});
    expectConverted(pdf.bytes());
}

TEST_F(Damage, OfAPatternThatPaintsWithItselfIsBorne) {
    TestPDF pdf; // the pattern is object 3
    pdf.stream("/PatternType 1 /PaintType 1 /TilingType 1 /BBox [0 0 9 9] /XStep 9 /YStep 9 "
               "/Resources << /Pattern << /Self 3 0 R >> >>",
               "/Pattern cs /Self scn 0 0 9 9 re f");
    pdf.page({"/Pattern cs /Self scn 0 0 24 24 re f", "/Pattern << /Self 3 0 R >>"});
    expectConverted(pdf.bytes());
}

TEST_F(Damage, OfASoftMaskThatMasksItselfIsBorne) {
    TestPDF pdf; // the mask's group is object 3
    pdf.stream("/Type /XObject /Subtype /Form /BBox [0 0 24 24] /Group << /S /Transparency >> "
               "/Resources << /ExtGState << /Self << /SMask << /S /Luminosity /G 3 0 R >> >> >> >>",
               "/Self gs 0 0 24 24 re f");
    pdf.page({"/Self gs 0 0 24 24 re f",
              "/ExtGState << /Self << /SMask << /S /Luminosity /G 3 0 R >> >> >>"});
    expectConverted(pdf.bytes());
}

TEST_F(Damage, OfAType3FontThatWritesWithItselfIsBorne) {
    TestPDF pdf; // the font is object 4
    const std::string glyph = pdf.stream("", "1000 0 d0 BT /Self 1000 Tf (a) Tj ET");
    pdf.object("<< /Type /Font /Subtype /Type3 /FontBBox [0 0 1000 1000] /FontMatrix "
               "[0.001 0 0 0.001 0 0] /FirstChar 97 /LastChar 97 /Widths [1000] /Encoding "
               "<< /Differences [97 /a] >> /Resources << /Font << /Self 4 0 R >> >> /CharProcs "
               "<< /a " +
               glyph + " >> >>");
    pdf.page({"BT /Self 20 Tf (a) Tj ET", "/Font << /Self 4 0 R >>"});
    expectConverted(pdf.bytes());
}

TEST_F(Damage, OfAColorSpaceThatIsItsOwnBaseIsBorne) {
    TestPDF pdf; // the space is object 3
    pdf.object("[/Indexed 3 0 R 1 <000000ffffff>]");
    pdf.page({"/Self cs 1 sc 0 0 24 24 re f", "/ColorSpace << /Self 3 0 R >>"});
    expectConverted(pdf.bytes());
}

TEST_F(Damage, OfAFunctionThatStitchesItselfIsBorne) {
    TestPDF pdf; // the function is object 3
    pdf.object("<< /FunctionType 3 /Domain [0 1] /Functions [3 0 R 3 0 R] /Bounds [0.5] /Encode "
               "[0 1 0 1] >>");
    pdf.page({"/Shade sh", "/Shading << /Shade << /ShadingType 2 /ColorSpace /DeviceGray /Coords "
                           "[0 0 24 0] /Function 3 0 R >> >>"});
    expectConverted(pdf.bytes());
}

TEST_F(Damage, OfAFunctionsBoundsIsBorne) {
    for (const char* bounds :
         {"/Domain [1 0 0 1] /Range [0 1]", "/Domain [0 1 0 1] /Range [1 0]"}) {
        TestPDF pdf;
        const std::string function =
            pdf.stream("/FunctionType 4 " + std::string(bounds), "{ add 2 div }");
        pdf.page({"24 0 0 24 0 0 cm /Shade sh", "/Shading << /Shade << /ShadingType 1 /ColorSpace "
                                                "/DeviceGray /Function " +
                                                    function + " >> >>"});
        expectConverted(pdf.bytes());
    }
}

TEST_F(Damage, OfAPageTreeThatContainsItselfIsBorne) {
    std::string pdf = TestPDF::ofPage({"1 0 0 0 k 0 0 24 24 re f"});
    pdf.replace(pdf.find("/Kids [4"), 8, "/Kids [2");
    expectCalm(pdf, "page tree");
}

TEST_F(Damage, OfAPageCountBeyondMeasureIsBorne) {
    std::string pdf = TestPDF::ofPage({"1 0 0 0 k 0 0 24 24 re f"});
    pdf.replace(pdf.find("/Count 1"), 8, "/Count 2000000000");
    expectCalm(pdf, "page count");
}

TEST_F(Damage, OfImageSizesBeyondMeasureIsBorne) {
    TestPDF pdf;
    const std::string image =
        pdf.stream("/Type /XObject /Subtype /Image /Width 2000000000 /Height 2000000000 "
                   "/BitsPerComponent 8 /ColorSpace /DeviceRGB",
                   "abc");
    pdf.page({"24 0 0 24 0 0 cm /Picture Do", "/XObject << /Picture " + image + " >>"});
    expectConverted(pdf.bytes());
}

TEST_F(Damage, OfPatternStepsBelowMeasureIsBorne) {
    TestPDF pdf;
    const std::string pattern =
        pdf.stream("/PatternType 1 /PaintType 1 /TilingType 1 /BBox [0 0 1e-9 1e-9] /XStep 1e-9 "
                   "/YStep 1e-9 /Resources << >>",
                   "1 0 0 0 k 0 0 1 1 re f");
    pdf.page({"/Pattern cs /Tile scn 0 0 24 24 re f", "/Pattern << /Tile " + pattern + " >>"});
    expectCalm(pdf.bytes(), "pattern");
}

TEST_F(Damage, OfProfilesThatAreTakenForOthersIsBorne) {
    TestPDF pdf;
    const std::string three = pdf.stream("/N 3", contents(Testing::outputProfileURL()));
    const std::string four = pdf.stream("/N 4", Testing::adobeRGBProfile());
    pdf.page({"/Three cs 1 0 0 sc 0 0 24 24 re f /Four cs 0 0 0 1 sc 0 0 24 24 re f",
              "/ColorSpace << /Three [/ICCBased " + three + "] /Four [/ICCBased " + four + "] >>"});
    expectConverted(pdf.bytes());
}

TEST_F(Damage, WithoutPagesIsRefused) {
    expectRefused(TestPDF().bytes(), cannotOpen);
}

TEST_F(Damage, WithoutAnyPDFIsRefused) {
    expectRefused("", cannotOpen);
    expectRefused("%PDF-1.7\n", cannotOpen);
    expectRefused(std::string(100'000, '\0'), cannotOpen);
}

TEST_F(Damage, ByAnEmptyPasswordIsNone) {
    expectConverted(rewritten(variedPDF(), {"--encrypt", "", "owner", "256", "--"}));
}

TEST_F(Damage, ByAPasswordIsRefused) {
    expectRefused(rewritten(variedPDF(), {"--encrypt", "secret", "owner", "256", "--"}),
                  cannotOpen);
}

TEST_F(Damage, ByObjectStreamsIsNone) {
    const std::string pdf = rewritten(variedPDF(), {"--object-streams=generate"});
    ASSERT_NE(pdf.find("/ObjStm"), std::string::npos);
    expectConverted(pdf);
}

/// A page with one image of these entries and bytes.
std::string imagePage(const std::string& entries, const std::string& bytes) {
    TestPDF pdf;
    const std::string image = pdf.stream("/Type /XObject /Subtype /Image " + entries, bytes);
    pdf.page({"24 0 0 24 0 0 cm /Picture Do", "/XObject << /Picture " + image + " >>"});
    return pdf.bytes();
}

std::string fromHexadecimal(const std::string& text) {
    std::string bytes;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2)
        bytes += static_cast<char>(std::stoi(text.substr(i, 2), nullptr, 16));
    return bytes;
}

TEST(ImageFormat, OfCCITTFaxIsDrawn) {
    // Group 4, 8 × 2, black: horizontal mode with runs of no white and 8 black, then "as above".
    EXPECT_EQ(Testing::middle(imagePage("/Width 8 /Height 2 /BitsPerComponent 1 /ColorSpace "
                                        "/DeviceGray /Filter /CCITTFaxDecode /DecodeParms << /K -1 "
                                        "/Columns 8 /Rows 2 >>",
                                        fromHexadecimal("26a17001001000"))),
              (Inks{{0, 0, 0, 255}}));
}

TEST(ImageFormat, OfJBIG2IsDrawn) {
    // A page information segment alone (ITU-T T.88, 7.4.8): 8 × 8, every pixel black.
    EXPECT_EQ(Testing::middle(imagePage(
                  "/Width 8 /Height 8 /BitsPerComponent 1 /ColorSpace /DeviceGray /Filter "
                  "/JBIG2Decode",
                  fromHexadecimal("00000000"
                                  "30"
                                  "00"
                                  "01"
                                  "00000013"
                                  "00000008"
                                  "00000008"
                                  "00000000"
                                  "00000000"
                                  "04"
                                  "0000"))),
              (Inks{{0, 0, 0, 255}}));
}

TEST(ImageFormat, OfJPEG2000IsDrawn) {
    // 8 × 8 pixels of 1a33e6, without loss.
    const Inks inks = Testing::middle(imagePage(
        "/Width 8 /Height 8 /ColorSpace /DeviceRGB /BitsPerComponent 8 /Filter /JPXDecode",
        fromHexadecimal(
            "ff4fff51002f000000000008000000080000000000000000000000080000000800000000000000000003"
            "070101070101070101ff52000c00000001010004040001ff5c00044040ff640025000143726561746564"
            "206279204f70656e4a5045472076657273696f6e20322e352e30ff90000a0000000000450001ff93c7d4"
            "18115054a3655db0000309097fdf80a814005ca283562800000030909775eb000c2425ff7fc3e71a1150"
            "54affc9088000000184847ffd9")));
    EXPECT_LE(
        inks.distance(Testing::separated(Profile::sRGB(), {26 / 255., 51 / 255., 230 / 255.})), 2)
        << inks;
}

TEST_F(Damage, ByJapaneseTextWithoutItsFontIsNone) {
    TestPDF pdf;
    const std::string font = pdf.object(
        "<< /Type /Font /Subtype /Type0 /BaseFont /HeiseiMin-W3 /Encoding /UniJIS-UCS2-H "
        "/DescendantFonts [<< /Type /Font /Subtype /CIDFontType0 /BaseFont /HeiseiMin-W3 "
        "/CIDSystemInfo << /Registry (Adobe) /Ordering (Japan1) /Supplement 2 >> /FontDescriptor "
        "<< /Type /FontDescriptor /FontName /HeiseiMin-W3 /Flags 6 /FontBBox [0 0 1000 1000] "
        "/ItalicAngle 0 /Ascent 800 /Descent -200 /CapHeight 700 /StemV 80 >> >>] >>");
    pdf.page({"BT /Mincho 12 Tf 0 6 Td <65e5672c> Tj ET", "/Font << /Mincho " + font + " >>"});
    expectConverted(pdf.bytes());
}

} // namespace
} // namespace Bleedwise
