#include "BleedwiseApp/TerminationSignals.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>

#include <QCoreApplication>
#include <sys/eventfd.h>
#include <unistd.h>

namespace Bleedwise {
namespace {

constexpr std::array endingSignals = {SIGTERM, SIGINT, SIGHUP};

/// What the handler, which can be told nothing, writes to.
std::atomic<int> eventDescriptor = -1;

/// Only wakes the event loop: a signal interrupts whatever the thread is doing.
void wakeEventLoop(int) {
    const int error = errno;
    const std::uint64_t count = 1;
    [[maybe_unused]] const ssize_t written = ::write(eventDescriptor, &count, sizeof count);
    errno = error;
}

bool isIgnored(int signal) {
    struct sigaction current = {};
    ::sigaction(signal, nullptr, &current);
    return current.sa_handler == SIG_IGN;
}

} // namespace

TerminationSignals::TerminationSignals()
    : event_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      notifier_(event_.get(), QSocketNotifier::Read) {
    // Not quit(): that would ask the window, which may have a question first.
    QObject::connect(&notifier_, &QSocketNotifier::activated, &notifier_,
                     [] { QCoreApplication::exit(EXIT_SUCCESS); });
    eventDescriptor = event_.get();
    struct sigaction action = {};
    action.sa_handler = wakeEventLoop;
    action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
    for (const int signal : endingSignals) {
        if (!isIgnored(signal))
            ::sigaction(signal, &action, nullptr);
    }
}

TerminationSignals::~TerminationSignals() {
    for (const int signal : endingSignals) {
        if (!isIgnored(signal))
            ::signal(signal, SIG_DFL);
    }
}

} // namespace Bleedwise
