#pragma once

#include "PrintPrep/platform/FileDescriptor.h"
#include "PrintPrep/raster/PageRenderer.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>

/// Draws pages with Poppler's Splash device.
///
/// Poppler is not safe to run in two threads, even with two documents, so its calls wait for one
/// another. While one runs, the process's standard output and standard error lead nowhere.
namespace Bleedwise::PopplerRenderer {

/// Rows that are drawn beside those wanted: a shape's outline, which is cut off some way outside of
/// the bitmap, covers the rows at its edges a little differently from how it covers them elsewhere.
inline constexpr std::int64_t rowsBeside = 4;

/// Where rows are to be drawn.
struct Canvas {
    std::uint8_t* rows;
    /// Whether `rowsBeside` rows above them, and below, may be written too, whatever they then
    /// hold: the rows are drawn where they are to be instead of being copied there.
    bool hasRoomBeside = false;
};

class Document : public PageRenderer {
public:
    /// How many pixels the images have that the page names and that cost much to read, whatever
    /// part of the page is drawn: all but plain JPEG.
    virtual std::int64_t imagePixels(int page) = 0;

    /// What to do about rows that only come out right when the whole page is drawn.
    enum class Indivisible { drawWhole, refuse };

    /// Does what `render` does, into a canvas with room for the request's rows; after a failure
    /// they hold anything.
    virtual std::optional<RenderFailure> draw(const RenderRequest& request,
                                              const OutputProfile& profile, const Canvas& canvas,
                                              Indivisible indivisible) = 0;
};

/// Opens the PDF at `url`; its page count is at least 1. Nothing when it is not a regular file,
/// is no PDF, has no pages or needs a password.
std::unique_ptr<Document> open(const std::filesystem::path& url);

/// The same for a file that is open for reading. `document` is closed with the renderer.
/// `needsPassword`, where it is given, becomes whether a password is all that lacks.
std::unique_ptr<Document> open(FileDescriptor document, bool* needsPassword = nullptr);

} // namespace Bleedwise::PopplerRenderer
