#include "PrintPrep/platform/StopSignal.h"

#include <cerrno>
#include <cstdint>
#include <system_error>

#include <sys/eventfd.h>
#include <unistd.h>

namespace Bleedwise {
namespace {

FileDescriptor makeEvent(const std::stop_token& stop) {
    if (!stop.stop_possible())
        return {};
    FileDescriptor event(::eventfd(0, EFD_CLOEXEC));
    if (!event)
        throw std::system_error(errno, std::generic_category());
    return event;
}

} // namespace

StopSignal::StopSignal(const std::stop_token& stop)
    : event_(makeEvent(stop)), callback_(stop, [event = event_.get()] {
          const std::uint64_t one = 1;
          [[maybe_unused]] const ssize_t written = ::write(event, &one, sizeof one);
      }) {}

} // namespace Bleedwise
