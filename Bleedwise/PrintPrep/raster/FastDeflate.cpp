#include "PrintPrep/raster/FastDeflate.h"

#include <algorithm>
#include <utility>

namespace Bleedwise {
namespace {

/// Level 1 loses to level 2 by 1 % and wins the same in time; level 3 gains nothing.
constexpr std::uint32_t level = 2;

/// igzip gets room for so many bytes at a time, always the same, since it looks at the room when it
/// chooses a block's form.
constexpr std::uint32_t room = 512U << 10U;

/// So many bytes igzip takes by the code for a stretch's end, even at its beginning.
constexpr std::size_t headBytes = 16;

} // namespace

FastDeflate::FastDeflate() noexcept {} // NOLINT(cppcoreguidelines-pro-type-member-init)

void FastDeflate::begin() {
    isal_deflate_init(&stream_);
    stream_.level = level;
    stream_.level_buf = work_.data();
    stream_.level_buf_size = static_cast<std::uint32_t>(work_.size());
    stream_.gzip_flag = IGZIP_DEFLATE;
    size_ = 0;
    hasBegun_ = false;
}

void FastDeflate::add(std::span<const std::uint8_t> bytes) {
    compress(compressHead(bytes), NO_FLUSH, false);
}

std::string FastDeflate::finish(std::span<const std::uint8_t> bytes, Position position) {
    const bool isLast = position == Position::endOfStream;
    compress(compressHead(bytes), isLast ? NO_FLUSH : SYNC_FLUSH, isLast);
    return {output_.get(), size_};
}

/// igzip 2.30 files a stretch's third byte in its table of what has been by a hash of where in
/// memory the stream lies, not of the bytes: results would vary from run to run. The code that it
/// takes for a stretch's end does not, so the first bytes go through that, in a block of their own.
/// Gives the others.
std::span<const std::uint8_t> FastDeflate::compressHead(std::span<const std::uint8_t> bytes) {
    if (std::exchange(hasBegun_, true) || bytes.size() <= headBytes)
        return bytes;
    compress(bytes.first(headBytes), SYNC_FLUSH, false);
    return bytes.subspan(headBytes);
}

void FastDeflate::compress(std::span<const std::uint8_t> bytes, std::uint16_t flush, bool isLast) {
    stream_.flush = flush;
    stream_.end_of_stream = isLast ? 1 : 0;
    stream_.next_in = const_cast<std::uint8_t*>(bytes.data()); // which it only reads
    stream_.avail_in = static_cast<std::uint32_t>(bytes.size());
    do {
        makeRoom();
        stream_.next_out = reinterpret_cast<std::uint8_t*>(&output_[size_]);
        stream_.avail_out = room;
        isal_deflate(&stream_);
        size_ += room - stream_.avail_out;
    } while (stream_.avail_out == 0);
}

void FastDeflate::makeRoom() {
    if (capacity_ - size_ >= room)
        return;
    capacity_ = 2 * size_ + room;
    auto larger = std::make_unique_for_overwrite<char[]>(capacity_);
    std::copy_n(output_.get(), size_, larger.get());
    output_ = std::move(larger);
}

} // namespace Bleedwise
