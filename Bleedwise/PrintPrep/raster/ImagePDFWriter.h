#pragma once

#include "PrintPrep/PrintSettings.h"
#include "PrintPrep/raster/CMYKImage.h"
#include "PrintPrep/raster/OutputProfile.h"
#include "PrintPrep/raster/PDFObjectFile.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <future>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Bleedwise {

/// An output profile as a PDF holds it. It is compressed from now on, which takes as long as
/// drawing a small page.
class CompressedProfile {
public:
    /// `profileURL` is the profile's file: what lies compressed beside it is taken instead where
    /// that suits (`PrecompressedProfile`).
    CompressedProfile(const OutputProfile& profile, const std::filesystem::path& profileURL);

    /// Waits until it is there. To be called once.
    std::string take() { return bytes_.get(); }

private:
    std::future<std::string> bytes_;
};

/// Writes a PDF 1.4 whose pages are one bitmap each, over the whole sheet.
///
/// Every bitmap is in the output profile's colours, and the document's output intent (ISO 15930-1)
/// names the same profile, which is in the file once. Pages go to the disk as they are added. The
/// same pages give the same bytes.
///
/// The file suits `PDFBoxPatcher`: plain objects, a classic cross-reference table, boxes as inline
/// arrays, and streams that pass its scans.
///
/// Every operation throws `FileSystemError` when the file cannot be written; what has been written
/// stays.
class ImagePDFWriter {
public:
    /// Creates the file, in place of one that is there. Throws
    /// `PrintPrepError::couldNotCreateOutput` when no file can be made at `url`.
    ImagePDFWriter(std::filesystem::path url, CompressedProfile profile,
                   const PrintSettings& settings);
    ImagePDFWriter(const ImagePDFWriter&) = delete;
    ImagePDFWriter& operator=(const ImagePDFWriter&) = delete;

    void addPage(const CMYKImage& image);

    /// What `PDFBoxPatcher::appendPrintBoxes` takes.
    struct Result {
        std::int64_t size;
        std::string excerpt;
    };

    /// Completes the file. To be called once, last. Throws `PrintPrepError::couldNotCreateOutput`
    /// when the file is larger than a classic cross-reference table can describe, 10 GB.
    Result finish();

private:
    /// Gives a stream's bytes to its argument, piece by piece.
    using Produce = std::function<void(const std::function<void(std::string_view)>&)>;

    /// What a stream's dictionary says beside its length. `parameters` are the first filter's.
    struct StreamEntries {
        std::string others;
        std::string filters;
        std::string parameters;
    };

    void writeStream(int object, const StreamEntries& entries, const Produce& produce);
    void writeProfile(const std::string& compressed);
    void writeImage(int object, const CMYKImage& image);
    void writeContents(int object);
    void writePage(int object, int contents, int image);
    void writeCatalog();

    PDFObjectFile file_;
    PrintSettings settings_;
    int catalog_;
    int pageTree_;
    int outputProfile_;
    int colorSpace_;
    std::vector<int> pages_;
    std::string pageObjects_; // as they are in the file
    /// Writes the profile while the first page is drawn; until its end, nothing else is written.
    std::future<void> profileWriting_;
};

} // namespace Bleedwise
