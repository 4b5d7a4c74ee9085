#pragma once

#include "PrintPrep/raster/OutputProfile.h"
#include "PrintPrep/raster/PageGeometry.h"
#include "PrintPrep/raster/PixelBuffer.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stop_token>
#include <variant>
#include <vector>

namespace Bleedwise {

/// What a renderer is asked to draw.
struct RenderRequest {
    /// From 1 on.
    int page = 1;
    /// The whole bitmap, of which `window` is the picture.
    PixelSize size;
    PageGeometry::Placement placement;
    /// The rows wanted, counted from the top of the whole bitmap. Rows drawn apart are those that
    /// are drawn together.
    std::int64_t firstRow = 0;
    std::int64_t rowCount = 0;
    /// After a stop request drawing breaks off, and the rows hold anything.
    std::stop_token stop = {};
};

enum class RenderFailure {
    /// The memory for the rows, or for drawing them, cannot be had.
    tooLarge,
    /// The document does not deliver the page.
    noSuchPage,
    /// Drawing broke off.
    failed,
    /// The rows only come out right when the whole page is drawn, and that was not wanted.
    indivisible,
};

/// The rows as cyan, magenta, yellow and black without padding.
using RenderResult = std::variant<PixelBuffer, RenderFailure>;

/// What there is to know of a page beside its contents.
struct PageDescription {
    /// In user space, with positive sizes.
    Rectangle mediaBox;
    /// Degrees clockwise by which a viewer turns the page: 0, 90, 180 or 270.
    int rotation = 0;
    /// Enclose what annotations print, links left out; at most `mostAnnotationAreas`, so that
    /// several annotations may have one in common.
    std::vector<Rectangle> annotations = {};
};

inline constexpr std::size_t mostAnnotationAreas = 16;

/// Whether a page paints in other colours than the inks of a press.
enum class ForeignColor {
    none,
    /// Red, green and blue, whatever they are defined by.
    rgb,
    /// A spot colour that is not described by process inks or grey.
    spot,
    other,
};

/// An open document whose pages can be drawn as process colours.
///
/// What comes out: device CMYK, and CMYK tagged with the output profile, as their numbers; grey as
/// black alone; spot colours by their alternate; everything else through its own profile with the
/// content's rendering intent. Overprint is honoured. Pixels that the page leaves alone are 0.
/// Annotations and hidden layers are not drawn. Damaged content is drawn as far as it goes.
///
/// One thread at a time. Nothing that the renderer's libraries print reaches the standard streams.
class PageRenderer {
public:
    virtual ~PageRenderer() = default;

    virtual int pageCount() const = 0;

    /// In user space, with positive sizes; nothing when the document does not deliver the page.
    virtual std::optional<Rectangle> mediaBox(int page) = 0;

    /// Nothing when the document does not deliver the page.
    virtual std::optional<PageDescription> describe(int page) = 0;

    /// What the page paints with: its contents, forms, patterns, shadings and images, soft masks
    /// left out, which only say how much. Nothing when the document does not deliver the page.
    virtual std::optional<ForeignColor> foreignColor(int page) = 0;

    /// `profile` is the same for all pages of a document.
    virtual RenderResult render(const RenderRequest& request, const OutputProfile& profile) = 0;

    /// Says that nothing more will be asked. Bitmaps stay.
    virtual void close() noexcept {}
};

} // namespace Bleedwise
