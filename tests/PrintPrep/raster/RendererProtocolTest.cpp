#include "PrintPrep/raster/RendererProtocol.h"

#include <cstdint>
#include <limits>

#include <gtest/gtest.h>

namespace Bleedwise::RendererProtocol {
namespace {

Reply opened(std::int64_t pages) {
    Reply reply;
    reply.status = Status::done;
    reply.pageCount = pages;
    return reply;
}

Reply measured(const Rectangle& box) {
    Reply reply;
    reply.status = Status::done;
    reply.mediaBox = box;
    return reply;
}

TEST(Reply, HasAtLeastOnePage) {
    EXPECT_TRUE(isPlausible(opened(1), Kind::openDocument));
    EXPECT_FALSE(isPlausible(opened(0), Kind::openDocument));
    EXPECT_FALSE(isPlausible(opened(-1), Kind::openDocument));
}

TEST(Reply, HasNoMorePagesThanADocumentCanHave) {
    EXPECT_TRUE(isPlausible(opened(mostPages), Kind::openDocument));
    EXPECT_FALSE(isPlausible(opened(mostPages + 1), Kind::openDocument));
}

TEST(Reply, HasABoxOfPositiveSize) {
    EXPECT_TRUE(isPlausible(measured({-1, -1, 1, 1}), Kind::mediaBox));
    EXPECT_FALSE(isPlausible(measured({0, 0, 0, 1}), Kind::mediaBox));
    EXPECT_FALSE(isPlausible(measured({0, 0, 1, -1}), Kind::measureDocument));
}

TEST(Reply, HasABoxOfNumbers) {
    constexpr double infinite = std::numeric_limits<double>::infinity();
    constexpr double none = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(isPlausible(measured({none, 0, 1, 1}), Kind::mediaBox));
    EXPECT_FALSE(isPlausible(measured({0, 0, infinite, 1}), Kind::mediaBox));
    EXPECT_FALSE(isPlausible(measured({0, 0, 1, none}), Kind::mediaBox));
}

TEST(Reply, HasARotationByQuarterTurns) {
    Reply reply = measured({0, 0, 1, 1});
    for (const std::int64_t rotation : {0, 90, 180, 270}) {
        reply.rotation = rotation;
        EXPECT_TRUE(isPlausible(reply, Kind::describePage)) << rotation;
    }
    for (const std::int64_t rotation : {-90, 1, 360}) {
        reply.rotation = rotation;
        EXPECT_FALSE(isPlausible(reply, Kind::describePage)) << rotation;
    }
}

TEST(Reply, HasAnnotationsOfPositiveSizeOrNone) {
    Reply reply = measured({0, 0, 1, 1});
    reply.annotations[0] = {1, 1, 2, 2};
    reply.annotations[1] = {1, 1, 2, -2};
    for (reply.annotationCount = 0; reply.annotationCount <= 1; ++reply.annotationCount)
        EXPECT_TRUE(isPlausible(reply, Kind::describePage)) << reply.annotationCount;
    EXPECT_FALSE(isPlausible(reply, Kind::describePage));
}

TEST(Reply, HasNoMoreAnnotationsThanFitIn) {
    Reply reply = measured({0, 0, 1, 1});
    reply.annotations.fill({1, 1, 2, 2});
    reply.annotationCount = mostAnnotationAreas;
    EXPECT_TRUE(isPlausible(reply, Kind::describePage));
    for (const std::int64_t count : {-1, static_cast<int>(mostAnnotationAreas) + 1}) {
        reply.annotationCount = count;
        EXPECT_FALSE(isPlausible(reply, Kind::describePage)) << count;
    }
}

TEST(Reply, HasAKnownForeignColor) {
    Reply reply;
    reply.status = Status::done;
    reply.foreignColor = static_cast<std::int64_t>(ForeignColor::other);
    EXPECT_TRUE(isPlausible(reply, Kind::auditColors));
    for (const std::int64_t color : {-1, 4}) {
        reply.foreignColor = color;
        EXPECT_FALSE(isPlausible(reply, Kind::auditColors)) << color;
    }
}

TEST(Reply, OfADrawingHasATime) {
    Reply reply;
    reply.status = Status::done;
    reply.microseconds = 0;
    EXPECT_TRUE(isPlausible(reply, Kind::drawRows));
    for (const std::int64_t time : {std::int64_t{-1}, std::int64_t{1} << 62}) {
        reply.microseconds = time;
        EXPECT_FALSE(isPlausible(reply, Kind::drawRows)) << time;
    }
}

TEST(Reply, NeedsNothingElseWhenItIsARefusal) {
    Reply reply;
    for (const Status status :
         {Status::notThere, Status::tooLarge, Status::failed, Status::locked}) {
        reply.status = status;
        EXPECT_TRUE(isPlausible(reply, Kind::openDocument));
    }
}

TEST(Reply, HasAKnownStatus) {
    Reply reply = opened(1);
    for (const std::uint32_t status : {0U, 7U, ~0U}) {
        reply.status = static_cast<Status>(status);
        EXPECT_FALSE(isPlausible(reply, Kind::openDocument)) << status;
    }
}

TEST(Reply, HasThisVersion) {
    Reply reply = opened(1);
    ++reply.version;
    EXPECT_FALSE(isPlausible(reply, Kind::openDocument));
}

Request drawing() {
    Request request;
    request.kind = Kind::drawRows;
    request.page = 1;
    request.size = {10, 20};
    request.firstRow = 5;
    request.rowCount = 15;
    return request;
}

TEST(Request, ForRowsThatThereAreIsPlausible) {
    EXPECT_TRUE(isPlausible(drawing(), false));
}

TEST(Request, ForABitmapNeedsMemory) {
    Request request;
    request.kind = Kind::setBitmap;
    request.size.width = 100;
    EXPECT_TRUE(isPlausible(request, true));
    EXPECT_FALSE(isPlausible(request, false));
}

TEST(Request, ForRowsBeyondThePageIsNone) {
    Request request = drawing();
    request.firstRow = 6;
    EXPECT_FALSE(isPlausible(request, true));
    request.firstRow = -1;
    EXPECT_FALSE(isPlausible(request, true));
}

TEST(Request, ForSizesBeyondMeasureIsNone) {
    Request request = drawing();
    request.size.width = std::numeric_limits<std::int64_t>::max();
    EXPECT_FALSE(isPlausible(request, true));
    request.size.width = 0;
    EXPECT_FALSE(isPlausible(request, true));
}

TEST(Request, ForNoPageIsNone) {
    Request request = drawing();
    request.page = 0;
    EXPECT_FALSE(isPlausible(request, true));
    request.page = mostPages + 1;
    EXPECT_FALSE(isPlausible(request, true));
}

TEST(Request, OfAnUnknownKindIsNone) {
    Request request = drawing();
    request.kind = static_cast<Kind>(0);
    EXPECT_FALSE(isPlausible(request, true));
}

} // namespace
} // namespace Bleedwise::RendererProtocol
