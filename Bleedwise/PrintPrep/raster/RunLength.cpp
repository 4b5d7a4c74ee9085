#include "PrintPrep/raster/RunLength.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>

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
    const std::uint8_t byte = bytes[start];
    std::size_t end = start + 1;
    if (end == bytes.size() || bytes[end] != byte)
        return end;
    std::array<std::uint64_t, 8> words;
    for (; end + sizeof words <= bytes.size(); end += sizeof words) {
        std::memcpy(words.data(), &bytes[end], sizeof words);
        std::uint64_t differences = 0;
        for (const std::uint64_t word : words)
            differences |= word ^ byte * everyByte;
        if (differences != 0)
            break;
    }
    while (end < bytes.size() && bytes[end] == byte)
        ++end;
    return end;
}

/// Collects the result. Memory is taken once and not filled first, since what a page needs of its
/// limit is mostly little.
class Output {
public:
    explicit Output(std::size_t limit)
        : limit_(limit), bytes_(std::make_unique_for_overwrite<char[]>(limit)) {}

    /// These give false when the limit is reached.

    bool copy(std::span<const std::uint8_t> bytes) {
        while (!bytes.empty()) {
            const std::size_t count = std::min(bytes.size(), mostBytes);
            if (limit_ - size_ <= count)
                return false;
            bytes_[size_++] = static_cast<char>(count - 1);
            std::memcpy(&bytes_[size_], bytes.data(), count);
            size_ += count;
            bytes = bytes.subspan(count);
        }
        return true;
    }

    bool repeat(std::uint8_t byte, std::size_t count) {
        while (count > 0) {
            if (limit_ - size_ < 2)
                return false;
            // A single byte left over is a copy of one.
            const std::size_t piece = std::min(count, mostBytes);
            bytes_[size_++] = static_cast<char>(piece == 1 ? 0 : 257 - piece);
            bytes_[size_++] = static_cast<char>(byte);
            count -= piece;
        }
        return true;
    }

    bool end() {
        if (size_ == limit_)
            return false;
        bytes_[size_++] = static_cast<char>(endOfData);
        return true;
    }

    std::string text() const { return {bytes_.get(), size_}; }

private:
    std::size_t limit_;
    std::size_t size_ = 0;
    std::unique_ptr<char[]> bytes_;
};

} // namespace

std::string encoded(std::span<const std::uint8_t> bytes, std::size_t limit) {
    Output output(limit);
    std::size_t uncopied = 0; // what is behind this one and before `position` has no runs
    for (std::size_t position = 0; position < bytes.size();) {
        const std::size_t end = endOfRun(bytes, position);
        if (end - position >= shortestRun) {
            if (!output.copy(bytes.subspan(uncopied, position - uncopied)) ||
                !output.repeat(bytes[position], end - position))
                return {};
            uncopied = end;
        }
        position = end;
        if (position - uncopied > limit)
            return {};
    }
    return output.copy(bytes.subspan(uncopied)) && output.end() ? output.text() : std::string();
}

} // namespace Bleedwise::RunLength
