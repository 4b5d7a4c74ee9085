#include "PrintPrep/PDFInspector.h"

#include "PrintPrep/PrintSettings.h"
#include "PrintPrep/platform/SilencedStreams.h"
#include "PrintPrep/raster/PopplerRenderer.h"

#include <exception>
#include <memory>

namespace Bleedwise::PDFInspector {

std::optional<PageSizeMM> firstPageSizeMM(const std::filesystem::path& url) {
    // Once, and not for each call below, which takes as long as reading a small document.
    const SilencedStreams silenced;
    try {
        const std::unique_ptr<PageRenderer> document = PopplerRenderer::open(url);
        const std::optional<Rectangle> mediaBox = document ? document->mediaBox(1) : std::nullopt;
        if (!mediaBox)
            return std::nullopt;
        return PageSizeMM{mediaBox->width / pointsPerMillimetre,
                          mediaBox->height / pointsPerMillimetre};
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

} // namespace Bleedwise::PDFInspector
