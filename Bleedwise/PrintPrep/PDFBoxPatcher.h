#pragma once

#include "PrintPrep/PrintSettings.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Writes the page boxes of a finished PDF (ISO 32000-1, 14.11.2) as an incremental update (7.5.6):
/// the bytes that are there stay where they are.
///
/// It needs no PDF library. It understands plain indirect objects of generation 0 and a classic
/// cross-reference table with a trailer, which is what this program's own writers produce; a file
/// with cross-reference or object streams is refused.
///
/// All operations may run on any thread.
namespace Bleedwise::PDFBoxPatcher {

struct PageObjectUpdate {
    std::int64_t object = 0;
    /// The page dictionary with its new boxes, without "obj" and "endobj".
    std::string body;

    bool operator==(const PageObjectUpdate&) const = default;
};

struct TrailerInfo {
    std::int64_t size = 0;
    std::int64_t rootObject = 0;
    std::int64_t rootGeneration = 0;
    /// Byte offset of the cross-reference section that is last so far.
    std::int64_t previousStartXref = 0;

    bool operator==(const TrailerInfo&) const = default;
};

/// How a file comes to its update.
enum class Writing {
    /// The complete new file takes its name: there is the old one, byte for byte, or the new one,
    /// also when the disk is full or the process is killed. A killed process may leave a file
    /// `.bleedwise-UUID.part` beside it.
    aside,
    /// Behind the bytes that are there, which saves copying them: for a work file, which is
    /// worthless after a failure. When a write fails it is the old one; a killed process, or a
    /// failure that shows only when the file is closed, may leave it with a part of the update.
    inPlace,
};

/// Sets MediaBox, CropBox, BleedBox and TrimBox of every page of the PDF at `url` to the settings'
/// trim and bleed and drops ArtBox. With `positiveMediaBoxes` the media box starts at 0 0; without,
/// the trim box does, and the bleed lies at negative coordinates.
///
/// The file is mapped; besides, memory holds the page dictionaries only.
///
/// Throws `FileSystemError` when the file cannot be read or replaced, and
/// `PrintPrepError::couldNotPatchPDFBoxes` when no page or no usable trailer is found, when the
/// sizes make no page (not finite, beyond PDF's numbers, a trim of nothing, a negative bleed), or
/// when an offset needs more than the ten digits that a cross-reference entry has.
void applyPrintBoxes(const std::filesystem::path& url, const PrintSettings& settings,
                     bool positiveMediaBoxes, Writing writing = Writing::aside);

/// The same, `Writing::inPlace`, for a file of `size` bytes that need not be read: `excerpt` has
/// its page objects and what follows the cross-reference table, each whole, in the file's order.
void appendPrintBoxes(const std::filesystem::path& url, std::int64_t size, std::string_view excerpt,
                      const PrintSettings& settings, bool positiveMediaBoxes);

// The steps of `applyPrintBoxes`, which work on the file's bytes as they are.

/// Rewrites every page dictionary, in file order; an object that is defined twice gives two
/// updates.
std::vector<PageObjectUpdate>
pageObjectUpdates(std::string_view text, const PrintSettings& settings, bool positiveMediaBoxes);

/// The box entries that go to the start of each page dictionary, in points, ending in a blank.
std::string boxString(const PrintSettings& settings, bool positiveMediaBoxes);

/// Whether an object's body is a page dictionary: it names /Type /Page, nowhere /Type /Pages, and
/// nowhere contains "stream".
bool isPageDictionary(std::string_view body);

/// The last trailer's entries and the last `startxref`; nothing when one of the numbers is missing.
std::optional<TrailerInfo> trailerInfo(std::string_view text);

} // namespace Bleedwise::PDFBoxPatcher
