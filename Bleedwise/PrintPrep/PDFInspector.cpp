#include "PrintPrep/PDFInspector.h"

#include "PrintPrep/PrintSettings.h"
#include "PrintPrep/raster/PopplerRenderer.h"

#include <memory>

namespace Bleedwise::PDFInspector {

std::optional<PageSizeMM> firstPageSizeMM(const std::filesystem::path& url) {
    const std::unique_ptr<PageRenderer> document = PopplerRenderer::open(url);
    if (!document)
        return std::nullopt;
    const std::optional<Rectangle> mediaBox = document->mediaBox(1);
    if (!mediaBox)
        return std::nullopt;
    return PageSizeMM{mediaBox->width / pointsPerMillimetre,
                      mediaBox->height / pointsPerMillimetre};
}

} // namespace Bleedwise::PDFInspector
