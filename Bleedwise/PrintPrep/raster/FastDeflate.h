#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include <isa-l/igzip_lib.h>

namespace Bleedwise {

/// Stretches of a DEFLATE stream (RFC 1951) by ISA-L's igzip: at 15 to 25 times the speed of zlib's
/// level 6, in files of about its size. The bytes depend on what is added and in which parts, and
/// on the kind of processor. One thread at a time. Too large for a stack.
class FastDeflate {
public:
    FastDeflate() noexcept; // leaves its memory as it is, since most of it is seldom needed

    /// Begins a stretch, which knows nothing of those before it.
    void begin();

    /// Which other bytes follow those of a stretch.
    enum class Position { insideStream, endOfStream };

    /// The next bytes of the stretch: more than 16.
    void add(std::span<const std::uint8_t> bytes);

    /// Its last bytes, and the whole result. It ends on a byte's end, and with the stream's last
    /// block at the end of the stream.
    std::string finish(std::span<const std::uint8_t> bytes, Position position);

private:
    void compress(std::span<const std::uint8_t> bytes, std::uint16_t flush, bool isLast);
    void makeRoom();
    std::span<const std::uint8_t> compressHead(std::span<const std::uint8_t> bytes);

    isal_zstream stream_;
    std::array<std::uint8_t, ISAL_DEF_LVL2_DEFAULT> work_;
    std::unique_ptr<char[]> output_; // grows as it must, and is kept
    std::size_t capacity_ = 0;
    std::size_t size_ = 0;
    bool hasBegun_ = false; // something has been added
};

} // namespace Bleedwise
