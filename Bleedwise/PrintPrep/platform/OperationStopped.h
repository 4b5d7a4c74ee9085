#pragma once

#include <exception>
#include <stop_token>

namespace Bleedwise {

/// An operation that ended early because it was asked to, by its stop token. Not a failure: nobody
/// needs to be told.
class OperationStopped : public std::exception {
public:
    const char* what() const noexcept override { return "Stopped."; }
};

inline void throwIfStopped(const std::stop_token& stop) {
    if (stop.stop_requested())
        throw OperationStopped();
}

} // namespace Bleedwise
