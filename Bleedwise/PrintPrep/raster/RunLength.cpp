#include "PrintPrep/raster/RunLength.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <memory>

namespace Bleedwise::RunLength {
namespace {

/// Bytes that one length can stand for, copied or repeated.
constexpr std::size_t mostBytes = 128;

constexpr std::uint64_t everyByte = 0x0101010101010101;

/// Eight bytes, the first one lowest.
std::uint64_t wordAt(const std::uint8_t* bytes) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    if constexpr (std::endian::native == std::endian::big)
        word = __builtin_bswap64(word);
    return word;
}

/// Where the next run of three bytes or more begins, shorter ones being better copied; where the
/// bytes end, if there is none.
std::size_t findRun(std::span<const std::uint8_t> bytes, std::size_t start) {
    constexpr std::size_t step = 7;
    for (; start + sizeof(std::uint64_t) < bytes.size(); start += step) {
        const std::uint64_t changes = wordAt(&bytes[start]) ^ wordAt(&bytes[start + 1]);
        // Not 0 in a byte that does not begin a run, nor in the eighth, of which too little is
        // known.
        const std::uint64_t others = changes | changes >> 8U | std::uint64_t{0xff} << 56U;
        const std::uint64_t lowestZero = (others - everyByte) & ~others & 0x80 * everyByte;
        if (lowestZero != 0)
            return start + static_cast<std::size_t>(std::countr_zero(lowestZero)) / 8;
    }
    for (; start + 2 < bytes.size(); ++start) {
        if (bytes[start] == bytes[start + 1] && bytes[start] == bytes[start + 2])
            return start;
    }
    return bytes.size();
}

/// Where the run of equal bytes that begins at `start` ends.
std::size_t endOfRun(std::span<const std::uint8_t> bytes, std::size_t start) {
    const std::uint64_t word = bytes[start] * everyByte;
    std::size_t end = start + 1;
    const auto differencesAt = [&](std::size_t place) { return wordAt(&bytes[place]) ^ word; };
    for (; end + sizeof word <= bytes.size(); end += sizeof word) {
        if (const std::uint64_t differences = differencesAt(end))
            return end + static_cast<std::size_t>(std::countr_zero(differences)) / 8;
        // Long runs, which most of a blank page is, go by eight words at a time.
        constexpr std::size_t many = 8 * sizeof word;
        for (; end + many + sizeof word <= bytes.size(); end += many) {
            std::uint64_t differences = 0;
            for (std::size_t i = 0; i < many; i += sizeof word)
                differences |= differencesAt(end + sizeof word + i);
            if (differences != 0)
                break;
        }
    }
    while (end < bytes.size() && bytes[end] == bytes[start])
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
            if (limit_ - size_ < count + 1)
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

    /// One byte copied and another repeated three times; only where there is room for it.
    void copyAndRepeat(std::uint8_t copied, std::uint8_t repeated) {
        const std::array<std::uint8_t, pairBytes> pair = {0, copied, 257 - 3, repeated};
        std::memcpy(&bytes_[size_], pair.data(), pair.size());
        size_ += pair.size();
    }
    bool hasRoomForPair() const { return limit_ - size_ >= pairBytes; }

    std::string text() const { return {bytes_.get(), size_}; }

private:
    static constexpr std::size_t pairBytes = 4;

    std::size_t limit_;
    std::size_t size_ = 0;
    std::unique_ptr<char[]> bytes_;
};

/// Encodes four bytes at a time while each begins with a byte to be copied, which a run of three
/// follows: most of a text's pixels, which are of black alone. Gives where that ends. It does what
/// the search for runs would do, where each step waits for the one before.
std::size_t encodePixels(std::span<const std::uint8_t> bytes, std::size_t start, Output& output) {
    const std::uint8_t* data = bytes.data(); // whose places need not be tried each time
    for (; start + sizeof(std::uint64_t) <= bytes.size(); start += 4) {
        const std::uint64_t word = wordAt(data + start);
        const std::uint64_t changes = word ^ word >> 8U;
        const bool isPair =
            (changes & 0xffU) != 0 && (changes & 0xffff00U) == 0 && (changes & 0xff000000U) != 0;
        if (!isPair || !output.hasRoomForPair())
            break;
        output.copyAndRepeat(data[start], data[start + 1]);
    }
    return start;
}

} // namespace

std::optional<std::string> encoded(std::span<const std::uint8_t> bytes, std::size_t limit) {
    Output output(limit);
    std::size_t position = 0;
    while (position < bytes.size()) {
        position = encodePixels(bytes, position, output);
        const std::size_t run = findRun(bytes, position);
        if (!output.copy(bytes.subspan(position, run - position)))
            return std::nullopt;
        position = run;
        if (run < bytes.size()) {
            position = endOfRun(bytes, run);
            if (!output.repeat(bytes[run], position - run))
                return std::nullopt;
        }
    }
    return output.text();
}

} // namespace Bleedwise::RunLength
