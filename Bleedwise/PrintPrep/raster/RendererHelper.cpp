#include "PrintPrep/raster/RendererHelper.h"

#include "PrintPrep/platform/MessageSocket.h"
#include "PrintPrep/platform/ProcessInfo.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>

namespace Bleedwise {
namespace {

using RendererProtocol::Reply;
using RendererProtocol::Request;

std::filesystem::path findExecutable() {
    constexpr const char* name = "bleedwise-renderer";
    const std::filesystem::path folder = ProcessInfo::applicationFolder();
    for (const std::filesystem::path& url :
         std::array{folder / name, folder / "../lib/bleedwise" / name}) {
        if (ProcessInfo::canExecute(url))
            return url;
    }
    return BLEEDWISE_BUILT_RENDERER;
}

/// For the GNU C library's allocator, others ignore it: large pages, and memory that is kept for
/// the next of the many tables of some hundred kilobytes. Getting it page by page from the system
/// takes up to a third of the time for a small document.
constexpr const char* memoryTuning =
    "GLIBC_TUNABLES=glibc.malloc.hugetlb=1:glibc.malloc.mmap_threshold=4194304:"
    "glibc.malloc.trim_threshold=33554432:glibc.malloc.top_pad=4194304";

/// Beside it, only what leads to the fonts' configuration; without a home folder, the user's own
/// fonts and caches are not looked for.
std::vector<std::string> environment() {
    std::vector<std::string> variables = {"LC_ALL=C", memoryTuning};
    for (const char* name : {"FONTCONFIG_FILE", "FONTCONFIG_PATH"}) {
        if (const char* value = std::getenv(name))
            variables.push_back(std::string(name) + '=' + value);
    }
    return variables;
}

} // namespace

const std::filesystem::path& RendererHelper::executableURL() {
    static const std::filesystem::path url = findExecutable();
    return url;
}

RendererHelper::RendererHelper(const std::filesystem::path& executable)
    : process_(executable, environment()) {}

void RendererHelper::send(const Request& request, int attachment,
                          std::chrono::milliseconds patience) {
    if (!MessageSocket::send(process_.socket(), &request, sizeof request, attachment))
        throw Failure();
    if (expected_.empty())
        deadline_ = Clock::now() + patience;
    expected_.push_back({request.kind, patience});
}

int RendererHelper::millisecondsUntil(Clock::time_point deadline) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    return static_cast<int>(
        std::clamp<std::int64_t>(left.count(), 0, std::numeric_limits<int>::max()));
}

bool RendererHelper::isReadable(int milliseconds) const {
    pollfd wait = {process_.socket(), POLLIN, 0};
    int ready = 0;
    do
        ready = ::poll(&wait, 1, milliseconds);
    while (ready < 0 && errno == EINTR);
    return ready > 0;
}

bool RendererHelper::hasReply() const {
    if (expected_.empty())
        return false;
    if (isReadable(0))
        return true;
    if (Clock::now() >= deadline_)
        throw Failure();
    return false;
}

Reply RendererHelper::receive() {
    Reply reply;
    if (expected_.empty() || !isReadable(millisecondsUntil(deadline_)) ||
        !MessageSocket::receive(process_.socket(), &reply, sizeof reply,
                                MessageSocket::Attachments::refused) ||
        !isPlausible(reply, expected_.front().kind))
        throw Failure();
    expected_.pop_front();
    if (!expected_.empty())
        deadline_ = Clock::now() + expected_.front().patience;
    return reply;
}

FileDescriptor openDocumentFile(const std::filesystem::path& url) {
    // Without O_NONBLOCK, opening a named pipe that nobody writes to would wait for ever.
    FileDescriptor file(::open(url.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status = {};
    if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return {};
    return file;
}

} // namespace Bleedwise
