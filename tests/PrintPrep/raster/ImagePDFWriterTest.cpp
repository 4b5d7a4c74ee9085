#include "PrintPrep/raster/ImagePDFWriter.h"

#include "PrintPrep/PDFBoxPatcher.h"
#include "PrintPrep/PrintPrepError.h"
#include "PrintPrep/raster/ImageCompression.h"
#include "resource_bundle_accessor/PrecompressedProfile.h"
#include "support/Command.h"
#include "support/Rendering.h"
#include "support/TemporaryFolder.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

using Testing::contents;
using Testing::outputOf;
using Testing::outputProfile;
using Testing::TemporaryFolder;

const PrintSettings settings = {30, 20, 3, true, false};

/// A bitmap whose bytes `value` gives by their number.
CMYKImage picture(std::int64_t width, std::int64_t height,
                  const std::function<int(std::size_t)>& value) {
    const PixelSize size = {width, height};
    PixelBuffer pixels = PixelBuffer::zeroed(static_cast<std::size_t>(size.bytes()));
    for (std::size_t i = 0; i < pixels.size(); ++i)
        pixels.data()[i] = static_cast<std::uint8_t>(value(i));
    return {size, std::move(pixels)};
}

CMYKImage flatPicture() {
    return picture(40, 30, [](std::size_t i) { return i % 4 == 1 ? 200 : 0; });
}

/// Numbers without a pattern, the same at every run.
int noise(std::size_t i) {
    std::uint64_t x = (i + 1) * 0x9e3779b97f4a7c15U;
    x ^= x >> 31U;
    x *= 0xbf58476d1ce4e5b9U;
    return static_cast<int>(x >> 56U);
}

CompressedProfile shippedProfile() {
    return {outputProfile(), Testing::outputProfileURL()};
}

class ImagePDF : public testing::Test {
protected:
    std::string write(std::initializer_list<const CMYKImage*> pages) {
        ImagePDFWriter writer(url, shippedProfile(), settings);
        for (const CMYKImage* page : pages)
            writer.addPage(*page);
        writer.finish();
        return contents(url);
    }

    /// The decoded stream of object `number`.
    std::string stream(int number) {
        return outputOf({"qpdf", "--show-object=" + std::to_string(number),
                         "--filtered-stream-data", url.native()});
    }

    TemporaryFolder folder;
    std::filesystem::path url = folder / "images.pdf";
};

/// Writes a page with the profile of a file, which may lie compressed beside it.
class ImagePDFOfAProfileFile : public ImagePDF {
protected:
    /// The profile's stream as it is in the PDF, still compressed.
    std::string compressedProfile() {
        const CMYKImage page = flatPicture();
        ImagePDFWriter writer(url, CompressedProfile(outputProfile(), profileURL), settings);
        writer.addPage(page);
        writer.finish();
        EXPECT_EQ(stream(3), outputProfile().bytes());
        return outputOf({"qpdf", "--show-object=3", "--raw-stream-data", url.native()});
    }

    std::filesystem::path profileURL = folder / "profile.icc";
};

TEST_F(ImagePDFOfAProfileFile, HasWhatLiesCompressedBesideIt) {
    const std::string bytes = PrecompressedProfile::file(outputProfile().bytes());
    folder.file("profile.icc.zlib", bytes);
    EXPECT_EQ(compressedProfile(), PrecompressedProfile::stream(bytes, outputProfile().bytes()));
}

TEST_F(ImagePDFOfAProfileFile, CompressesItWhenNothingLiesBesideIt) {
    EXPECT_EQ(compressedProfile(), ImageCompression::compressBytes(outputProfile().bytes()));
}

TEST_F(ImagePDFOfAProfileFile, CompressesItWhenAnotherLiesBesideIt) {
    folder.file("profile.icc.zlib", PrecompressedProfile::file("another"));
    EXPECT_EQ(compressedProfile(), ImageCompression::compressBytes(outputProfile().bytes()));
}

std::string bytesOf(const CMYKImage& image) {
    return {reinterpret_cast<const char*>(image.row(0)),
            static_cast<std::size_t>(4 * image.width() * image.height())};
}

constexpr int profileObject = 3;
constexpr int firstImageObject = 6;

TEST_F(ImagePDF, HasAClassicStructureOfVersion14) {
    const CMYKImage image = flatPicture();
    const std::string file = write({&image, &image});
    EXPECT_TRUE(file.starts_with("%PDF-1.4\n"));
    EXPECT_TRUE(file.ends_with("%%EOF\n"));
    EXPECT_EQ(file.find("/ObjStm"), std::string::npos);
    EXPECT_EQ(file.find("/XRef"), std::string::npos);
    EXPECT_NE(file.find("\nxref\n0 "), std::string::npos);
}

TEST_F(ImagePDF, PassesTheCheckOfAnotherProgram) {
    const CMYKImage flat = flatPicture();
    const CMYKImage noisy = picture(200, 150, noise);
    write({&flat, &noisy});
    const auto check = Testing::run({"qpdf", "--check", url.native()});
    EXPECT_EQ(check.status, 0) << check.output << check.error;
    EXPECT_EQ(check.output.find("WARNING"), std::string::npos) << check.output;
}

TEST_F(ImagePDF, KeepsEveryPixelOfAFlatPicture) {
    const CMYKImage image = flatPicture();
    write({&image});
    EXPECT_EQ(stream(firstImageObject), bytesOf(image));
}

TEST_F(ImagePDF, KeepsEveryPixelOfANoisyPicture) {
    const CMYKImage image = picture(300, 500, noise);
    write({&image});
    EXPECT_EQ(stream(firstImageObject), bytesOf(image));
}

TEST_F(ImagePDF, KeepsEveryPixelOfAGradient) {
    const CMYKImage image =
        picture(300, 500, [](std::size_t i) { return static_cast<int>(i / 977) + noise(i) % 3; });
    write({&image});
    EXPECT_EQ(stream(firstImageObject), bytesOf(image));
}

TEST_F(ImagePDF, KeepsASinglePixel) {
    const CMYKImage image = picture(1, 1, [](std::size_t i) { return static_cast<int>(i) + 7; });
    write({&image});
    EXPECT_EQ(stream(firstImageObject), bytesOf(image));
}

TEST_F(ImagePDF, HoldsTheProfileOnceByteForByte) {
    const CMYKImage image = flatPicture();
    const std::string file = write({&image, &image, &image});
    EXPECT_EQ(stream(profileObject), outputProfile().bytes());
    std::size_t profiles = 0;
    for (std::size_t found = 0; (found = file.find("/N 4", found)) != std::string::npos; ++found)
        ++profiles;
    EXPECT_EQ(profiles, 1U);
}

TEST_F(ImagePDF, TagsItsPicturesWithTheProfile) {
    const CMYKImage image = flatPicture();
    const std::string file = write({&image});
    EXPECT_NE(file.find("4 0 obj\n[/ICCBased 3 0 R]\n"), std::string::npos);
    EXPECT_NE(file.find("/BitsPerComponent 8 /ColorSpace 4 0 R"), std::string::npos);
}

TEST_F(ImagePDF, DeclaresTheOutputIntentWithTheProfile) {
    const CMYKImage image = flatPicture();
    write({&image});
    const std::string catalog = outputOf({"qpdf", "--show-object=1", url.native()});
    EXPECT_NE(catalog.find("/S /GTS_PDFX"), std::string::npos) << catalog;
    EXPECT_NE(catalog.find("/OutputConditionIdentifier (FOGRA39)"), std::string::npos) << catalog;
    EXPECT_NE(catalog.find("/DestOutputProfile 3 0 R"), std::string::npos) << catalog;
}

TEST_F(ImagePDF, PutsWhiteUnderThePicture) {
    const CMYKImage image = flatPicture();
    write({&image});
    EXPECT_EQ(stream(firstImageObject + 1), "1 g\n0 0 102.047244 73.700787 re\nf\nq\n"
                                            "102.047244 0 0 73.700787 0 0 cm\n/Sheet Do\nQ");
}

TEST_F(ImagePDF, GivesTheSameBytesForTheSamePages) {
    const CMYKImage image = picture(100, 100, noise);
    const std::string first = write({&image});
    EXPECT_EQ(write({&image}), first);
}

TEST_F(ImagePDF, TakesTheBoxPatchersUpdateForEveryPage) {
    const CMYKImage image = flatPicture();
    write({&image, &image, &image});
    PDFBoxPatcher::applyPrintBoxes(url, settings, true);
    const std::string file = contents(url);
    EXPECT_EQ(PDFBoxPatcher::pageObjectUpdates(file, settings, true).size(), 6U);
    EXPECT_EQ(Testing::run({"qpdf", "--check", url.native()}).status, 0);
}

TEST_F(ImagePDF, GivesTheBoxPatcherAllThatItWouldRead) {
    const CMYKImage image = flatPicture();
    ImagePDFWriter writer(url, shippedProfile(), settings);
    writer.addPage(image);
    writer.addPage(image);
    const ImagePDFWriter::Result result = writer.finish();
    const auto copy = url.parent_path() / "copy.pdf";
    std::filesystem::copy_file(url, copy);
    PDFBoxPatcher::applyPrintBoxes(copy, settings, true);
    PDFBoxPatcher::appendPrintBoxes(url, result.size, result.excerpt, settings, true);
    EXPECT_EQ(contents(url), contents(copy));
}

/// A bitmap in whose data, where it cannot be compressed, a text stands in full: each row starts
/// with it, and the noise in between keeps the compressor from finding the repetition worthwhile.
CMYKImage pictureOfText(std::string_view text) {
    CMYKImage image = picture(4000, 40, noise);
    auto* pixels = const_cast<std::uint8_t*>(image.row(0));
    // With the first row's filter Up the differences are the pixels themselves; with Sub, the text
    // appears when each byte is added to the one a pixel before.
    std::uint8_t previous[4] = {};
    for (std::size_t i = 0; i < text.size(); ++i) {
        pixels[100 + i] = static_cast<std::uint8_t>(text[i]);
        previous[i % 4] = static_cast<std::uint8_t>(previous[i % 4] + text[i]);
        pixels[4000 + i] = previous[i % 4];
    }
    return image;
}

TEST_F(ImagePDF, KeepsThePatcherFromMistakingPixelsForPages) {
    const CMYKImage image = pictureOfText(
        " endobj 9 0 obj << /Type /Page >> endobj trailer << /Size 1 /Root 9 0 R >> ");
    const std::string file = write({&image});
    const auto updates = PDFBoxPatcher::pageObjectUpdates(file, settings, true);
    ASSERT_EQ(updates.size(), 1U);
    EXPECT_NE(updates[0].body.find("/Sheet"), std::string::npos);
    EXPECT_EQ(stream(firstImageObject), bytesOf(image));
    EXPECT_EQ(PDFBoxPatcher::trailerInfo(file)->rootObject, 1);
    EXPECT_NE(file.find("/ASCIIHexDecode"), std::string::npos) << "the picture tests nothing";
}

TEST(ImagePDFWriter, CannotBeMadeInAFolderThatIsNotThere) {
    const TemporaryFolder folder;
    try {
        const ImagePDFWriter writer(folder / "none/images.pdf", shippedProfile(), settings);
        FAIL() << "no error";
    } catch (const PrintPrepError& error) {
        EXPECT_EQ(error.errorCase(), PrintPrepError::Case::couldNotCreateOutput);
    }
}

} // namespace
} // namespace Bleedwise
