#include "PrintPrep/platform/SilencedStreams.h"

#include <array>
#include <cstddef>
#include <cstdio>
#include <mutex>

#include <fcntl.h>
#include <unistd.h>

namespace Bleedwise {
namespace {

constexpr std::array<int, 2> descriptors = {STDOUT_FILENO, STDERR_FILENO};

struct Silence {
    std::mutex mutex;
    int holders = 0;
    std::array<FileDescriptor, descriptors.size()> originals;
};

Silence& silence() {
    static Silence shared;
    return shared;
}

/// Text in the C library's buffers belongs to where the streams lead at this moment.
void flushBuffers() {
    std::fflush(stdout);
    std::fflush(stderr);
}

} // namespace

SilencedStreams::SilencedStreams() {
    Silence& shared = silence();
    const std::lock_guard lock(shared.mutex);
    if (shared.holders++ > 0)
        return;
    flushBuffers();
    const FileDescriptor nowhere(::open("/dev/null", O_WRONLY | O_CLOEXEC));
    for (std::size_t stream = 0; stream < descriptors.size(); ++stream) {
        FileDescriptor original(::fcntl(descriptors[stream], F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
        if (nowhere && original && ::dup2(nowhere.get(), descriptors[stream]) >= 0)
            shared.originals[stream] = std::move(original);
    }
}

SilencedStreams::~SilencedStreams() {
    Silence& shared = silence();
    const std::lock_guard lock(shared.mutex);
    if (--shared.holders > 0)
        return;
    flushBuffers();
    for (std::size_t stream = 0; stream < descriptors.size(); ++stream) {
        if (shared.originals[stream])
            ::dup2(shared.originals[stream].get(), descriptors[stream]);
        shared.originals[stream].close();
    }
}

} // namespace Bleedwise
