#pragma once

#include "PrintPrep/raster/CMYKImage.h"

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

/// Lossless compression of a page's bitmap for a PDF's filters, on as many threads as there are
/// cores. The same bitmap gives the same bytes on the same kind of processor. A bitmap that another
/// process changes meanwhile gives well-formed bytes for one of its size. Any thread.
namespace Bleedwise::ImageCompression {

using Sink = std::function<void(std::string_view)>;

/// For any bitmap, in little memory: gives the compressed bytes to `sink` piece by piece as they
/// arise. The filter needs `parameters`.
void compress(const CMYKImage& image, const Sink& sink);

/// The Flate filter's parameters for what `compress` gives: a PDF dictionary.
std::string parameters(const CMYKImage& image);

/// For a bitmap that is mostly blank, as text on white paper is: a whole stream's bytes, in less
/// time and two thirds of the space. A reader takes them through `blankFilters`, without
/// parameters. Empty for other bitmaps.
std::string compressIfBlank(const CMYKImage& image);

inline constexpr std::string_view blankFilters = "/FlateDecode /RunLengthDecode";

/// Any bytes, such as a profile's, for the Flate filter without parameters.
std::string compressBytes(std::string_view bytes);

} // namespace Bleedwise::ImageCompression
