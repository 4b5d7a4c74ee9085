#include "PrintPrep/raster/StreamData.h"

#include <cstddef>

namespace Bleedwise::StreamData {
namespace {

constexpr std::string_view word = "endobj";
constexpr std::size_t overlap = word.size() - 1;

} // namespace

void Watch::read(std::string_view piece) {
    border_ += piece.substr(0, overlap);
    isDangerous_ = isDangerous_ || border_.find(word) != std::string::npos ||
                   piece.find(word) != std::string_view::npos;
    if (piece.size() >= overlap)
        border_ = piece.substr(piece.size() - overlap);
    else if (border_.size() > overlap)
        border_.erase(0, border_.size() - overlap);
}

std::string hexadecimal(std::string_view bytes) {
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(2 * bytes.size());
    for (const char character : bytes) {
        const auto byte = static_cast<unsigned char>(character);
        text += digits[byte >> 4U];
        text += digits[byte & 15U];
    }
    return text;
}

} // namespace Bleedwise::StreamData
