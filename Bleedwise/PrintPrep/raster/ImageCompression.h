#pragma once

#include "PrintPrep/raster/CMYKImage.h"

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

/// Lossless compression of a page's bitmap for a PDF's filters, on as many threads as there are
/// cores. The same bitmap gives the same bytes on the same kind of processor. Any thread.
namespace Bleedwise::ImageCompression {

using Sink = std::function<void(std::string_view)>;

/// Fast, in little memory: gives the compressed bytes to `sink` piece by piece as they arise. The
/// filter needs `parameters`.
void compressFast(const CMYKImage& image, const Sink& sink);

/// The Flate filter's parameters for what `compressFast` gives: a PDF dictionary.
std::string parameters(const CMYKImage& image);

/// A whole stream's bytes, and the names of the filters that a reader takes them through.
struct FlatImage {
    std::string bytes;
    std::string filters;
};

/// Smaller, where that pays off: pictures of flat areas and text take two thirds of the space or
/// less, while photographs would gain next to nothing for several times the time. Without bytes for
/// those, and for bitmaps that would take too much memory. The filters need no parameters.
FlatImage compressIfFlat(const CMYKImage& image);

} // namespace Bleedwise::ImageCompression
