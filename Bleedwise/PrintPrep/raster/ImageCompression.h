#pragma once

#include "PrintPrep/raster/CMYKImage.h"

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

/// Lossless compression of a page's bitmap for a PDF's Flate filter. The same bitmap gives the same
/// bytes on the same processor. Any thread.
namespace Bleedwise::ImageCompression {

using Sink = std::function<void(std::string_view)>;

/// Fast, in little memory: gives the compressed bytes to `sink` piece by piece as they arise. The
/// filter needs `parameters`.
void compressFast(const CMYKImage& image, const Sink& sink);

/// The Flate filter's parameters for what `compressFast` gives: a PDF dictionary.
std::string parameters(const CMYKImage& image);

/// Smaller, where that pays off: pictures of flat areas and text take two thirds of the space,
/// while photographs would gain next to nothing for several times the time. Empty for those, and
/// for bitmaps that would take too much memory. The filter needs no parameters.
std::string compressIfFlat(const CMYKImage& image);

} // namespace Bleedwise::ImageCompression
