#include "PrintPrep/RasterCMYKConverter.h"

#include "PrintPrep/PDFBoxPatcher.h"
#include "PrintPrep/PrintPrepError.h"
#include "PrintPrep/platform/FileSystemError.h"
#include "PrintPrep/platform/MappedFile.h"
#include "PrintPrep/platform/OperationStopped.h"
#include "PrintPrep/raster/HelperRenderer.h"
#include "PrintPrep/raster/ImagePDFWriter.h"

#include <cerrno>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <variant>

#include <unistd.h>

namespace Bleedwise::RasterCMYKConverter {
namespace {

void removeExisting(const std::filesystem::path& url) {
    if (::unlink(url.c_str()) != 0 && errno != ENOENT && errno != ENOTDIR)
        throw FileSystemError("remove", url, errno);
}

struct ReadProfile {
    OutputProfile profile;
    CompressedProfile compressed;
};

/// Gives it to the processes that are to draw, and has it compressed, before trying it.
ReadProfile readProfile(const std::filesystem::path& url, HelperRenderer::Opening& opening) {
    auto profile = OutputProfile::fromTrustedBytes(std::string(MappedFile(url).bytes()));
    if (!profile)
        throw PrintPrepError::couldNotCreateCMYKOutput();
    opening.prepare(*profile);
    CompressedProfile compressed(*profile);
    if (!profile->separates())
        throw PrintPrepError::couldNotCreateCMYKOutput();
    return {std::move(*profile), std::move(compressed)};
}

/// The profile, or its failure, for later: it is the document's failure that counts first.
std::future<ReadProfile> readMeanwhile(const std::filesystem::path& url,
                                       HelperRenderer::Opening& opening) {
    std::packaged_task<ReadProfile()> reading([&] { return readProfile(url, opening); });
    std::future<ReadProfile> result = reading.get_future();
    reading();
    return result;
}

/// That of every page; none when it is not countable: that is not the first thing to complain of.
PixelSize sizeOf(const PrintSettings& settings) {
    return PageGeometry::isCountable(settings) ? PageGeometry::pixelSize(settings) : PixelSize();
}

/// Whether removing `outputURL` would remove the input.
bool isSameFile(const std::filesystem::path& inputURL, const std::filesystem::path& outputURL) {
    std::error_code error;
    return std::filesystem::equivalent(inputURL, outputURL, error);
}

} // namespace

void write(const std::filesystem::path& inputURL, const std::filesystem::path& outputURL,
           const std::filesystem::path& profileURL, const PrintSettings& settings,
           const std::stop_token& stop) {
    if (isSameFile(inputURL, outputURL))
        throw PrintPrepError::couldNotOpenPDF();
    removeExisting(outputURL);
    HelperRenderer::Opening opening(inputURL, {.size = sizeOf(settings), .stop = stop});
    std::future<ReadProfile> reading = readMeanwhile(profileURL, opening);
    const std::unique_ptr<PageRenderer> document = opening.finish();
    if (!document)
        throw PrintPrepError::couldNotOpenPDF();
    auto [profile, compressedProfile] = reading.get();
    ImagePDFWriter writer(outputURL, std::move(compressedProfile), settings);

    for (int number = 1; number <= document->pageCount(); ++number) {
        throwIfStopped(stop);
        const std::optional<Rectangle> mediaBox = document->mediaBox(number);
        if (!mediaBox)
            continue;
        const CMYKImage image =
            renderCMYKImage({*document, number, *mediaBox, stop}, profile, settings);
        throwIfStopped(stop);
        if (number == document->pageCount())
            document->close();
        writer.addPage(image);
    }
    const ImagePDFWriter::Result result = writer.finish();
    PDFBoxPatcher::appendPrintBoxes(outputURL, result.size, result.excerpt, settings, true);
}

CMYKImage renderCMYKImage(const SourcePage& page, const OutputProfile& colorSpace,
                          const PrintSettings& settings) {
    const PixelSize size = PageGeometry::pixelSize(settings);
    const RenderRequest request = {
        page.number, size, PageGeometry::place(page.mediaBox, settings), 0, size.height, page.stop};
    RenderResult result = page.document.render(request, colorSpace);
    if (!std::holds_alternative<PixelBuffer>(result))
        throw PrintPrepError::couldNotCreateCMYKOutput();
    return {size, std::move(std::get<PixelBuffer>(result))};
}

} // namespace Bleedwise::RasterCMYKConverter
