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

/// What is there before the first page.
struct Supplies {
    OutputProfile profile;
    CompressedProfile compressedProfile;
    std::optional<SharedMemory> bitmap;
};

Supplies supplies(const std::filesystem::path& profileURL, PixelSize size) {
    auto profile = OutputProfile::fromTrustedBytes(MappedFile(profileURL).bytes());
    if (!profile)
        throw PrintPrepError::couldNotCreateCMYKOutput();
    CompressedProfile compressed(*profile, profileURL);
    if (!profile->separates())
        throw PrintPrepError::couldNotCreateCMYKOutput();
    return {std::move(*profile), std::move(compressed), HelperRenderer::bitmapMemory(size)};
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
    const PixelSize size = sizeOf(settings);
    // While processes start, this thread waits, and the system may have it wait for milliseconds.
    std::future<Supplies> making =
        std::async(std::launch::async | std::launch::deferred, supplies, profileURL, size);
    HelperRenderer::Opening opening(inputURL, {.size = size, .stop = stop});
    std::packaged_task<Supplies()> preparing([&] {
        Supplies made = making.get();
        opening.prepare(made.profile, std::move(made.bitmap));
        return made;
    });
    preparing(); // its failure is for later: the document's counts first
    const std::unique_ptr<PageRenderer> document = opening.finish();
    if (!document)
        throw PrintPrepError::couldNotOpenPDF();
    Supplies made = preparing.get_future().get();
    ImagePDFWriter writer(outputURL, std::move(made.compressedProfile), settings);

    for (int number = 1; number <= document->pageCount(); ++number) {
        throwIfStopped(stop);
        const std::optional<Rectangle> mediaBox = document->mediaBox(number);
        if (!mediaBox)
            continue;
        const CMYKImage image =
            renderCMYKImage({*document, number, *mediaBox, stop}, made.profile, settings);
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
