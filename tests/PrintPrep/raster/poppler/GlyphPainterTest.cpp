#include "PrintPrep/raster/PopplerRenderer.h"

#include "support/Rendering.h"
#include "support/TestPDF.h"

#include <cstring>
#include <ostream>
#include <string>

#include <gtest/gtest.h>

/// Letters are painted into the bitmap directly. A clip that lets everything through, but is no
/// rectangle, leaves them to Poppler: both ways have to give the same pixels.
namespace Bleedwise {
namespace {

using Testing::at;
using Testing::Inks;
using Testing::noInk;
using Testing::render;
using Testing::TestPDF;

const char* const clip = "-999 -999 m 3000 -999 l -999 3000 l h W n ";

const char* const resources =
    "/Font << /Sans << /Type /Font /Subtype /Type1 /BaseFont /Helvetica >> "
    "/Serif << /Type /Font /Subtype /Type1 /BaseFont /Times-Italic >> >> "
    "/ExtGState << /Half << /ca 0.5 >> /Multiply << /BM /Multiply >> /Over << /op true /OPM 1 >> "
    ">>";

CMYKImage drawn(const std::string& contents, const std::string& entries = "") {
    return render(TestPDF::ofPage({contents, resources, "0 0 24 24", entries}));
}

void expectSame(const CMYKImage& direct, const CMYKImage& byPoppler) {
    bool hasInk = false;
    for (std::int64_t y = 0; y < direct.height(); ++y) {
        const auto bytes = 4 * static_cast<std::size_t>(direct.width());
        ASSERT_EQ(std::memcmp(direct.row(y), byPoppler.row(y), bytes), 0) << "row " << y;
        hasInk = hasInk || std::string(bytes, '\0')
                                   .compare(0, bytes, reinterpret_cast<const char*>(direct.row(y)),
                                            bytes) != 0;
    }
    EXPECT_TRUE(hasInk);
}

struct Case {
    const char* name;
    std::string contents;
};

void PrintTo(const Case& text, std::ostream* stream) {
    *stream << text.contents;
}

class GlyphPainter : public testing::TestWithParam<Case> {};

TEST_P(GlyphPainter, PaintsAsPopplerDoes) {
    expectSame(drawn(GetParam().contents), drawn(clip + GetParam().contents));
}

TEST_P(GlyphPainter, PaintsAsPopplerDoesOnARGBPage) {
    const char* const group = "/Group << /S /Transparency /CS /DeviceRGB >>";
    expectSame(drawn("/Multiply gs 0.9 0.8 0.1 rg 0 0 9 9 re f q " + GetParam().contents, group),
               drawn(std::string("/Multiply gs 0.9 0.8 0.1 rg 0 0 9 9 re f q ") + clip +
                         GetParam().contents,
                     group));
}

INSTANTIATE_TEST_SUITE_P(
    , GlyphPainter,
    testing::Values(
        Case{"OnPaper", "0 0 0 1 k BT /Sans 8 Tf 1 8 Td (Hamburg) Tj ET"},
        Case{"OnColour", "0.2 0.4 0 0 k 0 0 24 12 re f 1 0.5 0 0 k BT /Sans 9 Tf 1 8 Td (Hamburg) "
                         "Tj ET"},
        Case{"OverOtherLetters", "0 0 0 1 k BT /Sans 20 Tf 1 4 Td (aB) Tj /Serif 17 Tf 1 0 0 0 k "
                                 "-2 1 Td (gQ) Tj ET"},
        Case{"OverItself", "1 0 1 0 k BT /Sans 12 Tf 2.1 8 Td (ee) Tj -0.3 0.2 Td (ee) Tj ET"},
        Case{"BeyondThePage", "0 0 0 1 k BT /Sans 30 Tf -6 -3 Td (WMW) Tj ET"},
        Case{"InABoxThatCutsIt", "3.3 4.1 9 9 re W n 0 0 0 1 k BT /Sans 12 Tf 1 8 Td (Hamb) Tj ET"},
        Case{"Turned", "0 0 0 1 k BT /Sans 9 Tf 0.8 0.6 -0.6 0.8 6 2 Tm (Ham) Tj ET"},
        Case{"Stretched", "0 0 0 1 k BT 150 Tz /Sans 7 Tf 1 8 Td (Ha) Tj 60 Tz (mb) Tj ET"},
        Case{"Raised", "0 0 0 1 k BT /Sans 7 Tf 1 8 Td (H) Tj 3 Ts (a) Tj -3 Ts (m) Tj ET"},
        Case{"InSeveralSizes", "0 0 0 1 k BT 1 8 Td /Sans 7 Tf (a) Tj /Sans 9 Tf (a) Tj /Serif 9 "
                               "Tf (a) Tj /Sans 7 Tf (a) Tj ET"},
        Case{"AfterAChangeOfScale", "0 0 0 1 k BT /Sans 7 Tf 1 12 Td (ab) Tj ET q 1.7 0 0 1.7 0 0 "
                                    "cm BT /Sans 7 Tf 1 1 Td (ab) Tj ET Q BT /Sans 7 Tf 9 12 Td "
                                    "(ab) Tj ET"},
        Case{"AfterRestoring", "0 0 0 1 k /Sans 7 Tf q /Serif 9 Tf BT 1 12 Td (ab) Tj ET Q BT 9 12 "
                               "Td (ab) Tj ET"},
        Case{"Huge", "0 1 0 0 k BT /Serif 200 Tf -10 -60 Td (O) Tj ET"},
        Case{"Tiny", "0 0 0 1 k BT /Sans 0.7 Tf 3 8 Td (Hamburgefonts) Tj ET"},
        Case{"Outlined", "0 0 0 1 k 1 0 0 0 K 0.3 w BT 2 Tr /Sans 9 Tf 1 8 Td (Ham) Tj ET"},
        Case{"HalfTransparent", "/Half gs 0 0 0 1 k BT /Sans 9 Tf 1 8 Td (Ham) Tj ET"},
        Case{"Multiplied", "0 0 1 0 k 0 0 12 24 re f /Multiply gs 0 1 0 0 k BT /Sans 9 Tf 1 8 Td "
                           "(Ham) Tj ET"},
        Case{"Overprinting", "0 0 1 0 k 0 0 12 24 re f /Over gs 0 0 0 1 k BT /Sans 9 Tf 1 8 Td "
                             "(Ham) Tj ET"},
        Case{"RGB", "0.9 0.2 0.1 rg BT /Sans 9 Tf 1 8 Td (Ham) Tj ET"},
        Case{"Gray", "0.5 g BT /Sans 9 Tf 1 8 Td (Ham) Tj ET"}),
    [](const auto& test) { return test.param.name; });

TEST(GlyphsIn, AGroupPaintsAsPopplerDoes) {
    const std::string text = "1 0 0 0 k BT /Sans 14 Tf 1 8 Td (Ham) Tj 1 -1 Td (Ham) Tj ET";
    const auto grouped = [](const std::string& contents, const std::string& group) {
        TestPDF pdf;
        const std::string form = pdf.stream(
            "/Type /XObject /Subtype /Form /BBox [0 0 24 24] /Resources << " +
                std::string(resources) + " >> /Group << /S /Transparency " + group + " >>",
            contents);
        pdf.page({"0 0.3 0.4 0 k 0 0 24 11 re f /Half gs /Form Do",
                  std::string(resources) + " /XObject << /Form " + form + " >>"});
        return render(pdf.bytes());
    };
    for (const char* group : {"/I true", "/I false", "/I true /K true", "/I false /K true"}) {
        SCOPED_TRACE(group);
        expectSame(grouped(text, group), grouped(clip + text, group));
    }
}

TEST(Glyphs, PaintsTextBehindAGroupAsPopplerDoes) {
    const std::string text = "0 0 0 1 k BT /Sans 9 Tf 1 8 Td (Ham) Tj ET";
    const auto behind = [](const std::string& contents) {
        TestPDF pdf;
        const std::string form =
            pdf.stream("/Type /XObject /Subtype /Form /BBox [0 0 24 24] /Group << /S /Transparency "
                       ">>",
                       "1 0 0 0 k 0 0 9 9 re f");
        pdf.page({"/Form Do " + contents,
                  std::string(resources) + " /XObject << /Form " + form + " >>"});
        return render(pdf.bytes());
    };
    expectSame(behind(text), behind(clip + text));
}

TEST(Glyphs, TellsFontsOfSeveralPagesApart) {
    TestPDF pdf;
    for (const char* font : {"Helvetica", "Times-Italic", "Courier-Bold"})
        pdf.page({"0 0 0 1 k BT /F 12 Tf 1 8 Td (Ham) Tj (Ham) Tj ET",
                  std::string("/Font << /F << /Type /Font /Subtype /Type1 /BaseFont /") + font +
                      " >> >>"});
    const Testing::TemporaryFolder folder;
    const auto together = PopplerRenderer::open(folder.file("a.pdf", pdf.bytes()));
    for (int page = 1; page <= 3; ++page) {
        const auto alone = PopplerRenderer::open(folder / "a.pdf");
        const auto request = [&] {
            const auto settings = Testing::smallSheet();
            const PixelSize size = PageGeometry::pixelSize(settings);
            return RenderRequest{page, size,
                                 PageGeometry::place(together->mediaBox(page).value(), settings), 0,
                                 size.height};
        }();
        const auto pixels = [&](PageRenderer& document) {
            return std::get<PixelBuffer>(document.render(request, Testing::outputProfile()));
        };
        const PixelBuffer first = pixels(*together);
        const PixelBuffer second = pixels(*alone);
        EXPECT_EQ(std::memcmp(first.data(), second.data(), first.size()), 0) << page;
    }
}

TEST(Glyphs, LeavesPaperBareBesideLetters) {
    EXPECT_EQ(at(drawn("0 0 0 1 k BT /Sans 9 Tf 1 8 Td (Ham) Tj ET"), 50, 5), noInk);
}

} // namespace
} // namespace Bleedwise
