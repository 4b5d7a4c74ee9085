// A renderer that fails in the way that its own name says, where it does not fail by then it does
// as it is asked, after a fashion: it opens documents, whatever they are, and draws black.

#include "PrintPrep/platform/FileDescriptor.h"
#include "PrintPrep/platform/HelperProcess.h"
#include "PrintPrep/platform/MessageSocket.h"
#include "PrintPrep/raster/RendererProtocol.h"

#include <cstdint>
#include <filesystem>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include <unistd.h>

namespace {

using namespace Bleedwise;
using RendererProtocol::Kind;
using RendererProtocol::Reply;
using RendererProtocol::Request;
using RendererProtocol::Status;

constexpr int ours = HelperProcess::socketDescriptor;

[[noreturn]] void sayNothing() {
    for (;;)
        ::pause();
}

/// What the name says happens at this kind of request: "dies-opening" and the like.
bool isDue(const std::string& misdeed, const std::string& deed, Kind kind) {
    const char* when = kind == Kind::openDocument ? "-opening"
                       : kind == Kind::mediaBox   ? "-measuring"
                       : kind == Kind::setProfile ? "-colouring"
                       : kind == Kind::setBitmap  ? "-preparing"
                                                  : "-drawing";
    return misdeed == deed + when;
}

void draw(const Request& request, int memory) {
    const auto size = static_cast<std::size_t>(4 * request.size.width * request.rowCount);
    const std::vector<char> black(size, '\xff');
    [[maybe_unused]] const ssize_t written = ::pwrite(memory, black.data(), size, request.offset);
}

} // namespace

int main(int, char** argv) {
    const std::string misdeed = std::filesystem::path(argv[0]).filename();
    const auto does = [&](const char* deed, const Request& request) {
        return isDue(misdeed, deed, request.kind);
    };
    if (misdeed == "dies-at-once")
        return 1;
    FileDescriptor bitmap;
    for (;;) {
        Request request;
        auto received = MessageSocket::receive(ours, &request, sizeof request,
                                               MessageSocket::Attachments::allowed);
        if (!received)
            return 0;
        if (does("dies", request))
            return 1;
        if (does("is-silent", request))
            sayNothing();
        if (does("hangs-up", request)) {
            ::close(ours);
            sayNothing();
        }
        Reply reply;
        reply.status = Status::done;
        reply.pageCount = 1;
        reply.mediaBox = {0, 0, 24, 24};
        if (does("has-another-version", request))
            ++reply.version;
        if (does("has-no-such-status", request))
            reply.status = static_cast<Status>(77);
        if (does("has-too-many-pages", request))
            reply.pageCount = std::numeric_limits<std::int64_t>::max();
        if (does("has-no-pages", request))
            reply.pageCount = 0;
        if (does("has-no-size", request))
            reply.mediaBox.width = std::numeric_limits<double>::quiet_NaN();
        if (request.kind == Kind::setBitmap)
            bitmap = std::move(received->attachment);
        if (request.kind == Kind::drawRows)
            draw(request, bitmap.get());
        if (does("is-short", request)) {
            MessageSocket::send(ours, &reply, sizeof reply - 1);
        } else if (does("is-long", request)) {
            const std::vector<char> garbage(100'000, 'x');
            MessageSocket::send(ours, garbage.data(), garbage.size());
        } else if (does("attaches", request)) {
            MessageSocket::send(ours, &reply, sizeof reply, STDIN_FILENO);
        } else {
            MessageSocket::send(ours, &reply, sizeof reply);
        }
    }
}
