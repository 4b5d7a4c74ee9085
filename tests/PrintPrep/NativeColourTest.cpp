// The colour of what the real Ghostscript writes for this program. Expected numbers come from
// Little CMS: sRGB through the shipped FOGRA39 profile, relative colorimetric with black point
// compensation.
//
// Without the options that the program passes in GS_OPTIONS, Ghostscript 10.00 would separate
// through its own profile: red would be 0 99.6 100 0 instead of 0 94.8 99.1 0, and blue 87.5 76.9 0
// 0 instead of 95 100 0 0, far outside every tolerance below.
#include "PrintPrep/Format.h"
#include "PrintPrep/Ghostscript.h"
#include "PrintPrep/PrintSettings.h"
#include "support/Command.h"
#include "support/TemporaryFolder.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <functional>
#include <initializer_list>
#include <limits>
#include <memory>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>
#include <lcms2.h>

namespace Bleedwise {
namespace {

using Testing::CommandOptions;
using Testing::CommandResult;
using Testing::TemporaryFolder;

/// Red, green and blue, 0 to 255.
using RGB = std::array<int, 3>;
/// Cyan, magenta, yellow and black, in per cent of ink.
using Ink = std::array<double, 4>;

/// The corners that a press operator looks at, and five mid-tones: grey, brick, leaf, slate, sand.
constexpr std::array<RGB, 10> colours = {{{255, 0, 0},
                                          {0, 255, 0},
                                          {0, 0, 255},
                                          {0, 0, 0},
                                          {255, 255, 255},
                                          {128, 128, 128},
                                          {204, 77, 51},
                                          {51, 140, 89},
                                          {64, 89, 179},
                                          {230, 191, 128}}};

/// Numbers that a change of any kind would show in: lone inks, thin and heavy builds.
constexpr std::array<Ink, 10> inks = {{{0, 0, 0, 100},
                                       {100, 0, 0, 0},
                                       {0, 100, 0, 0},
                                       {0, 0, 100, 0},
                                       {0, 0, 0, 0},
                                       {0, 0, 0, 50},
                                       {10, 20, 30, 40},
                                       {75, 68, 67, 90},
                                       {100, 100, 100, 100},
                                       {2, 1, 3, 0}}};

constexpr std::array<int, 10> greys = {0, 13, 26, 64, 102, 128, 179, 217, 242, 255};

// Tolerances, in per cent of ink.

/// Hardly visible in print. Ghostscript 10.00 stays within 0.43, because it rounds results down to
/// an 8-bit step (0.39). Its own sRGB profile, default_rgb.icc, differs from the one that Little
/// CMS builds by no more than 0.02 in these colours, so that either may serve as the reference.
constexpr double vectorTolerance = 1.5;
/// One 8-bit step more: samples are written with 8 bits and drawn for this test with 8 bits.
constexpr double sampleTolerance = vectorTolerance + 100.0 / 255;
/// Inside a blend, which Ghostscript draws in steps no larger than its smoothness, 2 per cent. It
/// stays within 1.5; blending in ink instead of RGB would be off by 40.
constexpr double blendTolerance = sampleTolerance + 2;
/// Numbers that must pass unchanged: Ghostscript 10.00 writes them in 1024ths, four to an 8-bit
/// step.
constexpr double sameNumber = 100.0 / 1024;
/// The same in 8-bit samples: one step.
constexpr double sameSample = 100.0 / 255 + 0.01;

std::string text(const Ink& ink) {
    std::ostringstream stream;
    for (const double part : ink)
        stream << part << ' ';
    return stream.str();
}

double deviation(const Ink& first, const Ink& second) {
    double largest = 0;
    for (std::size_t part = 0; part < first.size(); ++part)
        largest = std::max(largest, std::abs(first[part] - second[part]));
    return largest;
}

/// The reference: sRGB to the shipped profile.
class Reference {
public:
    Reference() {
        const std::string file =
            BLEEDWISE_SOURCE_FOLDER "/Bleedwise/Resources/ISOcoated_v2_eci.icc";
        const Profile source(cmsCreate_sRGBProfile(), cmsCloseProfile);
        const Profile target(cmsOpenProfileFromFile(file.c_str(), "r"), cmsCloseProfile);
        if (!source || !target)
            throw std::runtime_error("no profile in " + file);
        // Unoptimised: every colour goes through the profiles' own curves and tables.
        transform_.reset(cmsCreateTransform(source.get(), TYPE_RGB_DBL, target.get(), TYPE_CMYK_DBL,
                                            INTENT_RELATIVE_COLORIMETRIC,
                                            cmsFLAGS_BLACKPOINTCOMPENSATION | cmsFLAGS_NOOPTIMIZE));
        if (!transform_)
            throw std::runtime_error("no transform to " + file);
    }

    Ink operator()(const std::array<double, 3>& rgb) const {
        const std::array<double, 3> input = {rgb[0] / 255, rgb[1] / 255, rgb[2] / 255};
        Ink ink = {};
        cmsDoTransform(transform_.get(), input.data(), ink.data(), 1);
        return ink;
    }
    Ink operator()(const RGB& rgb) const {
        return (*this)(std::array<double, 3>{double(rgb[0]), double(rgb[1]), double(rgb[2])});
    }

private:
    using Profile = std::unique_ptr<void, decltype(&cmsCloseProfile)>;
    std::unique_ptr<void, decltype(&cmsDeleteTransform)> transform_{nullptr, cmsDeleteTransform};
};

std::vector<Ink> expectedInks() {
    const Reference reference;
    std::vector<Ink> result;
    for (const RGB& rgb : colours)
        result.push_back(reference(rgb));
    return result;
}

/// Compares in order, and leaves the largest deviation in the test's report.
void expectInks(const std::vector<Ink>& found, const std::vector<Ink>& expected, double tolerance) {
    ASSERT_EQ(found.size(), expected.size());
    double largest = 0;
    for (std::size_t index = 0; index < found.size(); ++index) {
        const double one = deviation(found[index], expected[index]);
        EXPECT_LE(one, tolerance) << "colour " << index << ": " << text(found[index])
                                  << "instead of " << text(expected[index]);
        largest = std::max(largest, one);
    }
    ::testing::Test::RecordProperty("LargestDeviation", std::to_string(largest));
}

// Writing. The page is a row of ten patches of 10 mm, and its content is in millimetres.

constexpr double pageWidthMM = 100;
constexpr double pageHeightMM = 10;

/// Numbers as PDF writes them, with a blank behind each.
std::string numbers(std::initializer_list<double> values) {
    std::string result;
    for (const double value : values)
        result += Format::points(value) + ' ';
    return result;
}

std::string components(const RGB& rgb) {
    return numbers({rgb[0] / 255.0, rgb[1] / 255.0, rgb[2] / 255.0});
}

std::string components(const Ink& ink) {
    return numbers({ink[0] / 100, ink[1] / 100, ink[2] / 100, ink[3] / 100});
}

std::string patch(std::size_t index) {
    return numbers({10.0 * static_cast<double>(index), 0, 10, 10}) + "re ";
}

std::string streamObject(const std::string& entries, const std::string& data) {
    return "<< " + entries + " /Length " + std::to_string(data.size()) + " >>\nstream\n" + data +
           "\nendstream";
}

/// A one-page file. `object` becomes object 5, for the resources to refer to.
std::string document(const std::string& content, const std::string& resources = "",
                     const std::string& object = "null") {
    const std::string millimetres =
        numbers({pointsPerMillimetre, 0, 0, pointsPerMillimetre, 0, 0}) + "cm\n";
    const std::string mediaBox =
        "[0 0 " + numbers({pageWidthMM * pointsPerMillimetre, pageHeightMM * pointsPerMillimetre}) +
        "]";
    const std::vector<std::string> objects = {
        "<< /Type /Catalog /Pages 2 0 R >>",
        "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
        "<< /Type /Page /Parent 2 0 R /MediaBox " + mediaBox + " /Contents 4 0 R /Resources << " +
            resources + " >> >>",
        streamObject("", millimetres + content),
        object,
    };
    std::string file = "%PDF-1.4\n";
    std::string table = "xref\n0 " + std::to_string(objects.size() + 1) + "\n0000000000 65535 f \n";
    for (std::size_t index = 0; index < objects.size(); ++index) {
        const std::string offset = std::to_string(file.size());
        table += std::string(10 - offset.size(), '0') + offset + " 00000 n \n";
        file += std::to_string(index + 1) + " 0 obj\n" + objects[index] + "\nendobj\n";
    }
    const std::string tableOffset = std::to_string(file.size());
    return file + table + "trailer\n<< /Size " + std::to_string(objects.size() + 1) +
           " /Root 1 0 R >>\nstartxref\n" + tableOffset + "\n%%EOF\n";
}

std::string filledPatches() {
    std::string content;
    for (std::size_t index = 0; index < colours.size(); ++index)
        content += components(colours[index]) + "rg " + patch(index) + "f\n";
    return document(content);
}

/// A file with one uncompressed 8-bit image over the page, whose ten blocks of 16 x 16 samples are
/// the given ones.
std::string imagePatches(const std::string& colourSpace, const std::vector<std::string>& samples) {
    std::string row;
    for (const std::string& sample : samples) {
        for (int column = 0; column < 16; ++column)
            row += sample;
    }
    std::string data;
    for (int line = 0; line < 16; ++line)
        data += row;
    return document("100 0 0 10 0 0 cm /Image Do", "/XObject << /Image 5 0 R >>",
                    streamObject("/Type /XObject /Subtype /Image /Width 160 /Height 16 "
                                 "/BitsPerComponent 8 /ColorSpace /" +
                                     colourSpace,
                                 data));
}

/// A shading of ten patches' `index`th, from one colour to another between `begin` and `end` mm.
std::string axialShading(const std::string& colourSpace, double begin, double end,
                         const std::string& first, const std::string& last) {
    return "<< /ShadingType 2 /ColorSpace /" + colourSpace + " /Coords [" +
           numbers({begin, 0, end, 0}) + "] /Extend [true true] /Function << /FunctionType 2 " +
           "/Domain [0 1] /N 1 /C0 [" + first + "] /C1 [" + last + "] >> >>";
}

/// A file of ten patches, each of which blends from its colour to the next one in its middle third,
/// so that its left edge is its own colour.
std::string shadedPatches(const std::string& colourSpace, const std::vector<std::string>& colour) {
    std::string content;
    std::string shadings;
    for (std::size_t index = 0; index < colour.size(); ++index) {
        const std::string name = "/Shading" + std::to_string(index) + ' ';
        const double left = 10.0 * static_cast<double>(index);
        shadings += name + axialShading(colourSpace, left + 4, left + 7, colour[index],
                                        colour[(index + 1) % colour.size()]);
        content += "q " + patch(index) + "W n " + name + "sh Q\n";
    }
    return document(content, "/Shading << " + shadings + " >>");
}

// Converting.

/// The environment of a run: without the caller's own Ghostscript options, then with `changes`.
CommandOptions
environment(std::initializer_list<std::pair<std::string, std::string>> changes = {}) {
    CommandOptions options;
    options.environment = {{"GS_OPTIONS", ""}};
    options.environment.insert(options.environment.end(), changes);
    return options;
}

std::vector<std::string> conversionArguments(const std::filesystem::path& input,
                                             const std::filesystem::path& output) {
    return {"--convert", input,      "--output", output,    "--width",
            "100",       "--height", "10",       "--bleed", "0"};
}

/// Converts a ten-patch file; gives the result's path.
std::filesystem::path converted(const TemporaryFolder& folder, const std::string& document,
                                const CommandOptions& options = environment()) {
    const std::filesystem::path output = folder / "out.pdf";
    const CommandResult result = Testing::runBleedwise(
        conversionArguments(folder.file("in.pdf", document), output), options);
    EXPECT_EQ(result.status, 0) << result.error;
    return output;
}

// Reading vectors and text: the numbers that the page's content sets.

std::string firstPageContent(const std::filesystem::path& file) {
    const std::string plain =
        Testing::outputOf({"qpdf", "--qdf", "--object-streams=disable", file, "-"});
    const std::size_t page = plain.find("%% Contents for page 1\n");
    const std::string_view begin = "\nstream\n";
    const std::size_t start = plain.find(begin, page);
    const std::size_t end = plain.find("endstream", start);
    if (page == std::string::npos || start == std::string::npos || end == std::string::npos)
        throw std::runtime_error("no page content in " + file.native());
    return plain.substr(start + begin.size(), end - start - begin.size());
}

/// Walks through a page's content. `visit` gets every operator with the numbers before it.
void forEachOperator(
    const std::string& content,
    const std::function<void(const std::string&, const std::vector<double>&)>& visit) {
    std::istringstream stream(content);
    std::vector<double> operands;
    for (std::string token; stream >> token;) {
        double value = 0;
        const auto [end, error] = std::from_chars(token.data(), token.data() + token.size(), value);
        if (error == std::errc() && end == token.data() + token.size()) {
            operands.push_back(value);
        } else {
            visit(token, operands);
            operands.clear();
        }
    }
}

/// What a colour operator of DeviceCMYK or DeviceGray sets; grey is black ink.
Ink inkOf(const std::vector<double>& operands) {
    if (operands.size() == 4)
        return {100 * operands[0], 100 * operands[1], 100 * operands[2], 100 * operands[3]};
    if (operands.size() == 1)
        return {0, 0, 0, 100 - 100 * operands[0]};
    throw std::runtime_error("a colour of " + std::to_string(operands.size()) + " numbers");
}

/// The ink of each fill, stroke and text on the page, in the order of painting. Any colour that is
/// neither DeviceCMYK nor DeviceGray fails the test.
std::vector<Ink> paintedInks(const std::filesystem::path& file) {
    struct State {
        Ink fill = {0, 0, 0, 100};
        Ink stroke = {0, 0, 0, 100};
    };
    std::vector<State> states(1);
    std::vector<Ink> result;
    forEachOperator(
        firstPageContent(file), [&](const std::string& name, const std::vector<double>& operands) {
            if (name == "q")
                states.push_back(states.back());
            else if (name == "Q")
                states.pop_back();
            else if (name == "k" || name == "g")
                states.back().fill = inkOf(operands);
            else if (name == "K" || name == "G")
                states.back().stroke = inkOf(operands);
            else if (name == "f" || name == "f*" || name.ends_with("Tj") || name.ends_with("TJ"))
                result.push_back(states.back().fill);
            else if (name == "S" || name == "s")
                result.push_back(states.back().stroke);
            else if (name == "rg" || name == "RG" || name == "cs" || name == "CS")
                ADD_FAILURE() << name << " sets a colour that is not ink";
        });
    return result;
}

// Reading images and shadings: drawn to 8-bit CMYK, which passes DeviceCMYK numbers through and
// turns DeviceGray into black ink.

/// A page drawn at 254 ppi, ten pixels per mm.
class Drawing {
public:
    explicit Drawing(const TemporaryFolder& folder, const std::filesystem::path& file) {
        const std::filesystem::path drawn = folder / "drawn.pam";
        const CommandResult result =
            Testing::run({"gs", "-q", "-dBATCH", "-dNOPAUSE", "-dSAFER", "-sDEVICE=pamcmyk32",
                          "-r254", "-o", drawn, file},
                         environment());
        EXPECT_EQ(result.status, 0) << result.output << result.error;
        const std::string bytes = Testing::contents(drawn);
        const std::string_view end = "ENDHDR\n";
        const std::size_t headerEnd = bytes.find(end);
        if (!bytes.starts_with("P7\nWIDTH 1000\nHEIGHT 100\n") || headerEnd == std::string::npos)
            throw std::runtime_error("not the expected drawing: " + bytes.substr(0, 80));
        samples_ = bytes.substr(headerEnd + end.size());
    }

    /// The ink half way up the page, `mm` from its left edge.
    Ink at(double mm) const {
        const std::size_t middleRow = 50;
        const std::size_t pixel = middleRow * 1000 + static_cast<std::size_t>(mm * 10);
        Ink ink = {};
        for (std::size_t part = 0; part < ink.size(); ++part)
            ink[part] = static_cast<unsigned char>(samples_.at(pixel * 4 + part)) / 2.55;
        return ink;
    }

    /// The ink of all patches, `mm` from their left edges.
    std::vector<Ink> patches(double mm) const {
        std::vector<Ink> result;
        for (int index = 0; index < 10; ++index)
            result.push_back(at(10.0 * index + mm));
        return result;
    }

private:
    std::string samples_;
};

std::string bytes(std::initializer_list<double> values) {
    std::string result;
    for (const double value : values)
        result += static_cast<char>(static_cast<unsigned char>(std::lround(value)));
    return result;
}

/// `inks` as 8-bit samples can hold them.
std::vector<Ink> inksInSamples() {
    std::vector<Ink> result;
    for (Ink ink : inks) {
        for (double& part : ink)
            part = std::round(part * 2.55) / 2.55;
        result.push_back(ink);
    }
    return result;
}

std::vector<Ink> greysAsBlack() {
    std::vector<Ink> result;
    for (const int grey : greys)
        result.push_back({0, 0, 0, 100 - grey / 2.55});
    return result;
}

TEST(NativeColour, FillsInRGBBecomeFogra39Ink) {
    const TemporaryFolder folder;
    expectInks(paintedInks(converted(folder, filledPatches())), expectedInks(), vectorTolerance);
}

TEST(NativeColour, StrokesInRGBBecomeFogra39Ink) {
    const TemporaryFolder folder;
    std::string content = "6 w\n";
    for (std::size_t index = 0; index < colours.size(); ++index) {
        const double left = 10.0 * static_cast<double>(index);
        content += components(colours[index]) + "RG " + numbers({left, 5}) + "m " +
                   numbers({left + 10, 5}) + "l S\n";
    }
    expectInks(paintedInks(converted(folder, document(content))), expectedInks(), vectorTolerance);
}

TEST(NativeColour, TextInRGBBecomesFogra39Ink) {
    const TemporaryFolder folder;
    std::string content = "BT /Face 8 Tf\n";
    for (std::size_t index = 0; index < colours.size(); ++index)
        content += components(colours[index]) + "rg 1 0 0 1 " +
                   numbers({10.0 * static_cast<double>(index) + 2, 2}) + "Tm (H) Tj\n";
    const std::string face =
        "/Font << /Face << /Type /Font /Subtype /Type1 /BaseFont /Helvetica >> >>";
    expectInks(paintedInks(converted(folder, document(content + "ET", face))), expectedInks(),
               vectorTolerance);
}

TEST(NativeColour, ImagesInRGBBecomeFogra39Ink) {
    const TemporaryFolder folder;
    std::vector<std::string> samples;
    for (const RGB& rgb : colours)
        samples.push_back(bytes({double(rgb[0]), double(rgb[1]), double(rgb[2])}));
    const auto output = converted(folder, imagePatches("DeviceRGB", samples));
    expectInks(Drawing(folder, output).patches(5), expectedInks(), sampleTolerance);
}

TEST(NativeColour, EndsOfShadingsInRGBBecomeFogra39Ink) {
    const TemporaryFolder folder;
    std::vector<std::string> colour;
    for (const RGB& rgb : colours)
        colour.push_back(components(rgb));
    const auto output = converted(folder, shadedPatches("DeviceRGB", colour));
    expectInks(Drawing(folder, output).patches(2), expectedInks(), sampleTolerance);
}

TEST(NativeColour, ShadingsInRGBBlendInRGB) {
    // Red to green: half way lies olive in RGB, and a much cleaner colour in ink.
    const TemporaryFolder folder;
    const std::string shading =
        axialShading("DeviceRGB", 0, 100, components(colours[0]), components(colours[1]));
    const auto output =
        converted(folder, document("/Blend sh", "/Shading << /Blend " + shading + " >>"));
    const Reference reference;
    std::vector<Ink> expected;
    for (int index = 0; index < 10; ++index) {
        // The middle of the pixel 5 mm into the patch.
        const double green = 255 * (10.0 * index + 5.05) / pageWidthMM;
        expected.push_back(reference(std::array<double, 3>{255 - green, green, 0}));
    }
    expectInks(Drawing(folder, output).patches(5), expected, blendTolerance);
}

TEST(NativeColour, WhiteInRGBIsNoInkAtAll) {
    const TemporaryFolder folder;
    const auto output = converted(folder, document("1 1 1 rg 0 0 100 10 re f"));
    expectInks(paintedInks(output), {Ink{0, 0, 0, 0}}, 0);
}

TEST(NativeColour, FillsInCMYKKeepTheirNumbers) {
    const TemporaryFolder folder;
    std::string content;
    for (std::size_t index = 0; index < inks.size(); ++index)
        content += components(inks[index]) + "k " + patch(index) + "f\n";
    expectInks(paintedInks(converted(folder, document(content))), {inks.begin(), inks.end()},
               sameNumber);
}

TEST(NativeColour, StrokesInCMYKKeepTheirNumbers) {
    const TemporaryFolder folder;
    std::string content = "6 w\n";
    for (std::size_t index = 0; index < inks.size(); ++index) {
        const double left = 10.0 * static_cast<double>(index);
        content += components(inks[index]) + "K " + numbers({left, 5}) + "m " +
                   numbers({left + 10, 5}) + "l S\n";
    }
    expectInks(paintedInks(converted(folder, document(content))), {inks.begin(), inks.end()},
               sameNumber);
}

TEST(NativeColour, BlackInkStaysBlackInkAlone) {
    // Ghostscript writes it as "0 0 0 1 k", never as "0 g".
    const TemporaryFolder folder;
    const auto output = converted(folder, document("0 0 0 1 k 0 0 100 10 re f"));
    EXPECT_NE(firstPageContent(output).find("0 0 0 1 k\n"), std::string::npos)
        << firstPageContent(output);
}

TEST(NativeColour, FillsInGreyBecomeBlackInkAlone) {
    // Ghostscript leaves them in DeviceGray: "0.25 g".
    const TemporaryFolder folder;
    std::string content;
    for (std::size_t index = 0; index < greys.size(); ++index)
        content += numbers({greys[index] / 255.0}) + "g " + patch(index) + "f\n";
    expectInks(paintedInks(converted(folder, document(content))), greysAsBlack(), sameNumber);
}

TEST(NativeColour, ImagesInCMYKKeepTheirNumbers) {
    const TemporaryFolder folder;
    std::vector<std::string> samples;
    for (const Ink& ink : inks)
        samples.push_back(bytes({ink[0] * 2.55, ink[1] * 2.55, ink[2] * 2.55, ink[3] * 2.55}));
    const auto output = converted(folder, imagePatches("DeviceCMYK", samples));
    expectInks(Drawing(folder, output).patches(5), inksInSamples(), sameSample);
}

TEST(NativeColour, ImagesInGreyBecomeBlackInkAlone) {
    const TemporaryFolder folder;
    std::vector<std::string> samples;
    for (const int grey : greys)
        samples.push_back(bytes({double(grey)}));
    const auto output = converted(folder, imagePatches("DeviceGray", samples));
    expectInks(Drawing(folder, output).patches(5), greysAsBlack(), sameSample);
}

TEST(NativeColour, EndsOfShadingsInCMYKKeepTheirNumbers) {
    const TemporaryFolder folder;
    std::vector<std::string> colour;
    for (const Ink& ink : inks)
        colour.push_back(components(ink));
    const auto output = converted(folder, shadedPatches("DeviceCMYK", colour));
    expectInks(Drawing(folder, output).patches(2), inksInSamples(), sameSample);
}

TEST(NativeColour, AnExportedPosterIsInFogra39InkThroughout) {
    const TemporaryFolder folder;
    const std::filesystem::path poster =
        std::filesystem::path(BLEEDWISE_SOURCE_FOLDER) / "samples" / "poster 105x148mm+3.pdf";
    const Reference reference;
    std::vector<Ink> expected;
    forEachOperator(firstPageContent(poster),
                    [&](const std::string& name, const std::vector<double>& operands) {
                        if (name == "rg" || name == "RG")
                            expected.push_back(reference(std::array<double, 3>{
                                255 * operands.at(0), 255 * operands.at(1), 255 * operands.at(2)}));
                    });
    ASSERT_FALSE(expected.empty());

    const CommandResult result =
        Testing::runBleedwise({"--convert", poster, "--output", folder / "out.pdf", "--width",
                               "105", "--height", "148", "--bleed", "3"},
                              environment());
    ASSERT_EQ(result.status, 0) << result.error;

    const std::vector<Ink> painted = paintedInks(folder / "out.pdf");
    const auto nearest = [](const Ink& ink, const std::vector<Ink>& others) {
        double least = std::numeric_limits<double>::infinity();
        for (const Ink& other : others)
            least = std::min(least, deviation(ink, other));
        return least;
    };
    for (const Ink& ink : expected)
        EXPECT_LE(nearest(ink, painted), vectorTolerance) << "lost: " << text(ink);
    for (const Ink& ink : painted)
        EXPECT_LE(nearest(ink, expected), vectorTolerance) << "unexpected: " << text(ink);
}

TEST(NativeColour, TheCallersOwnGhostscriptOptionsAreObeyed) {
    const TemporaryFolder folder;
    const CommandResult result = Testing::runBleedwise(
        conversionArguments(folder.file("in.pdf", filledPatches()), folder / "out.pdf"),
        environment({{"GS_OPTIONS", "-q"}}));
    EXPECT_NE(result.output.find("\nGhostscript finished without messages.\n"), std::string::npos)
        << result.output;
}

TEST(NativeColour, AProfileThatTheCallersOptionsNameGivesWayToFogra39) {
    // The last of two options counts, so this also shows that the caller's stay in front. The
    // profile is Ghostscript's own, which it finds by this name.
    const TemporaryFolder folder;
    const auto output =
        converted(folder, filledPatches(),
                  environment({{"GS_OPTIONS", "-sVectorICCProfile=default_cmyk.icc"}}));
    expectInks(paintedInks(output), expectedInks(), vectorTolerance);
}

TEST(NativeColour, ATemporaryFolderWithBlanksInItsNameGivesTheSameColour) {
    const TemporaryFolder folder;
    const std::filesystem::path temporary = folder / "a b  c";
    std::filesystem::create_directory(temporary);
    const auto output =
        converted(folder, filledPatches(), environment({{"TMPDIR", temporary.native()}}));
    expectInks(paintedInks(output), expectedInks(), vectorTolerance);
}

TEST(NativeColour, AProfilePathWithBlanksGivesTheSameColour) {
    const TemporaryFolder folder;
    const std::filesystem::path program = folder / "A B" / "bin" / "bleedwise";
    const std::filesystem::path resources = folder / "A B" / "share" / "bleedwise";
    std::filesystem::create_directories(program.parent_path());
    std::filesystem::create_directories(resources);
    std::filesystem::copy_file(BLEEDWISE_EXECUTABLE, program);
    std::filesystem::copy_file(BLEEDWISE_SOURCE_FOLDER "/Bleedwise/Resources/ISOcoated_v2_eci.icc",
                               resources / "ISOcoated_v2_eci.icc");
    std::vector<std::string> command = {program};
    const std::vector<std::string> arguments =
        conversionArguments(folder.file("in.pdf", filledPatches()), folder / "out.pdf");
    command.insert(command.end(), arguments.begin(), arguments.end());

    const CommandResult result = Testing::run(command, environment());
    ASSERT_EQ(result.status, 0) << result.output << result.error;
    expectInks(paintedInks(folder / "out.pdf"), expectedInks(), vectorTolerance);
}

} // namespace
} // namespace Bleedwise
