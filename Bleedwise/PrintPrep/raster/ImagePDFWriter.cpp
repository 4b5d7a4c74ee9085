#include "PrintPrep/raster/ImagePDFWriter.h"

#include "PrintPrep/Format.h"
#include "PrintPrep/PDFBoxPatcher.h"
#include "PrintPrep/platform/FileSystemError.h"
#include "PrintPrep/platform/MappedFile.h"
#include "PrintPrep/raster/ImageCompression.h"
#include "PrintPrep/raster/PageGeometry.h"
#include "PrintPrep/raster/StreamData.h"
#include "resource_bundle_accessor/PrecompressedProfile.h"

#include <cstdint>
#include <utility>

namespace Bleedwise {
namespace {

std::string reference(int object) {
    return PDFObjectFile::reference(object);
}

/// The stream dictionary's entries for data that `filters` undo, with or without hexadecimal digits
/// around it. `parameters` are the first filter's.
std::string filterEntries(bool isHexadecimal, const std::string& filters,
                          const std::string& parameters) {
    if (isHexadecimal)
        return filterEntries(false, "/ASCIIHexDecode " + filters,
                             parameters.empty() ? "" : "null " + parameters);
    const bool isSingle = filters.find(' ') == std::string::npos;
    std::string entries = " /Filter " + (isSingle ? filters : "[" + filters + "]");
    if (!parameters.empty())
        entries += " /DecodeParms " + (isSingle ? parameters : "[" + parameters + "]");
    return entries;
}

/// Nothing when there is no such file or it does not suit.
std::string compressedBeside(const std::filesystem::path& profileURL, std::string_view profile) {
    try {
        const MappedFile file(PrecompressedProfile::urlBeside(profileURL));
        return std::string(PrecompressedProfile::stream(file.bytes(), profile));
    } catch (const FileSystemError&) {
        return {};
    }
}

} // namespace

CompressedProfile::CompressedProfile(const OutputProfile& profile,
                                     const std::filesystem::path& profileURL)
    : bytes_(std::async(std::launch::async | std::launch::deferred, [profile, profileURL] {
          std::string bytes = compressedBeside(profileURL, profile.bytes());
          return bytes.empty() ? ImageCompression::compressBytes(profile.bytes()) : bytes;
      })) {}

ImagePDFWriter::ImagePDFWriter(std::filesystem::path url, CompressedProfile profile,
                               const PrintSettings& settings)
    : file_(std::move(url)), settings_(settings), catalog_(file_.reserve()),
      pageTree_(file_.reserve()), outputProfile_(file_.reserve()), colorSpace_(file_.reserve()) {
    profileWriting_ = std::async(
        std::launch::async | std::launch::deferred,
        [this, profile = std::move(profile)]() mutable { writeProfile(profile.take()); });
}

void ImagePDFWriter::addPage(const CMYKImage& image) {
    if (profileWriting_.valid())
        profileWriting_.get();
    const int imageObject = file_.reserve();
    const int contents = file_.reserve();
    const int page = file_.reserve();
    writeImage(imageObject, image);
    writeContents(contents);
    writePage(page, contents, imageObject);
    pages_.push_back(page);
}

ImagePDFWriter::Result ImagePDFWriter::finish() {
    if (profileWriting_.valid())
        profileWriting_.get();
    file_.begin(pageTree_);
    file_.write("<< /Type /Pages /Count " + std::to_string(pages_.size()) + " /Kids [");
    for (const int page : pages_)
        file_.write("\n" + reference(page));
    file_.write("] >>");
    file_.end();
    writeCatalog();
    std::string excerpt = std::move(pageObjects_) + file_.finish(catalog_);
    return {file_.size(), std::move(excerpt)};
}

void ImagePDFWriter::writeStream(int object, const StreamEntries& entries, const Produce& produce) {
    const int length = file_.reserve();
    const auto writeHead = [&](bool isHexadecimal) {
        file_.begin(object);
        file_.write("<< " + entries.others +
                    filterEntries(isHexadecimal, entries.filters, entries.parameters) +
                    " /Length " + reference(length) + " >>\nstream\n");
        return file_.size();
    };

    const std::int64_t start = file_.size();
    std::int64_t data = writeHead(false);
    StreamData::Watch watch;
    produce([&](std::string_view piece) {
        watch.read(piece);
        file_.write(piece);
    });
    if (watch.isDangerous()) {
        file_.truncate(start);
        data = writeHead(true);
        produce([&](std::string_view piece) { file_.write(StreamData::hexadecimal(piece)); });
        file_.write(StreamData::hexadecimalEnd);
    }
    const std::int64_t bytes = file_.size() - data;
    file_.write("\nendstream");
    file_.end();

    file_.begin(length);
    file_.write(std::to_string(bytes));
    file_.end();
}

void ImagePDFWriter::writeProfile(const std::string& compressed) {
    writeStream(outputProfile_, {"/N 4 /Alternate /DeviceCMYK", "/FlateDecode", ""},
                [&](const auto& sink) { sink(compressed); });
    file_.begin(colorSpace_);
    file_.write("[/ICCBased " + reference(outputProfile_) + "]");
    file_.end();
    file_.store();
}

void ImagePDFWriter::writeImage(int object, const CMYKImage& image) {
    const std::string entries = "/Type /XObject /Subtype /Image /Width " +
                                std::to_string(image.width()) + " /Height " +
                                std::to_string(image.height()) +
                                " /BitsPerComponent 8 /ColorSpace " + reference(colorSpace_);
    const std::string blank = ImageCompression::compressIfBlank(image);
    if (!blank.empty())
        writeStream(object, {entries, std::string(ImageCompression::blankFilters), ""},
                    [&](const auto& sink) { sink(blank); });
    else
        writeStream(object, {entries, "/FlateDecode", ImageCompression::parameters(image)},
                    [&](const auto& sink) { ImageCompression::compress(image, sink); });
}

void ImagePDFWriter::writeContents(int object) {
    const Rectangle sheet = PageGeometry::sheet(settings_);
    const std::string width = Format::points(sheet.width);
    const std::string height = Format::points(sheet.height);
    const std::string text = "1 g\n0 0 " + width + " " + height + " re\nf\nq\n" + width + " 0 0 " +
                             height + " 0 0 cm\n/Sheet Do\nQ";
    file_.begin(object);
    file_.write("<< /Length " + std::to_string(text.size()) + " >>\nstream\n" + text +
                "\nendstream");
    file_.end();
}

void ImagePDFWriter::writePage(int object, int contents, int image) {
    const std::string body = "<< /Type /Page /Parent " + reference(pageTree_) + " " +
                             PDFBoxPatcher::boxString(settings_, true) +
                             "/Resources << /XObject << /Sheet " + reference(image) +
                             " >> >> /Contents " + reference(contents) + " >>";
    file_.begin(object);
    file_.write(body);
    file_.end();
    pageObjects_ += PDFObjectFile::text(object, body);
}

void ImagePDFWriter::writeCatalog() {
    file_.begin(catalog_);
    file_.write("<< /Type /Catalog /Pages " + reference(pageTree_) +
                " /OutputIntents [<< /Type /OutputIntent /S /GTS_PDFX"
                " /OutputConditionIdentifier (FOGRA39) /RegistryName (http://www.color.org)"
                " /OutputCondition (Offset on coated paper, ISO 12647-2:2004/Amd 1)"
                " /Info (FOGRA39 / ISO Coated v2 \\(ECI\\)) /DestOutputProfile " +
                reference(outputProfile_) + " >>] >>");
    file_.end();
}

} // namespace Bleedwise
