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
/// Any thread, but it waits while a page is being rendered. What the PDF library prints goes
/// nowhere.
std::optional<PageSizeMM> firstPageSizeMM(const std::filesystem::path& url);

} // namespace PDFInspector
} // namespace Bleedwise
