#pragma once

#include "PrintPrep/PrintSettings.h"
#include "PrintPrep/raster/CMYKImage.h"
#include "PrintPrep/raster/ColorConverter.h"
#include "PrintPrep/raster/OutputProfile.h"
#include "PrintPrep/raster/PageRenderer.h"
#include "support/TemporaryFolder.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace Bleedwise::Testing {

/// Cyan, magenta, yellow and black of a pixel.
struct Inks {
    std::array<int, 4> values{};

    bool operator==(const Inks&) const = default;
    /// The largest difference in an ink.
    int distance(const Inks& other) const;
};
std::ostream& operator<<(std::ostream& stream, const Inks& inks);

constexpr Inks noInk = {};

/// The profile that ships, and its file.
const std::filesystem::path& outputProfileURL();
const OutputProfile& outputProfile();

/// Settings under which a page of 24 × 24 points becomes 100 × 100 pixels without a bleed.
PrintSettings smallSheet();

/// The first page of a PDF, drawn.
CMYKImage render(const std::string& pdf, const PrintSettings& settings = smallSheet());

Inks at(const CMYKImage& image, std::int64_t x, std::int64_t y);

/// The pixel in the middle of a PDF's first page.
Inks middle(const std::string& pdf);

/// An open document of its own file.
class TemporaryDocument {
public:
    explicit TemporaryDocument(const std::string& pdf);

    /// Rows of the first page on `smallSheet()`, as bytes.
    std::string rows(std::int64_t first, std::int64_t count) const;

private:
    TemporaryFolder folder_;
    std::unique_ptr<PageRenderer> document_;
};

/// What Little CMS makes of one colour without shortcuts, rounded to bytes. `color` has numbers
/// from 0 to 1, for Lab its own.
Inks separated(const Profile& source, const std::vector<double>& color,
               Intent intent = Intent::relativeColorimetric);

/// An ICC profile as bytes: Adobe RGB (1998), from its published primaries, white and gamma.
std::string adobeRGBProfile();
/// Grey of gamma 2.2.
std::string grayProfile();
/// CIE L*a*b*, which a profile can describe as well.
std::string labProfile();
/// A CMYK profile other than the one that ships: the same with its tables but another description,
/// and so other bytes, whose separation differs by intent only.
std::string otherCMYKProfile();

} // namespace Bleedwise::Testing
