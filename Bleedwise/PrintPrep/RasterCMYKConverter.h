#pragma once

#include "PrintPrep/PrintSettings.h"
#include "PrintPrep/raster/CMYKImage.h"
#include "PrintPrep/raster/OutputProfile.h"
#include "PrintPrep/raster/PageRenderer.h"

#include <filesystem>
#include <stop_token>

/// Conversion without any other program: every page becomes one bitmap at 300 ppi in the colours of
/// the output profile, and text and vector artwork are not kept.
namespace Bleedwise::RasterCMYKConverter {

/// A page of an open document.
struct SourcePage {
    PageRenderer& document;
    /// From 1 on.
    int number;
    /// As the document tells it.
    Rectangle mediaBox;
    /// After a stop request drawing breaks off, and the bitmap holds anything.
    std::stop_token stop = {};
};

/// Writes the PDF at `inputURL` as bitmaps to `outputURL`, in the colours of the ICC profile at
/// `profileURL`, and sets its page boxes. A page that the document does not deliver is left out.
/// Blocks; pages come one after another, and memory holds one bitmap at a time.
///
/// A file that is at `outputURL` is removed first, so the URL should be a passing name. Throws
/// - `FileSystemError` when that fails (also for a folder), when the profile cannot be read, or
///   when the result cannot be stored,
/// - `PrintPrepError::couldNotOpenPDF` when the input is no PDF, has no pages or needs a password,
/// - `PrintPrepError::couldNotCreateCMYKOutput` when the profile is not a CMYK output profile or a
///   bitmap cannot be made,
/// - `PrintPrepError::couldNotCreateOutput` when no file can be made at `outputURL`,
/// - what `PDFBoxPatcher::applyPrintBoxes` throws.
///
/// An error before the first page leaves no file; a later one may leave an incomplete file.
///
/// A stop request is heard between pages and while a page is drawn; `OperationStopped` is thrown.
///
/// Sizes whose bitmap cannot be counted are a programming error: the process aborts.
void write(const std::filesystem::path& inputURL, const std::filesystem::path& outputURL,
           const std::filesystem::path& profileURL, const PrintSettings& settings,
           const std::stop_token& stop = {});

/// Draws one page on its sheet: scaled to the sheet, or to the trim when the source has no bleed
/// of its own, keeping its proportions and centred. Only the media box counts; other boxes and the
/// page's rotation do not. Whatever the page does not cover stays without ink.
///
/// Throws `PrintPrepError::couldNotCreateCMYKOutput`.
CMYKImage renderCMYKImage(const SourcePage& page, const OutputProfile& colorSpace,
                          const PrintSettings& settings);

} // namespace Bleedwise::RasterCMYKConverter
