#include "PrintPrep/platform/FileDescriptor.h"

#include <cerrno>

#include <unistd.h>

namespace Bleedwise {

int FileDescriptor::close() noexcept {
    const int descriptor = std::exchange(descriptor_, -1);
    return descriptor >= 0 && ::close(descriptor) != 0 ? errno : 0;
}

} // namespace Bleedwise
