#pragma once

#include "PrintPrep/platform/FileDescriptor.h"

#include <functional>
#include <stop_token>

namespace Bleedwise {

/// A stop token as a descriptor that `poll` can wait for beside others.
class StopSignal {
public:
    /// Throws `std::system_error` when descriptors have run out.
    explicit StopSignal(const std::stop_token& stop);

    /// Can be read from as soon as a stop is requested; −1 when nobody can request one.
    int descriptor() const noexcept { return event_.get(); }

private:
    FileDescriptor event_;
    std::stop_callback<std::function<void()>> callback_;
};

} // namespace Bleedwise
