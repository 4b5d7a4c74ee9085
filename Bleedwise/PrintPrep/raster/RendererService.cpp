#include "PrintPrep/raster/RendererService.h"

#include "PrintPrep/platform/FileDescriptor.h"
#include "PrintPrep/platform/FramedMemory.h"
#include "PrintPrep/platform/MessageSocket.h"
#include "PrintPrep/platform/SharedMemory.h"
#include "PrintPrep/raster/PopplerRenderer.h"
#include "PrintPrep/raster/RendererProtocol.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <memory>
#include <optional>
#include <utility>

namespace Bleedwise::RendererService {
namespace {

using RendererProtocol::Kind;
using RendererProtocol::Reply;
using RendererProtocol::Request;
using RendererProtocol::Status;

Status statusOf(RenderFailure failure) {
    switch (failure) {
    case RenderFailure::tooLarge:
        return Status::tooLarge;
    case RenderFailure::noSuchPage:
        return Status::notThere;
    case RenderFailure::indivisible:
        return Status::indivisible;
    case RenderFailure::failed:
        break;
    }
    return Status::failed;
}

class Service {
public:
    Reply answer(const Request& request, FileDescriptor attachment) {
        switch (request.kind) {
        case Kind::openDocument:
            return openDocument(std::move(attachment));
        case Kind::mediaBox:
            return mediaBox(static_cast<int>(request.page));
        case Kind::setProfile:
            return setProfile(request, std::move(attachment));
        case Kind::setBitmap:
            return setBitmap(request, std::move(attachment));
        case Kind::drawRows:
            return drawRows(request);
        case Kind::describePage:
            return describePage(static_cast<int>(request.page));
        case Kind::auditColors:
            return auditColors(static_cast<int>(request.page));
        case Kind::measureDocument:
            break;
        }
        openDocument(std::move(attachment));
        const Reply reply = mediaBox(1);
        document_.reset();
        return reply;
    }

private:
    Reply openDocument(FileDescriptor file) {
        Reply reply;
        bool isLocked = false;
        document_ = PopplerRenderer::open(std::move(file), &isLocked);
        reply.status = document_ ? Status::done : isLocked ? Status::locked : Status::notThere;
        reply.pageCount = document_ ? document_->pageCount() : 0;
        return reply;
    }

    Reply mediaBox(int page) {
        Reply reply;
        const auto box = document_ ? document_->mediaBox(page) : std::nullopt;
        reply.status = box ? Status::done : Status::notThere;
        reply.mediaBox = box.value_or(Rectangle());
        reply.imagePixels = box ? document_->imagePixels(page) : 0;
        return reply;
    }

    Reply describePage(int page) {
        Reply reply;
        const auto description = document_ ? document_->describe(page) : std::nullopt;
        reply.status = description ? Status::done : Status::notThere;
        if (description) {
            reply.mediaBox = description->mediaBox;
            reply.rotation = description->rotation;
            const std::size_t count =
                std::min(description->annotations.size(), reply.annotations.size());
            std::copy_n(description->annotations.begin(), count, reply.annotations.begin());
            reply.annotationCount = static_cast<std::int64_t>(count);
        }
        return reply;
    }

    Reply auditColors(int page) {
        Reply reply;
        const auto color = document_ ? document_->foreignColor(page) : std::nullopt;
        reply.status = color ? Status::done : Status::notThere;
        reply.foreignColor = static_cast<std::int64_t>(color.value_or(ForeignColor::none));
        return reply;
    }

    Reply setProfile(const Request& request, FileDescriptor file) {
        Reply reply;
        auto memory =
            SharedMemory::received(std::move(file), static_cast<std::size_t>(request.size.width));
        if (!memory)
            return reply;
        profile_ = OutputProfile::fromMemory(std::move(*memory));
        if (profile_)
            reply.status = Status::done;
        return reply;
    }

    Reply setBitmap(const Request& request, FileDescriptor memory) {
        Reply reply;
        bitmap_.reset();
        bitmap_ =
            FramedMemory::map(std::move(memory), static_cast<std::size_t>(request.size.width));
        reply.status = bitmap_ ? Status::done : Status::tooLarge;
        return reply;
    }

    Reply drawRows(const Request& request) {
        Reply reply;
        const std::int64_t room =
            bitmap_ ? static_cast<std::int64_t>(bitmap_->size()) - request.offset : 0;
        if (!document_ || !profile_ || room / 4 / request.size.width < request.rowCount)
            return reply;
        const std::clock_t start = std::clock();
        const auto rowBytes = static_cast<std::size_t>(4 * request.size.width);
        std::uint8_t* rows = bitmap_->stretch(static_cast<std::size_t>(request.offset),
                                              rowBytes * static_cast<std::size_t>(request.rowCount),
                                              rowBytes * PopplerRenderer::rowsBeside);
        if (!rows) {
            reply.status = Status::tooLarge;
            return reply;
        }
        const auto failure = document_->draw({static_cast<int>(request.page),
                                              request.size,
                                              {request.window, request.visible},
                                              request.firstRow,
                                              request.rowCount},
                                             *profile_, {rows, true},
                                             PopplerRenderer::Document::Indivisible::refuse);
        const bool isStored = bitmap_->store();
        if (failure)
            reply.status = statusOf(*failure);
        else if (isStored)
            reply.status = Status::done;
        reply.microseconds = (std::clock() - start) * (1'000'000 / CLOCKS_PER_SEC);
        return reply;
    }

    std::unique_ptr<PopplerRenderer::Document> document_;
    std::optional<OutputProfile> profile_;
    std::optional<FramedMemory> bitmap_;
};

} // namespace

void serve(int socket) {
    Service service;
    for (;;) {
        Request request;
        auto received = MessageSocket::receive(socket, &request, sizeof request,
                                               MessageSocket::Attachments::allowed);
        if (!received || !isPlausible(request, static_cast<bool>(received->attachment)))
            return;
        const Reply reply = service.answer(request, std::move(received->attachment));
        if (!MessageSocket::send(socket, &reply, sizeof reply))
            return;
    }
}

} // namespace Bleedwise::RendererService
