#include "PrintPrep/platform/FramedMemory.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <sys/mman.h>
#include <unistd.h>

namespace Bleedwise {
namespace {

std::ptrdiff_t pageSize() {
    static const auto size = static_cast<std::ptrdiff_t>(::sysconf(_SC_PAGESIZE));
    return size;
}

std::ptrdiff_t pageStart(std::ptrdiff_t place) {
    return place & -pageSize();
}

std::ptrdiff_t pageEnd(std::ptrdiff_t place) {
    return pageStart(place + pageSize() - 1);
}

} // namespace

std::optional<FramedMemory> FramedMemory::map(FileDescriptor memory, std::size_t size) {
    FramedMemory result(std::move(memory), size);
    if (!result.reserve(0))
        return std::nullopt;
    return result;
}

bool FramedMemory::reserve(std::size_t frame) {
    const auto margin = static_cast<std::size_t>(pageEnd(static_cast<std::ptrdiff_t>(frame)));
    const auto length = static_cast<std::size_t>(pageEnd(static_cast<std::ptrdiff_t>(size_)));
    block_.reset();
    void* block = ::mmap(nullptr, length + 2 * margin, PROT_NONE,
                         MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (block == MAP_FAILED)
        return false;
    block_ = {static_cast<std::uint8_t*>(block),
              [bytes = length + 2 * margin](void* pages) { ::munmap(pages, bytes); }};
    data_ = block_.get() + margin;
    frame_ = frame;
    privateBefore_ = privateBehind_ = {};
    constexpr int writable = PROT_READ | PROT_WRITE;
    const bool isMapped = ::mprotect(data_ - margin, margin, writable) == 0 &&
                          ::mprotect(data_ + length, margin, writable) == 0 &&
                          remap({0, static_cast<std::ptrdiff_t>(length)}, false);
    if (!isMapped)
        block_.reset();
    return isMapped;
}

bool FramedMemory::remap(Range pages, bool isPrivate) {
    const std::ptrdiff_t begin = std::max<std::ptrdiff_t>(pages.begin, 0);
    const std::ptrdiff_t end = std::min(pages.end, pageEnd(static_cast<std::ptrdiff_t>(size_)));
    if (begin >= end)
        return true;
    const int flags = isPrivate ? MAP_PRIVATE | MAP_ANONYMOUS : MAP_SHARED;
    return ::mmap(data_ + begin, static_cast<std::size_t>(end - begin), PROT_READ | PROT_WRITE,
                  flags | MAP_FIXED, isPrivate ? -1 : memory_.get(),
                  isPrivate ? 0 : begin) != MAP_FAILED;
}

std::uint8_t* FramedMemory::stretch(std::size_t offset, std::size_t size, std::size_t frame) {
    if (!block_ || frame > frame_) {
        if (!reserve(frame))
            return nullptr;
    }
    const auto begin = static_cast<std::ptrdiff_t>(offset);
    const auto end = static_cast<std::ptrdiff_t>(offset + size);
    const auto beside = static_cast<std::ptrdiff_t>(frame);
    stretch_ = {begin, end};
    const Range before = {pageStart(begin - beside), pageEnd(begin)};
    const Range behind = {pageStart(end), pageEnd(end + beside)};
    // Mostly it is the last page's stretch, and memory that is mapped anew takes time.
    if (before == privateBefore_ && behind == privateBehind_)
        return data_ + begin;
    const bool isMapped = remap(std::exchange(privateBefore_, before), false) &&
                          remap(std::exchange(privateBehind_, behind), false) &&
                          remap(before, true) && remap(behind, true);
    if (!isMapped)
        block_.reset();
    return isMapped ? data_ + begin : nullptr;
}

bool FramedMemory::store() {
    const std::ptrdiff_t headEnd = std::min(privateBefore_.end, stretch_.end);
    const std::ptrdiff_t tailBegin = std::max(privateBehind_.begin, headEnd);
    return write({stretch_.begin, headEnd}) && write({tailBegin, stretch_.end});
}

bool FramedMemory::write(Range bytes) {
    while (bytes.begin < bytes.end) {
        const ssize_t count =
            ::pwrite(memory_.get(), data_ + bytes.begin,
                     static_cast<std::size_t>(bytes.end - bytes.begin), bytes.begin);
        if (count > 0)
            bytes.begin += count;
        else if (count == 0 || errno != EINTR)
            return false;
    }
    return true;
}

} // namespace Bleedwise
