#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Bleedwise::Testing {

/// A hand-written PDF of one or more pages, put together from object bodies.
class TestPDF {
public:
    /// What is special about a page.
    struct Page {
        /// Content operators.
        std::string contents;
        /// The resource dictionary's entries.
        std::string resources = {};
        /// In points: lower left and upper right corner.
        std::string mediaBox = "0 0 24 24";
        /// Further entries of the page dictionary.
        std::string entries = {};
    };

    /// Adds an indirect object; gives its reference, such as "7 0 R".
    std::string object(std::string body);
    std::string stream(const std::string& entries, std::string_view bytes);
    void page(const Page& page);

    /// Entries for the catalog.
    void catalog(std::string entries) { catalogEntries_ = std::move(entries); }

    std::string bytes() const;

    /// A document of this one page.
    static std::string ofPage(const Page& page);

private:
    std::vector<std::string> objects_ = {"", ""}; // catalog and page tree come last
    std::vector<std::string> pages_;
    std::string catalogEntries_;
};

/// Bytes as an inline image or an ASCIIHexDecode stream writes them, end marker included.
std::string hexadecimal(std::string_view bytes);

} // namespace Bleedwise::Testing
