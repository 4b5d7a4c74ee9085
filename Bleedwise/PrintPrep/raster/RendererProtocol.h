#pragma once

#include "PrintPrep/raster/PageGeometry.h"
#include "PrintPrep/raster/PageRenderer.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <type_traits>

/// What the program and its renderer say to each other: requests, and to each, in their order, one
/// reply. Both are blocks of a fixed size over a `MessageSocket`, in the processor's own format,
/// since both programs come from one build; the version tells where one of them does not.
///
/// The renderer is not trusted: a reply counts only when it is `isPlausible`, and there is nothing
/// in it that says how much to read or allocate.
namespace Bleedwise::RendererProtocol {

/// To be raised with every change in this file.
inline constexpr std::uint32_t version = 6;

enum class Kind : std::uint32_t {
    /// Attached: a document for reading. The reply has its page count.
    openDocument = 1,
    /// The reply has the page's media box, and the number of pixels in its images.
    mediaBox,
    /// Attached: an ICC profile as finished `SharedMemory`, of `size.width` bytes.
    setProfile,
    /// Attached: `SharedMemory` of `size.width` bytes, for rows.
    setBitmap,
    /// The rows go to `offset` in the bitmap. May be `indivisible` where they are not the whole
    /// page.
    drawRows,
    /// Attached: a document for reading. The reply has its first page's media box. Afterwards no
    /// document is open.
    measureDocument,
    /// The reply has the page's media box, rotation and annotations.
    describePage,
    /// The reply has the page's `foreignColor`.
    auditColors,
};

struct Request {
    std::uint32_t version = RendererProtocol::version;
    Kind kind = Kind::openDocument;
    std::int64_t page = 0;
    PixelSize size;
    Rectangle window;
    Rectangle visible;
    std::int64_t firstRow = 0;
    std::int64_t rowCount = 0;
    std::int64_t offset = 0;
};

enum class Status : std::uint32_t {
    done = 1,
    /// The document cannot be opened, or does not deliver the page.
    notThere,
    /// The memory cannot be had.
    tooLarge,
    /// Drawing broke off.
    failed,
    /// The document needs a password.
    locked,
    /// The rows only come out right when the whole page is drawn.
    indivisible,
};

struct Reply {
    std::uint32_t version = RendererProtocol::version;
    Status status = Status::failed;
    std::int64_t pageCount = 0;
    std::int64_t imagePixels = 0;
    Rectangle mediaBox;
    /// Those that enclose what annotations print come first, `annotationCount` of them.
    std::array<Rectangle, mostAnnotationAreas> annotations = {};
    std::int64_t annotationCount = 0;
    std::int64_t rotation = 0;
    std::int64_t foreignColor = 0;
    /// Of a processor, for drawing.
    std::int64_t microseconds = 0;
};

// What is sent is all of the bytes: none of them may be padding, whose content is anybody's guess.
static_assert(sizeof(Request) == 8 + 8 + 2 * 8 + 8 * 8 + 3 * 8);
static_assert(sizeof(Reply) == (1 + mostAnnotationAreas) * sizeof(Rectangle) + std::size_t{7} * 8);
static_assert(std::is_trivially_copyable_v<Request> && std::is_trivially_copyable_v<Reply>);

/// More pages than a document has objects at most (ISO 32000-1, table C.1) are none.
inline constexpr std::int64_t mostPages = 8'388'607;

/// Nothing is drawn for months.
inline constexpr std::int64_t mostMicroseconds = 10'000'000'000'000;

/// Whether the renderer can do with `request`, which is not trusted either: a mistake must not
/// grow.
inline bool isPlausible(const Request& request, bool hasAttachment) {
    constexpr std::int64_t most = 1LL << 40;
    const auto isCount = [](std::int64_t value) { return value >= 1 && value <= most; };
    const bool isPage = request.page >= 1 && request.page <= mostPages;
    if (request.version != version)
        return false;
    switch (request.kind) {
    case Kind::openDocument:
    case Kind::measureDocument:
        return hasAttachment;
    case Kind::mediaBox:
    case Kind::describePage:
    case Kind::auditColors:
        return isPage;
    case Kind::setProfile:
    case Kind::setBitmap:
        return hasAttachment && isCount(request.size.width);
    case Kind::drawRows:
        return isPage && isCount(request.size.width) && isCount(request.size.height) &&
               isCount(request.rowCount) && request.offset >= 0 && request.firstRow >= 0 &&
               request.firstRow <= request.size.height - request.rowCount;
    }
    return false;
}

inline bool isBox(const Rectangle& box) {
    return std::isfinite(box.x + box.width) && std::isfinite(box.y + box.height) && box.width > 0 &&
           box.height > 0;
}

inline bool isTurn(std::int64_t degrees) {
    return degrees >= 0 && degrees < 360 && degrees % 90 == 0;
}

inline bool hasAnnotationAreas(const Reply& reply) {
    return reply.annotationCount >= 0 &&
           reply.annotationCount <= static_cast<std::int64_t>(mostAnnotationAreas) &&
           std::all_of(reply.annotations.begin(), reply.annotations.begin() + reply.annotationCount,
                       isBox);
}

/// Whether `reply` can be one to a request of this kind.
inline bool isPlausible(const Reply& reply, Kind kind) {
    if (reply.version != version || reply.status < Status::done ||
        reply.status > Status::indivisible)
        return false;
    if (reply.status != Status::done)
        return true;
    if (kind == Kind::openDocument)
        return reply.pageCount >= 1 && reply.pageCount <= mostPages;
    if (kind == Kind::mediaBox || kind == Kind::measureDocument)
        return isBox(reply.mediaBox);
    if (kind == Kind::describePage)
        return isBox(reply.mediaBox) && isTurn(reply.rotation) && hasAnnotationAreas(reply);
    if (kind == Kind::auditColors)
        return reply.foreignColor >= 0 &&
               reply.foreignColor <= static_cast<std::int64_t>(ForeignColor::other);
    if (kind == Kind::drawRows)
        return reply.microseconds >= 0 && reply.microseconds <= mostMicroseconds;
    return true;
}

} // namespace Bleedwise::RendererProtocol
