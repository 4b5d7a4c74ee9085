#include "PrintPrep/raster/DeflateStream.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <stdexcept>
#include <string_view>

namespace Bleedwise::DeflateStream {
namespace {

constexpr unsigned longestCode = 15;
constexpr unsigned endOfBlock = 256;
constexpr unsigned firstLength = 257;

/// RFC 1951, 3.2.5: bits behind the code of a length or a distance.
constexpr std::array<std::uint8_t, 31> lengthExtraBits = {
    0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5, 0, 0, 0};
constexpr std::array<std::uint8_t, 32> distanceExtraBits = {0,  0,  0,  0,  1,  1,  2,  2,  3, 3, 4,
                                                            4,  5,  5,  6,  6,  7,  7,  8,  8, 9, 9,
                                                            10, 10, 11, 11, 12, 12, 13, 13, 0, 0};

[[noreturn]] void fail() {
    throw std::invalid_argument("not a DEFLATE stream");
}

/// Reads a stream from the lowest bit of its first byte on.
class Bits {
public:
    explicit Bits(std::string_view stream) : stream_(stream) {}

    std::size_t position() const { return position_; }

    static constexpr unsigned peekedBits = 57;

    /// The next bits, at least so many of them; zeros behind the end.
    std::uint64_t peek() const {
        std::uint64_t word = 0;
        const std::size_t byte = position_ / 8;
        if (byte + sizeof word <= stream_.size())
            std::memcpy(&word, &stream_[byte], sizeof word);
        else if (byte < stream_.size())
            std::memcpy(&word, &stream_[byte], stream_.size() - byte);
        return word >> (position_ % 8);
    }
    void skip(std::size_t count) {
        position_ += count;
        if (position_ > 8 * stream_.size())
            fail();
    }
    unsigned read(unsigned count) {
        const auto value = static_cast<unsigned>(peek() & ((1U << count) - 1));
        skip(count);
        return value;
    }
    void skipToByte() { skip((8 - position_ % 8) % 8); }

private:
    std::string_view stream_;
    std::size_t position_ = 0;
};

/// A prefix code (RFC 1951, 3.2.2). Short codes, which nearly all are, are looked up by the next
/// bits; longer ones are counted through, since a table for them would take longer to make than
/// most blocks take to read.
class Code {
public:
    explicit Code(std::span<const std::uint8_t> lengths) {
        for (const std::uint8_t length : lengths)
            ++counts_[length];
        counts_[0] = 0;
        std::array<std::uint16_t, longestCode + 2> starts{};
        for (std::size_t length = 1; length <= longestCode; ++length)
            starts[length + 1] = static_cast<std::uint16_t>(starts[length] + counts_[length]);
        for (std::size_t symbol = 0; symbol < lengths.size(); ++symbol) {
            if (lengths[symbol] != 0)
                symbols_[starts[lengths[symbol]]++] = static_cast<std::uint16_t>(symbol);
        }
        addShortCodes();
    }

    unsigned read(Bits& bits) const {
        unsigned length = 0;
        const unsigned symbol = read(bits.peek(), length);
        bits.skip(length);
        return symbol;
    }

    /// The symbol whose code lies `used` bits behind the beginning of `word`; adds its length.
    unsigned read(std::uint64_t word, unsigned& used) const {
        const std::uint64_t next = word >> used;
        const Entry& entry = entries_[next & (entries_.size() - 1)];
        if (entry.length != 0) {
            used += entry.length;
            return entry.symbol;
        }
        unsigned code = 0;
        unsigned first = 0;
        std::size_t index = 0;
        for (unsigned length = 1; length <= longestCode; ++length) {
            code |= static_cast<unsigned>(next >> (length - 1) & 1U);
            const unsigned count = counts_[length];
            if (code < first + count) {
                used += length;
                return symbols_[index + (code - first)];
            }
            index += count;
            first = (first + count) << 1U;
            code <<= 1U;
        }
        fail();
    }

private:
    struct Entry {
        std::uint16_t symbol = 0;
        std::uint16_t length = 0; // none: a longer code, or no code
    };
    static constexpr unsigned shortBits = 9;

    /// Codes begin with their highest bit.
    void addShortCodes() {
        unsigned code = 0;
        std::size_t index = 0;
        for (unsigned length = 1; length <= shortBits; ++length, code <<= 1U) {
            for (unsigned i = 0; i < counts_[length]; ++i, ++code) {
                unsigned reversed = 0;
                for (unsigned bit = 0; bit < length; ++bit)
                    reversed |= (code >> bit & 1U) << (length - 1 - bit);
                if (code >> length != 0)
                    fail();
                for (std::size_t entry = reversed; entry < entries_.size(); entry += 1U << length)
                    entries_[entry] = {symbols_[index], static_cast<std::uint16_t>(length)};
                ++index;
            }
        }
    }

    std::array<Entry, 1U << shortBits> entries_{};
    std::array<std::uint16_t, longestCode + 1> counts_{};
    std::array<std::uint16_t, 288> symbols_{}; // by their codes
};

void skipSymbols(Bits& bits, const Code& literals, const Code& distances) {
    // A length's and a distance's code, with the bits behind them.
    constexpr unsigned longestPair = 2 * longestCode + 5 + 13;
    for (;;) {
        const std::uint64_t word = bits.peek();
        unsigned used = 0;
        unsigned symbol = 0;
        while (symbol != endOfBlock && used <= Bits::peekedBits - longestPair) {
            symbol = literals.read(word, used);
            if (symbol >= firstLength) {
                used += lengthExtraBits[symbol - firstLength];
                used += distanceExtraBits[distances.read(word, used)];
            }
        }
        bits.skip(used);
        if (symbol == endOfBlock)
            return;
    }
}

void skipStored(Bits& bits) {
    bits.skipToByte();
    const unsigned length = bits.read(16);
    bits.skip(16); // its complement
    bits.skip(std::size_t{8} * length);
}

void skipFixed(Bits& bits) {
    std::array<std::uint8_t, 288> lengths{};
    std::fill_n(lengths.begin(), 144, 8);
    std::fill_n(lengths.begin() + 144, 112, 9);
    std::fill_n(lengths.begin() + 256, 24, 7);
    std::fill_n(lengths.begin() + 280, 8, 8);
    std::array<std::uint8_t, 32> distanceLengths{};
    distanceLengths.fill(5);
    skipSymbols(bits, Code(lengths), Code(distanceLengths));
}

void skipDynamic(Bits& bits) {
    const std::size_t literalCount = bits.read(5) + 257;
    const std::size_t distanceCount = bits.read(5) + 1;
    const std::size_t codeCount = bits.read(4) + 4;
    constexpr std::array<std::uint8_t, 19> order = {16, 17, 18, 0, 8,  7, 9,  6, 10, 5,
                                                    11, 4,  12, 3, 13, 2, 14, 1, 15};
    std::array<std::uint8_t, 19> codeLengths{};
    for (std::size_t i = 0; i < codeCount; ++i)
        codeLengths[order[i]] = static_cast<std::uint8_t>(bits.read(3));
    const Code code(codeLengths);

    std::array<std::uint8_t, 288 + 32> lengths{};
    for (std::size_t i = 0; i < literalCount + distanceCount;) {
        const unsigned symbol = code.read(bits);
        std::uint8_t value = 0;
        std::size_t count = 1;
        if (symbol < 16) {
            value = static_cast<std::uint8_t>(symbol);
        } else if (symbol == 16 && i > 0) {
            value = lengths[i - 1];
            count = bits.read(2) + 3;
        } else {
            count = symbol == 17 ? bits.read(3) + 3 : bits.read(7) + 11;
        }
        if (i + count > literalCount + distanceCount)
            fail();
        std::fill_n(lengths.begin() + static_cast<std::ptrdiff_t>(i), count, value);
        i += count;
    }
    const std::span<const std::uint8_t> all(lengths);
    skipSymbols(bits, Code(all.first(literalCount)),
                Code(all.subspan(literalCount, distanceCount)));
}

} // namespace

std::string continued(std::string stream) {
    Bits bits(stream);
    for (;;) {
        const std::size_t start = bits.position();
        const bool isLast = bits.read(1) != 0;
        switch (bits.read(2)) {
        case 0:
            skipStored(bits);
            break;
        case 1:
            skipFixed(bits);
            break;
        case 2:
            skipDynamic(bits);
            break;
        default:
            fail();
        }
        if (!isLast)
            continue;

        char& head = stream[start / 8];
        head = static_cast<char>(static_cast<unsigned char>(head) & ~(1U << (start % 8)));
        // Three zero bits begin a stored block, and zeros up to the byte's end follow them.
        const std::size_t used = bits.position() % 8;
        if (used != 0)
            stream[bits.position() / 8] = static_cast<char>(
                static_cast<unsigned char>(stream[bits.position() / 8]) & ((1U << used) - 1));
        constexpr std::size_t blockHead = 3;
        stream.resize((bits.position() + blockHead + 7) / 8, '\0');
        constexpr std::string_view emptyLength("\x00\x00\xff\xff", 4);
        return stream.append(emptyLength);
    }
}

} // namespace Bleedwise::DeflateStream
