#include "PrintPrep/raster/RunLength.h"

#include <algorithm>
#include <cstring>

namespace Bleedwise::RunLength {
namespace {

/// Bytes that one length can stand for, copied or repeated.
constexpr std::size_t mostBytes = 128;

/// A run within copied bytes takes two bytes, and the copy behind it one more.
constexpr std::size_t shortestRun = 3;

constexpr std::uint8_t endOfData = 128;

/// Where the run of equal bytes that begins at `start` ends.
std::size_t endOfRun(std::span<const std::uint8_t> bytes, std::size_t start) {
    constexpr std::uint64_t everyByte = 0x0101010101010101;
    const std::uint64_t wanted = bytes[start] * everyByte;
    std::size_t end = start + 1;
    for (std::uint64_t word = 0; end + sizeof word <= bytes.size(); end += sizeof word) {
        std::memcpy(&word, &bytes[end], sizeof word);
        if (word != wanted)
            break;
    }
    while (end < bytes.size() && bytes[end] == bytes[start])
        ++end;
    return end;
}

void copy(std::string& output, std::span<const std::uint8_t> bytes) {
    while (!bytes.empty()) {
        const auto piece = bytes.first(std::min(bytes.size(), mostBytes));
        output += static_cast<char>(piece.size() - 1);
        output.append(piece.begin(), piece.end());
        bytes = bytes.subspan(piece.size());
    }
}

void repeat(std::string& output, std::uint8_t byte, std::size_t count) {
    while (count > 0) {
        // A single byte left over is a copy of one.
        const std::size_t piece = std::min(count, mostBytes);
        output += static_cast<char>(piece == 1 ? 0 : 257 - piece);
        output += static_cast<char>(byte);
        count -= piece;
    }
}

} // namespace

std::string encoded(std::span<const std::uint8_t> bytes, std::size_t limit) {
    std::string output;
    std::size_t uncopied = 0; // what is behind this one and before `position` has no runs
    for (std::size_t position = 0; position < bytes.size();) {
        const std::size_t end = endOfRun(bytes, position);
        if (end - position >= shortestRun) {
            copy(output, bytes.subspan(uncopied, position - uncopied));
            repeat(output, bytes[position], end - position);
            uncopied = end;
        }
        position = end;
        if (output.size() + (position - uncopied) > limit)
            return {};
    }
    copy(output, bytes.subspan(uncopied));
    output += static_cast<char>(endOfData);
    return output.size() <= limit ? output : std::string();
}

} // namespace Bleedwise::RunLength
