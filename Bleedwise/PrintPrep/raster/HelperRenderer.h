#pragma once

#include "PrintPrep/platform/SharedMemory.h"
#include "PrintPrep/raster/PageRenderer.h"
#include "PrintPrep/raster/RendererHelper.h"

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <stop_token>

/// Draws pages in processes of their own, `bleedwise-renderer`, which are locked in before they see
/// the document (`Sandbox`): whatever a document does to the PDF library, it cannot crash this
/// process, nor read or change anything but its own bitmaps.
///
/// One process reads the document, another for each further core joins it for pages that are large
/// enough, and each draws one part of the page at a time into the same memory. They belong to
/// one document and die with its renderer.
namespace Bleedwise::HelperRenderer {

struct Options {
    std::filesystem::path executable = RendererHelper::executableURL();
    /// How many processes there may be at once.
    unsigned processes = availableProcessors();
    /// Of the pages to come, where it is known: the processes for them are then started at once.
    /// Its bytes must be countable in 64 bits.
    PixelSize size = {};
    /// How long a process may be silent over one request before it counts as failed.
    std::chrono::milliseconds patience = std::chrono::minutes(5);

    /// A stop request ends the processes at once; what was asked of them, but for drawing, which
    /// has a token of its own, then throws `OperationStopped`.
    std::stop_token stop = {};

    static unsigned availableProcessors();
};

/// Memory for bitmaps of that size; for a small one all of it is there, which takes as long as
/// drawing part of it. Nothing for an empty one, or when it does not fit into the machine. Any
/// thread.
std::optional<SharedMemory> bitmapMemory(PixelSize size);

/// A document that is being opened while its user does something else.
class Opening {
public:
    /// Starts the first process, and the others that pages of a known size will need. Throws
    /// `FileSystemError` when the first one cannot be started.
    explicit Opening(const std::filesystem::path& url, Options options = {});

    /// Hands over the profile that pages will be drawn with, and `bitmapMemory()` for those of the
    /// known size, so that drawing need not wait for it. To be called before `finish()`. Throws
    /// nothing of its own: what goes wrong shows when a page is drawn.
    void prepare(const OutputProfile& profile, std::optional<SharedMemory> bitmap);

    /// Waits for the document, whose page count is at least 1. Nothing when it is not a regular
    /// file, is no PDF, has no pages or needs a password, or when the process fails over it. To be
    /// called once.
    ///
    /// Questions then throw `PrintPrepError::couldNotCreateCMYKOutput` when the process fails,
    /// and `render` gives `RenderFailure::failed`; from then on they always do. A stop request ends
    /// the processes at once.
    ///
    /// The bitmaps stay shared with the processes, which a document may have taken over: their
    /// bytes can change at any moment, also between two looks at the same one.
    std::unique_ptr<PageRenderer> finish();

    /// Whether it is a password that `finish()` gave nothing for.
    bool needsPassword() const noexcept { return needsPassword_; }

    /// Whether it is the process's failure, so that nothing is known of the document.
    bool hasFailed() const noexcept { return hasFailed_; }

private:
    std::unique_ptr<PageRenderer> renderer_;
    bool needsPassword_ = false;
    bool hasFailed_ = false;
};

/// Both at once.
std::unique_ptr<PageRenderer> open(const std::filesystem::path& url, const Options& options = {});

} // namespace Bleedwise::HelperRenderer
