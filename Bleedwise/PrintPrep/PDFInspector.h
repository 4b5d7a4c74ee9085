#pragma once

#include <filesystem>
#include <optional>

namespace Bleedwise {

/// In millimetres, not rounded.
struct PageSizeMM {
    double width = 0;
    double height = 0;

    bool operator==(const PageSizeMM&) const = default;
};

/// What a PDF says about itself.
namespace PDFInspector {

/// Size of the first page's media box, before any rotation of the page; other boxes do not count.
/// Nothing when `url` cannot be opened as a PDF without a password, or has no first page.
///
/// The document is read in a process of its own (`RendererHelper`), which serves for all documents
/// that are measured one after another without a pause; a document over which it fails, or that
/// takes it more than 10 seconds, has no size. Any thread, one at a time.
std::optional<PageSizeMM> firstPageSizeMM(const std::filesystem::path& url);

} // namespace PDFInspector
} // namespace Bleedwise
