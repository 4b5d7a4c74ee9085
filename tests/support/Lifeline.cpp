#include "support/Lifeline.h"

#include <array>
#include <stdexcept>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Bleedwise::Testing {
namespace {

/// Only ends a failing test.
constexpr int limitInMilliseconds = 60'000;

} // namespace

Lifeline::Lifeline() {
    for (const char* name : {"life", "gate"}) {
        if (::mkfifo((folder_ / name).c_str(), 0600) != 0)
            throw std::runtime_error("could not make a named pipe");
    }
    readEnd_ =
        FileDescriptor(::open((folder_ / "life").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
}

std::string Lifeline::script() const {
    // Opening the gate blocks, since nobody opens its other end.
    return "exec 9> '" + (folder_ / "life").native() + "'\necho started >&9\ncat '" +
           (folder_ / "gate").native() + "'\n";
}

bool Lifeline::awaitStart() const {
    pollfd said = {readEnd_.get(), POLLIN, 0};
    return ::poll(&said, 1, limitInMilliseconds) == 1 && (said.revents & POLLIN) != 0;
}

bool Lifeline::awaitEnd() const {
    std::array<char, 64> text = {};
    while (::read(readEnd_.get(), text.data(), text.size()) > 0) {
    }
    // Hangs up when no writer is left.
    pollfd end = {readEnd_.get(), 0, 0};
    return ::poll(&end, 1, limitInMilliseconds) == 1;
}

} // namespace Bleedwise::Testing
